#include "app/write/ColumnTable.h"

namespace app {

namespace {

struct MountRow : RowContext {
    Mount const& mount;
};

std::optional<uint64_t> usedInodes(Mount const& mount)
{
    return mount.inodes && mount.freeInodes && *mount.freeInodes <= *mount.inodes
        ? std::optional(*mount.inodes - *mount.freeInodes)
        : std::nullopt;
}

constexpr ColumnOf<MountRow> MOUNT_COLUMNS[] = {
    {"MOUNTPOINT", "the place where it is mounted", LEFT, ALWAYS,
        [](MountRow const& row) { return row.mount.mountPoint; }},
    {"SOURCE", "the device or the server's share", LEFT, 40,
        [](MountRow const& row) { return row.mount.source; }},
    {"TYPE", "the filesystem", LEFT, 60, [](MountRow const& row) { return row.mount.filesystem; }},
    {"MODE", "ro or rw", LEFT, 30,
        [](MountRow const& row) { return std::string(row.mount.readOnly ? "ro" : "rw"); }},
    {"SIZE", "the size", RIGHT, 90,
        [](MountRow const& row) { return sizeText(row.mount.size, row.unit); }},
    {"USED", "the space in use", RIGHT, 70,
        [](MountRow const& row) { return sizeText(row.mount.used, row.unit); }},
    {"AVAIL", "the space that is left to ordinary users", RIGHT, 80,
        [](MountRow const& row) { return sizeText(row.mount.available, row.unit); }},
    {"USE", "the share of the space in use", RIGHT, 95,
        [](MountRow const& row) { return percentText(row.mount.usedPercent()); }},
    {"", "", LEFT, 10,
        [](MountRow const& row) { return row.isTerminal ? barText(row.mount.usedPercent()) : ""; }},
    {"INODES", "the number of inodes", RIGHT, 0,
        [](MountRow const& row) { return numberText(row.mount.inodes); }},
    {"IUSE", "the share of inodes in use", RIGHT, 0,
        [](MountRow const& row) {
            return percentText(percentOf(usedInodes(row.mount), row.mount.inodes));
        }},
    {"DISKS", "the physical disks beneath", LEFT, 50,
        [](MountRow const& row) {
            return row.mount.disks.empty() ? (row.mount.network ? "none" : UNKNOWN)
                                           : joined(row.mount.disks);
        }},
    {"NOTE", "the numbers of notes", LEFT, 92, [](MountRow const& row) { return row.marks; }},
};

class MountTable : public ColumnTable<MountRow> {
public:
    MountTable() : ColumnTable(MOUNT_COLUMNS) { }

    std::string details(TableRequest const& request) const override
    {
        Layout const& layout = request.options.layout;
        std::string text;
        for (std::string const& sentence : furtherPlaces(*request.machine.mounts, layout))
            for (std::string const& line : wrapped(sentence, layout, 0, 2))
                text += line + "\n";
        return text;
    }

private:
    std::vector<MountRow> rows(TableRequest const& request) const override
    {
        std::vector<MountRow> list;
        for (Mount const& mount : *request.machine.mounts)
            if (mount.sameAs.empty())
                list.push_back({request.row(Subject::MOUNTS, mount.mountPoint), mount});
        return list;
    }
};

}

std::vector<std::string> furtherPlaces(std::vector<Mount> const& mounts, Layout const& layout)
{
    constexpr size_t MOST_PLACES = 10;
    std::vector<std::string> sentences;
    for (Mount const& mount : mounts) {
        std::vector<std::string> places;
        for (Mount const& other : mounts)
            if (other.sameAs == mount.mountPoint && other.mountPoint != mount.mountPoint
                && mount.sameAs.empty() && mount.hiddenBy.empty())
                places.push_back(other.mountPoint);
        if (places.empty())
            continue;
        std::string more;
        if (layout.isTerminal() && places.size() > MOST_PLACES) {
            more = " and on " + std::to_string(places.size() - MOST_PLACES) + " more";
            places.resize(MOST_PLACES);
        }
        sentences.push_back(
            printable(mount.mountPoint + " is also mounted on " + joined(places)) + more + ".");
    }
    return sentences;
}

SubjectTable const& mountTable()
{
    static MountTable const table;
    return table;
}

}
