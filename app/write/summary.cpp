#include "app/write/summary.h"

#include "app/write/display.h"
#include "app/write/names.h"
#include "app/write/recovery_line.h"

#include <algorithm>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace app {

namespace {

using Lines = std::vector<std::string>;

constexpr char const* UNREADABLE = "could not be read";
constexpr size_t LABEL_COLUMNS = 12;
constexpr size_t MOST_DISKS = 4;
constexpr size_t MOST_MOUNTS = 5;
constexpr size_t MOST_ADAPTERS = 4;

constexpr auto LEFT = TextTable::LEFT;
constexpr auto RIGHT = TextTable::RIGHT;

/** The parts that are known, with ", " between them. */
std::string sentence(Lines const& parts)
{
    Lines known;
    std::copy_if(parts.begin(), parts.end(), std::back_inserter(known),
        [](std::string const& part) { return !part.empty(); });
    return joined(known);
}

std::string counted(size_t count, std::string const& one, std::string const& several)
{
    return std::to_string(count) + " " + (count == 1 ? one : several);
}

/** "12 × " */
std::string times(size_t count)
{
    return std::to_string(count) + (localeIsUtf8() ? " \xC3\x97 " : " x "); // U+00D7
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
        // The labels take their part of every line.
        if (m_layout.isTerminal())
            m_layout.columns = std::max(m_layout.columns, LABEL_COLUMNS * 2) - LABEL_COLUMNS;
        m_layout.headings = false;
    }

    void write(std::ostream& out) const
    {
        writePart(Subject::SYSTEM, "System", m_machine.system, out);
        writePart(Subject::PROCESSORS, "Processors", m_machine.processors, out);
        writePart(Subject::MEMORY, "Memory", m_machine.memory, out);
        writePart(Subject::DISKS, "Disks", m_machine.disks, out);
        writePart(Subject::MOUNTS, "Mounts", m_machine.mounts, out);
        writePart(Subject::NETWORKS, "Networks", m_machine.networks, out);
        if (m_machine.wasAskedFor(Subject::RECOVERY))
            writeLines("Recovery", recoveryLines(), out);
        if (!m_machine.differences.empty())
            writeLines("Library",
                {counted(m_machine.differences.size(), "fact differs", "facts differ")
                    + " for the host: dovrel-sysinfo library"},
                out);
    }

private:
    template <class Part> void writePart(Subject subject, char const* label,
        std::optional<Part> const& part, std::ostream& out) const
    {
        if (m_machine.wasAskedFor(subject))
            writeLines(label, part ? linesOf(*part) : Lines{UNREADABLE}, out);
    }

    void writeLines(std::string label, Lines const& lines, std::ostream& out) const
    {
        for (std::string const& line : lines) {
            label.resize(LABEL_COLUMNS, ' ');
            out << colored(label, Color::BOLD, m_layout.colors && label.front() != ' ')
                << (m_layout.isTerminal() ? shortened(line, m_layout.columns) : line) << '\n';
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
        bool const hasSwap = memory.swapTotal.value_or(0) > 0;
        lines.push_back(sentence({"available " + sizeText(memory.available),
            hasSwap ? "swap " + sizeText(memory.swapTotal) + ", used " + sizeText(memory.swapUsed())
                    : std::string("no swap")}));
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
            // The paths to a disk are disks of their own to the kernel.
            if (disk.type == Disk::MULTIPATH || (disk.isPhysical() && !isPath(disks, disk)))
                physical.push_back(&disk);
            else if (!disk.isPhysical() && disk.parent.empty() && disk.type != Disk::LOOP)
                ++stacked[typeText(disk)];
        }
        Lines lines = physical.size() <= MOST_DISKS ? each(physical) : alike(physical);
        if (lines.empty())
            lines.emplace_back("none");
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
                disk->type == Disk::MULTIPATH ? "multipath" : disk->kind().value_or(""),
                disk->model.value_or("")});
        return table.rows(m_layout);
    }

    /** "12 × 4.0 TiB HDD", the groups with the most bytes first. */
    static Lines alike(std::vector<Disk const*> const& disks)
    {
        struct Group {
            size_t count = 0;
            double bytes = 0;
        };
        std::map<std::string, Group> groups;
        for (Disk const* const disk : disks) {
            Group& group = groups[sizeText(disk->bytes) + " " + kindOf(*disk)];
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
            if (lines.size() + 1 < MOST_DISKS || sorted.size() <= MOST_DISKS)
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
        size_t const shown = mounts.size() <= MOST_MOUNTS ? mounts.size() : MOST_MOUNTS - 1;
        for (Mount const* const mount : fullest(mounts, shown)) {
            auto const percent = mount->usedPercent();
            table.addRow({mount->mountPoint, sizeText(mount->size), "used " + percentText(percent),
                m_layout.isTerminal() ? barText(percent) : ""});
        }
        Lines lines = table.rows(m_layout);
        if (lines.empty())
            lines.emplace_back("none");
        if (shown < mounts.size())
            lines.push_back("and " + std::to_string(mounts.size() - shown)
                + " more, less full: dovrel-sysinfo mounts");
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
        std::vector<Adapter const*> shown;
        std::map<std::string, size_t> others;
        // Those with an address first, as people know machines by them.
        for (bool const withAddress : {true, false})
            for (Adapter const& adapter : networks.adapters) {
                if (adapter.addresses.empty() == withAddress)
                    continue;
                bool const room = networks.adapters.size() <= MOST_ADAPTERS
                    || (withAddress && shown.size() + 1 < MOST_ADAPTERS);
                if (room)
                    shown.push_back(&adapter);
                else
                    ++others[adapter.name.substr(0, adapter.name.find_first_of("0123456789.@"))];
            }
        // The last cell may be cut by the screen's edge, which the first one may not.
        TextTable table({{""}, {""}, {""}});
        for (Adapter const* const adapter : shown)
            table.addRow({adapter->name, adapter->state.value_or(UNKNOWN), addressesOf(*adapter)});
        Lines lines = table.rows({});
        if (networks.adapters.empty())
            lines.emplace_back("none");
        if (!others.empty())
            lines.push_back(
                (lines.empty() ? "" : "and ") + stems(others) + ": dovrel-sysinfo networks");
        if (networks.nameServers && !networks.nameServers->empty())
            lines.push_back("name servers " + printable(joined(*networks.nameServers)));
        return lines;
    }

    static std::string addressesOf(Adapter const& adapter)
    {
        Lines texts;
        for (Address const& address : adapter.addresses)
            texts.push_back(address.text
                + (address.prefixLength ? "/" + std::to_string(*address.prefixLength) : ""));
        return texts.empty() ? "no address" : joined(texts);
    }

    /** "26 veth…, 3 eth…", the most frequent three. */
    static std::string stems(std::map<std::string, size_t> const& others)
    {
        constexpr size_t MOST_STEMS = 3;
        std::vector<std::pair<std::string, size_t>> sorted(others.begin(), others.end());
        std::stable_sort(sorted.begin(), sorted.end(),
            [](auto const& first, auto const& second) { return first.second > second.second; });
        Lines texts;
        size_t rest = 0;
        for (auto const& [stem, count] : sorted)
            if (texts.size() < MOST_STEMS)
                texts.push_back(std::to_string(count) + " " + printable(stem)
                    + (localeIsUtf8() ? "\xE2\x80\xA6" : "..."));
            else
                rest += count;
        if (rest > 0)
            texts.push_back(std::to_string(rest) + " others");
        return joined(texts);
    }

    Lines recoveryLines() const
    {
        if (!m_machine.recovery)
            return {m_machine.hasProblem(Subject::RECOVERY) ? UNREADABLE : "none"};
        Recovery const& recovery = *m_machine.recovery;
        if (recovery.hasEnded(m_machine.time))
            return wrapped(recoveryOutcome(recovery, m_machine.time), m_layout, 0, 0);
        std::string text = stateText(recovery);
        if (recovery.percent)
            text += ", " + std::to_string(*recovery.percent) + " %";
        if (auto const ofMegabytes = percentOfMegabytes(recovery))
            text += " (" + *ofMegabytes + " of the MB)";
        return wrapped(text, m_layout, 0, 0);
    }

    Machine const& m_machine;
    Layout m_layout;
};

}

void writeSummary(Machine const& machine, Layout const& layout, std::ostream& out)
{
    Summary(machine, layout).write(out);
}

}
