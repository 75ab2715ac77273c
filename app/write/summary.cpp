#include "app/write/summary.h"

#include "app/write/display.h"
#include "app/write/names.h"
#include "app/write/recovery_line.h"
#include "app/write/summary_networks.h"

#include <algorithm>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace app {

namespace {

using Lines = std::vector<std::string>;

constexpr size_t LABEL_COLUMNS = 12;
constexpr size_t INDENTATION = 2; // Below labels in lines of their own.

/** The most lines of the parts that can be counted together. */
struct Limits {
    size_t disks = 4;
    size_t mounts = 5;
    size_t adapters = 4;

    /** Takes a line from the largest. @return false where none can do with fewer. */
    bool lower()
    {
        constexpr size_t FEWEST = 2;
        size_t& largest = disks >= std::max(mounts, adapters) ? disks
            : mounts >= adapters                              ? mounts
                                                              : adapters;
        if (largest <= FEWEST)
            return false;
        --largest;
        return true;
    }
};

/** The parts that are known, with ", " between them. */
std::string sentence(Lines const& parts)
{
    Lines known;
    std::copy_if(parts.begin(), parts.end(), std::back_inserter(known),
        [](std::string const& part) { return !part.empty(); });
    return joined(known);
}

/** "12 × " */
std::string times(size_t count)
{
    return std::to_string(count) + (localeIsUtf8() ? " \xC3\x97 " : " x "); // U+00D7
}

/** @return the line, cut behind one of its parts where it is too wide: half an address is
 * misleading. */
std::string fitted(std::string const& line, size_t columns)
{
    if (displayWidth(line) <= columns)
        return line;
    std::string part;
    for (char const* const gap : {", ", ": ", " (", "  "})
        for (size_t end = line.find(gap); end != std::string::npos; end = line.find(gap, end + 1))
            if (end > part.size() && displayWidth(line.substr(0, end)) < columns)
                part = line.substr(0, end);
    part.erase(part.find_last_not_of(' ') + 1);
    size_t const width = displayWidth(part);
    // A single long part is cut itself.
    constexpr size_t FEWEST = 4;
    if (width * FEWEST < columns)
        return shortened(line, columns);
    return part + (width + 2 <= columns ? " " : "") + cutSign();
}

template <class Number> std::string countedOr(
    std::optional<Number> count, std::string const& one, std::string const& several)
{
    return count ? counted(*count, one, several) : "";
}

/** Writes the summary of one machine. */
class Summary {
public:
    Summary(Machine const& machine, Layout const& layout) : m_machine(machine), m_layout(layout)
    {
        // The labels take their part of every line, or lines of their own.
        m_isNarrow = m_layout.isTerminal() && m_layout.columns < LABEL_COLUMNS * 2;
        size_t const taken = m_isNarrow ? INDENTATION : LABEL_COLUMNS;
        if (m_layout.isTerminal())
            m_layout.columns = std::max(m_layout.columns, taken + 1) - taken;
        m_layout.headings = false;
    }

    /** @param mostLines of a terminal. */
    void write(size_t mostLines, std::ostream& out)
    {
        Lines lines = allLines();
        while (m_layout.isTerminal() && lines.size() > mostLines && m_limits.lower())
            lines = allLines();
        for (std::string const& line : lines)
            out << line << '\n';
    }

private:
    Lines allLines() const
    {
        Lines lines;
        addPart(Subject::SYSTEM, "System", m_machine.system, lines);
        addPart(Subject::PROCESSORS, "Processors", m_machine.processors, lines);
        addPart(Subject::MEMORY, "Memory", m_machine.memory, lines);
        addPart(Subject::DISKS, "Disks", m_machine.disks, lines);
        addPart(Subject::MOUNTS, "Mounts", m_machine.mounts, lines);
        addPart(Subject::NETWORKS, "Networks", m_machine.networks, lines);
        if (m_machine.wasAskedFor(Subject::RECOVERY))
            addLines("Recovery", recoveryLines(), lines);
        if (!m_machine.differences.empty())
            addLines("Library",
                {counted(m_machine.differences.size(), "fact differs", "facts differ")
                    + " for the host: dovrel-sysinfo library"},
                lines);
        return lines;
    }

    template <class Part> void addPart(
        Subject subject, char const* label, std::optional<Part> const& part, Lines& lines) const
    {
        if (m_machine.wasAskedFor(subject))
            addLines(label, part ? linesOf(*part) : Lines{UNREADABLE}, lines);
    }

    void addLines(std::string label, Lines const& values, Lines& lines) const
    {
        if (m_isNarrow)
            lines.push_back(colored(std::exchange(label, ""), Color::BOLD, m_layout.colors));
        for (std::string const& value : values) {
            label.resize(m_isNarrow ? INDENTATION : LABEL_COLUMNS, ' ');
            lines.push_back(colored(label, Color::BOLD, m_layout.colors && label.front() != ' ')
                + (m_layout.isTerminal() ? fitted(value, m_layout.columns) : value));
            label.clear();
        }
    }

    Lines linesOf(System const& system) const
    {
        std::string make;
        for (auto const& part : {system.vendor, system.product, system.version})
            if (part && make.find(*part) == std::string::npos)
                make += (make.empty() ? "" : " ") + *part;
        std::string virtualization;
        if (!system.virtualMachine)
            virtualization = "";
        else if (*system.virtualMachine == "other")
            virtualization = "virtual machine";
        else if (*system.virtualMachine != "none")
            virtualization = *system.virtualMachine + " virtual machine";
        std::string const container =
            system.container && *system.container != "none" ? *system.container + " container" : "";
        std::string const uptime = uptimeText(system.uptimeSeconds);
        return {printable(sentence({system.hostName.value_or(""),
                    make.empty() ? "unknown make" : make, virtualization, container})),
            printable(sentence({system.osName.value_or("unknown operating system"),
                uptime == UNKNOWN ? "" : "up " + uptime,
                system.kernel ? "Linux " + *system.kernel : "",
                system.architecture.value_or("")}))};
    }

    Lines linesOf(Processors const& processors) const
    {
        std::optional<unsigned> highest;
        for (Processor const& processor : processors.list)
            highest = std::max(highest, processor.highestMHz);
        Lines lines = {
            times(processors.list.size()) + printable(processors.model.value_or("unknown model"))};
        std::string load;
        if (processors.loadsMeasured && processors.loadPercent)
            load = "load " + percentText(processors.loadPercent) + bar(processors.loadPercent);
        else if (processors.loadsMeasured)
            load = "load unknown";
        std::string const parts =
            sentence({load, countedOr(processors.sockets, "socket", "sockets"),
                countedOr(processors.cores, "core", "cores"),
                highest ? "up to " + std::to_string(*highest) + " MHz" : ""});
        if (!parts.empty())
            lines.push_back(parts);
        return lines;
    }

    Lines linesOf(Memory const& memory) const
    {
        auto const usedPercent = percentOf(memory.used(), memory.total);
        Lines lines = {sentence({sizeText(memory.total),
            "used " + sizeText(memory.used()) + " (" + percentText(usedPercent) + ")"
                + bar(usedPercent)})};
        std::string const swap = !memory.swapTotal ? "swap unknown"
            : *memory.swapTotal == 0
            ? "no swap"
            : "swap " + sizeText(memory.swapTotal) + ", used " + sizeText(memory.swapUsed());
        lines.push_back(sentence({"available " + sizeText(memory.available), swap}));
        return lines;
    }

    /** On a terminal a bar behind a share. */
    std::string bar(std::optional<double> percent) const
    {
        return m_layout.isTerminal() && percent ? "  " + barText(percent) : "";
    }

    Lines linesOf(std::vector<Disk> const& disks) const
    {
        std::vector<Disk const*> physical;
        std::map<std::string, size_t> stacked;
        for (Disk const& disk : disks) {
            // The paths to a disk are separate disks to the kernel.
            if (disk.type == Disk::MULTIPATH || (disk.isPhysical() && !isPath(disks, disk)))
                physical.push_back(&disk);
            else if (!disk.isPhysical() && disk.parent.empty() && disk.type != Disk::LOOP)
                ++stacked[typeText(disk)];
        }
        Lines lines = physical.size() <= m_limits.disks ? each(physical) : alike(physical);
        if (lines.empty())
            lines.emplace_back(noItemsText(m_machine, Subject::DISKS));
        Lines kinds;
        for (auto const& [type, count] : stacked)
            kinds.push_back(std::to_string(count) + " " + type);
        if (!kinds.empty())
            lines.push_back("and " + joined(kinds) + ": dovrel-sysinfo disks --tree");
        return lines;
    }

    static bool isPath(std::vector<Disk> const& disks, Disk const& disk)
    {
        return std::any_of(disks.begin(), disks.end(), [&disk](Disk const& other) {
            return other.type == Disk::MULTIPATH
                && std::count(other.slaves.begin(), other.slaves.end(), disk.name) > 0;
        });
    }

    /** "SSD", "multipath"; "disk" where the kind is unknown. */
    static std::string kindOf(Disk const& disk)
    {
        return disk.type == Disk::MULTIPATH ? "multipath" : disk.kind().value_or("disk");
    }

    Lines each(std::vector<Disk const*> const& disks) const
    {
        TextTable table({{"", LEFT}, {"", RIGHT}, {"", LEFT, 20}, {"", LEFT, 10}});
        for (Disk const* const disk : disks)
            table.addRow({disk->label, sizeText(disk->bytes),
                disk->type == Disk::MULTIPATH ? "multipath"
                                              : disk->kind().value_or(disk->model ? UNKNOWN : ""),
                disk->model.value_or("")});
        return table.rows(m_layout);
    }

    /** "12 × 4.0 TiB HDD", the groups with the most bytes first. */
    Lines alike(std::vector<Disk const*> const& disks) const
    {
        struct Group {
            size_t count = 0;
            double bytes = 0;
        };
        std::map<std::string, Group> groups;
        for (Disk const* const disk : disks) {
            Group& group = groups[disk->bytes ? sizeText(disk->bytes) + " " + kindOf(*disk)
                                              : kindOf(*disk) + " of unknown size"];
            ++group.count;
            group.bytes += static_cast<double>(disk->bytes.value_or(0));
        }
        std::vector<std::pair<std::string, Group>> sorted(groups.begin(), groups.end());
        std::stable_sort(sorted.begin(), sorted.end(), [](auto const& first, auto const& second) {
            return first.second.bytes > second.second.bytes;
        });
        Lines lines;
        size_t rest = 0;
        for (auto const& [text, group] : sorted)
            if (lines.size() + 1 < m_limits.disks || sorted.size() <= m_limits.disks)
                lines.push_back(times(group.count) + text);
            else
                rest += group.count;
        if (rest > 0)
            lines.push_back("and " + std::to_string(rest) + " more: dovrel-sysinfo disks");
        return lines;
    }

    Lines linesOf(std::vector<Mount> const& list) const
    {
        std::vector<Mount> mounts; // A filesystem once.
        std::copy_if(list.begin(), list.end(), std::back_inserter(mounts),
            [](Mount const& mount) { return mount.sameAs.empty(); });
        TextTable table({{"", LEFT}, {"", RIGHT, 20}, {"", LEFT}, {"", LEFT, 10}});
        size_t const count = mounts.size() <= m_limits.mounts ? mounts.size() : m_limits.mounts - 1;
        auto const shown = fullest(mounts, count);
        for (Mount const* const mount : shown) {
            auto const percent = mount->usedPercent();
            table.addRow({mount->mountPoint, sizeText(mount->size), "used " + percentText(percent),
                m_layout.isTerminal() ? barText(percent) : ""});
        }
        Lines lines = table.rows(m_layout);
        if (lines.empty())
            lines.emplace_back(noItemsText(m_machine, Subject::MOUNTS));
        bool const imageLeft = std::any_of(mounts.begin(), mounts.end(), [&](Mount const& mount) {
            return mount.readOnly && std::count(shown.begin(), shown.end(), &mount) == 0;
        });
        if (count < mounts.size())
            lines.push_back("and " + std::to_string(mounts.size() - count) + " more, less full"
                + (imageLeft ? " or read-only" : "") + ": dovrel-sysinfo mounts");
        return lines;
    }

    /** The mounts that people look for first: those with the least space left, in their order. */
    static std::vector<Mount const*> fullest(std::vector<Mount> const& mounts, size_t count)
    {
        std::vector<Mount const*> list;
        list.reserve(mounts.size());
        for (Mount const& mount : mounts)
            list.push_back(&mount);
        std::stable_sort(list.begin(), list.end(), [](Mount const* first, Mount const* second) {
            // An image that is mounted read-only is always full, and nobody fills a hidden one.
            auto const key = [](Mount const& mount) {
                return mount.readOnly || !mount.hiddenBy.empty()
                    ? -1.0
                    : mount.usedPercent().value_or(101);
            };
            return key(*first) > key(*second);
        });
        list.resize(count);
        std::sort(list.begin(), list.end());
        return list;
    }

    Lines linesOf(Networks const& networks) const
    {
        return networkLines(networks, m_limits.adapters);
    }

    Lines recoveryLines() const
    {
        if (!m_machine.recovery)
            return {noItemsText(m_machine, Subject::RECOVERY)};
        Recovery const& recovery = *m_machine.recovery;
        if (recovery.hasEnded(m_machine.time))
            return wrapped(recoveryOutcome(recovery, m_machine.time), m_layout, 0, 0);
        std::string text = stateText(recovery);
        if (recovery.percent)
            text += ", " + wholePercentText(recovery.percent);
        if (auto const ofMegabytes = percentOfMegabytes(recovery))
            text += " (" + *ofMegabytes + " of the MB)";
        return wrapped(text, m_layout, 0, 0);
    }

    Machine const& m_machine;
    Layout m_layout; // Of what stands behind or below the labels.
    bool m_isNarrow = false;
    Limits m_limits;
};

}

void writeSummary(
    Machine const& machine, Layout const& layout, std::ostream& out, size_t linesAbove)
{
    size_t const most = SUMMARY_LINES - std::min(SUMMARY_LINES, linesAbove);
    Summary(machine, layout).write(most, out);
}

}
