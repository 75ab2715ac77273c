#include "app/write/html_tree.h"

#include "app/write/device_groups.h"
#include "app/write/display.h"
#include "app/write/html_facts.h"

#include <algorithm>
#include <set>

namespace app {

namespace {

constexpr unsigned ROW = 26; ///< The height of a row, in CSS pixels.
constexpr unsigned INDENT = 20;
constexpr unsigned MIDDLE = ROW / 2;
constexpr unsigned GLYPH = 5; ///< Half of a symbol's width.

/** A row of a picture. */
struct TreeRow {
    enum Kind { DISK, PART, MADE, MOUNT };

    Kind kind;
    unsigned depth;
    size_t parentRow; ///< Only of a depth above 0.
    std::string name;
    std::string type;
    std::string details; ///< Left out on a narrow screen, unless it says where the row is drawn.
    std::string size;
    std::string all; ///< All names, for a pointer that rests and for screen readers.
    std::string sizeInWords;
    std::optional<double> percent;
    bool isDrawnAbove = false; ///< With what lies on it.
    bool warns = false; ///< Its bar, where it is nearly full.
};

std::string number(size_t value)
{
    return std::to_string(value);
}

/** "sda", "sda, sdb", "sda … sdl". */
std::string namesOf(std::vector<Disk const*> const& disks)
{
    if (disks.size() == 1)
        return disks.front()->label;
    if (disks.size() == 2)
        return disks.front()->label + ", " + disks.back()->label;
    return disks.front()->label + " \xE2\x80\xA6 " + disks.back()->label; // U+2026
}

std::string allNamesOf(std::vector<Disk const*> const& disks)
{
    std::vector<std::string> names;
    names.reserve(disks.size());
    for (Disk const* const disk : disks)
        names.push_back(disk->label);
    return joined(names);
}

/** Collects the rows of one picture. */
class TreeRows {
public:
    TreeRows(DeviceGroups const& groups, std::set<size_t>& drawn) : m_groups(groups), m_drawn(drawn)
    {
    }

    std::vector<TreeRow> of(size_t root)
    {
        add(root, 0, 0);
        return std::move(m_rows);
    }

private:
    void add(size_t index, unsigned depth, size_t parentRow)
    {
        DeviceGroup const& group = m_groups.list[index];
        Disk const& disk = *group.disks.front();
        size_t const count = group.disks.size();
        std::string const times = count > 1 ? number(count) + " \xC3\x97 " : ""; // U+00D7
        std::string const size = times + sizeText(disk.bytes);
        bool const isNew = m_drawn.insert(index).second;
        size_t const place = m_rows.size();
        m_rows.push_back({.kind = kindOf(disk),
            .depth = depth,
            .parentRow = parentRow,
            .name = namesOf(group.disks),
            .type = typeText(disk),
            .details = isNew ? detailsOf(disk) : "see above",
            .size = size,
            .all = allNamesOf(group.disks),
            .sizeInWords = disk.bytes ? size : times + "unknown size",
            .percent = std::nullopt,
            .isDrawnAbove = !isNew});
        if (!isNew)
            return;
        for (Mount const* const mount : group.mounts)
            addMount(*mount, depth + 1, place);
        m_open.insert(index);
        for (size_t const child : group.children)
            if (m_open.count(child) == 0) // A device is never drawn below itself.
                add(child, depth + 1, place);
        m_open.erase(index);
    }

    void addMount(Mount const& mount, unsigned depth, size_t parentRow)
    {
        auto const percent = mount.usedPercent();
        std::string const use = percentText(percent);
        m_rows.push_back({.kind = TreeRow::MOUNT,
            .depth = depth,
            .parentRow = parentRow,
            .name = mount.mountPoint,
            .type = mount.filesystem,
            .details = "",
            .size = use,
            .all = mount.mountPoint,
            .sizeInWords = percent ? use + " used" : "use unknown",
            .percent = percent,
            .warns = !mount.readOnly});
    }

    static TreeRow::Kind kindOf(Disk const& disk)
    {
        return disk.isPhysical()           ? TreeRow::DISK
            : disk.type == Disk::PARTITION ? TreeRow::PART
                                           : TreeRow::MADE;
    }

    static std::string detailsOf(Disk const& disk)
    {
        std::vector<std::string> parts;
        if (disk.isPhysical())
            for (auto const& part : {disk.kind(), disk.transport, disk.model})
                if (part)
                    parts.push_back(*part);
        if (disk.slaves.size() > 1)
            parts.push_back("on " + number(disk.slaves.size()) + " devices");
        return joined(parts);
    }

    DeviceGroups const& m_groups;
    std::set<size_t>& m_drawn;
    std::set<size_t> m_open; // The path from the root.
    std::vector<TreeRow> m_rows;
};

/** @return the text with its middle left out where it has more than @p most bytes; cut between two
 * characters of UTF-8. */
std::string shortName(std::string const& name, size_t most)
{
    if (name.size() <= most)
        return name;
    auto const isInside = [&name](size_t place) { return (name[place] & 0xC0) == 0x80; };
    size_t head = most / 2;
    while (head > 0 && isInside(head))
        --head;
    size_t tail = name.size() - (most - most / 2 - 1);
    while (tail < name.size() && isInside(tail))
        ++tail;
    return name.substr(0, head) + "\xE2\x80\xA6" + name.substr(tail); // U+2026
}

unsigned leftOf(unsigned depth)
{
    return depth * INDENT + GLYPH + 1;
}

void writeSymbol(Html& html, TreeRow const& row, unsigned y)
{
    unsigned const x = leftOf(row.depth);
    constexpr unsigned SIDE = 2 * GLYPH;
    std::string const left = number(x - GLYPH);
    std::string const top = number(y - GLYPH);
    if (row.kind == TreeRow::DISK)
        html.empty("rect",
            {{"class", "disk"}, {"x", left}, {"y", top}, {"width", number(SIDE)},
                {"height", number(SIDE)}, {"rx", "2"}});
    else if (row.kind == TreeRow::PART)
        html.empty("rect",
            {{"class", "part"}, {"x", left}, {"y", top}, {"width", number(SIDE)},
                {"height", number(SIDE)}, {"rx", "2"}});
    else if (row.kind == TreeRow::MADE)
        html.empty("path",
            {{"class", "made"},
                {"d", "M" + number(x) + " " + number(y - GLYPH - 1) + "l6 6-6 6-6-6z"}});
    else
        html.empty("circle",
            {{"class", "mount"}, {"cx", number(x)}, {"cy", number(y)}, {"r", number(GLYPH - 1)}});
}

/** A place for the picture, in pixels. */
struct Room {
    unsigned width;
    unsigned figures; ///< At the right edge: the size, and a bar where it is shown.
};

constexpr Room TELEPHONE = {328, 90}; // 360 without the margins.
constexpr Room DESK = {704, 200};

/** @return the letters that a row has room for beside @p others, a few at least. */
size_t lettersIn(Room room, TreeRow const& row, size_t others)
{
    constexpr unsigned LETTER = 7;
    constexpr size_t FEWEST = 8;
    unsigned const taken = leftOf(row.depth) + room.figures;
    size_t const letters = taken < room.width ? (room.width - taken) / LETTER : 0;
    return letters < FEWEST + others ? FEWEST : letters - others;
}

void writeName(Html& html, TreeRow const& row, unsigned y)
{
    auto const text = html.open(
        "text", {{"x", number(leftOf(row.depth) + GLYPH + 7)}, {"y", number(y)}, {"dy", "0.35em"}});
    constexpr size_t ENOUGH_DETAILS = 24;
    bool const isMount = row.kind == TreeRow::MOUNT;
    size_t const type = row.type.size() + 1;
    size_t const details = std::min(row.details.size() + 1, ENOUGH_DETAILS);
    std::string const name = shortName(row.name, lettersIn(DESK, row, type + details));
    std::string const cut = shortName(row.name, lettersIn(TELEPHONE, row, isMount ? 0 : type));
    if (cut == name) {
        html.element("tspan", name, {{"class", "name"}});
    } else {
        html.element("tspan", name, {{"class", "name long"}});
        html.element("tspan", cut, {{"class", "name short"}});
    }
    html.element("tspan", row.type, {{"class", isMount ? "details" : "type"}, {"dx", "8"}});
    if (!row.details.empty())
        html.element("tspan", shortName(row.details, lettersIn(DESK, row, type + name.size() + 1)),
            {{"class", row.isDrawnAbove ? "type" : "details"}, {"dx", "8"}});
}

void writePercentBar(Html& html, double percent, bool warns, unsigned y)
{
    constexpr unsigned WIDTH = 48;
    std::string const length = oneDecimal(std::clamp(percent, 0.0, 100.0) * WIDTH / 100);
    // At the right edge, whose place only the browser knows.
    auto const place = html.open(
        "svg", {{"x", "100%"}, {"y", number(y - 3)}, {"class", "use"}, {"overflow", "visible"}});
    html.empty("rect",
        {{"class", "track"}, {"x", "-104"}, {"width", number(WIDTH)}, {"height", "6"},
            {"rx", "3"}});
    if (warns && isNearlyFull(percent))
        html.empty("path", {{"class", "full"}, {"d", "M-104 3h" + length}});
    else
        html.empty("rect",
            {{"class", "fill"}, {"x", "-104"}, {"width", length}, {"height", "6"}, {"rx", "3"}});
}

void writeRow(Html& html, std::vector<TreeRow> const& rows, size_t index)
{
    TreeRow const& row = rows[index];
    unsigned const y = static_cast<unsigned>(index) * ROW + MIDDLE;
    auto const group = html.open("g", {{"class", row.depth == 0 ? "row root" : "row"}});
    html.element("title", row.all);
    if (row.depth > 0) {
        unsigned const trunk = leftOf(row.depth - 1);
        unsigned const top = static_cast<unsigned>(row.parentRow) * ROW + MIDDLE + GLYPH + 3;
        html.empty("path",
            {{"class", "branch"},
                {"d",
                    "M" + number(trunk) + " " + number(top) + "V" + number(y - GLYPH) + "q0 "
                        + number(GLYPH) + " " + number(GLYPH) + " " + number(GLYPH) + "H"
                        + number(leftOf(row.depth) - GLYPH - 3)}});
    }
    writeSymbol(html, row, y);
    writeName(html, row, y);
    if (row.percent)
        writePercentBar(html, *row.percent, row.warns, y);
    html.element(
        "text", row.size, {{"class", "size"}, {"x", "100%"}, {"y", number(y)}, {"dy", "0.35em"}});
}

/** The picture in words. */
std::string description(std::vector<TreeRow> const& rows)
{
    std::string text;
    for (TreeRow const& row : rows) {
        text += text.empty() ? "" : "; ";
        if (row.kind == TreeRow::MOUNT)
            text += "mounted at " + row.all + ", " + row.sizeInWords;
        else
            text += (row.depth > 0 ? "on " + rows[row.parentRow].all + ": " : "") + row.all + ", "
                + row.type + ", " + row.sizeInWords;
    }
    return text + ".";
}

void writePicture(Html& html, std::vector<TreeRow> const& rows, size_t place)
{
    std::string const id = "tree-" + number(place);
    auto const picture = html.open("svg",
        {{"xmlns", "http://www.w3.org/2000/svg"}, {"width", "100%"},
            {"height", number(rows.size() * ROW)}, {"role", "img"},
            {"aria-labelledby", id + "-title"}, {"aria-describedby", id + "-desc"}});
    html.element("title", rows.front().all + " and the devices on it", {{"id", id + "-title"}});
    html.element("desc", description(rows), {{"id", id + "-desc"}});
    for (size_t i = 0; i < rows.size(); ++i)
        writeRow(html, rows, i);
}

}

void writeDeviceTrees(Html& html, Machine const& machine)
{
    DeviceGroups const groups = deviceGroups(machine);
    auto const figure = html.open("figure", {{"class", "tree"}});
    html.element("figcaption",
        "From the disks to the places where they are mounted; devices that are alike share a row");
    std::set<size_t> drawn;
    for (size_t i = 0; i < groups.roots.size(); ++i)
        writePicture(html, TreeRows(groups, drawn).of(groups.roots[i]), i + 1);
}

}
