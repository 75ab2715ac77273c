#include "app/write/summary.h"

#include "app/write/TextTable.h"
#include "app/write/display.h"
#include "app/write/names.h"

#include <algorithm>
#include <string>
#include <vector>

namespace app {

namespace {

using Lines = std::vector<std::string>;

constexpr char const* UNREADABLE = "could not be read";

Lines linesOf(System const& system)
{
    std::string text;
    for (std::string const& part : {system.vendor, system.product, system.version})
        if (!part.empty())
            text += (text.empty() ? "" : " ") + part;
    text = text.empty() ? "of unknown make" : printable(text);
    auto const code = system.hypervisorCode;
    auto const name = code ? hypervisorName(*code) : std::nullopt;
    if (!name)
        return {text + ", hypervisor unknown"};
    return {text + (code == NO_HYPERVISOR ? ", no hypervisor" : ", under " + *name)};
}

Lines linesOf(std::vector<Processor> const& processors, bool loadsMeasured)
{
    std::optional<unsigned> fastest;
    double sum = 0;
    size_t known = 0;
    for (Processor const& processor : processors) {
        fastest = std::max(fastest, processor.maxMHz);
        sum += processor.loadPercent.value_or(0);
        known += processor.loadPercent ? 1 : 0;
    }
    Lines lines = {std::to_string(processors.size())
        + (fastest ? ", up to " + std::to_string(*fastest) + " MHz" : "")};
    if (!loadsMeasured)
        return lines;
    if (known == 0) {
        lines.emplace_back("load unknown");
        return lines;
    }
    double const average = sum / static_cast<double>(known);
    std::string load = "load " + percentText(average) + "  " + barText(average);
    if (known < processors.size())
        load += "  (of " + std::to_string(known) + ", the others are unknown)";
    lines.push_back(load);
    return lines;
}

Lines linesOf(Memory const& memory)
{
    std::string total = memory.total ? sizeText(memory.total) : "total unknown";
    if (memory.source)
        total += *memory.source == MemorySource::KERNEL ? " as the kernel counts"
                                                        : " of the installed modules";
    Lines lines = {total + ", " + (memory.free ? sizeText(memory.free) + " free" : "free unknown")};
    if (auto const percent = percentOf(memory.used(), memory.total))
        lines.push_back("used " + percentText(percent) + "  " + barText(percent));
    return lines;
}

/** The first rows of a list, and the number of the others. */
Lines shortened(TextTable const& table, bool complete, char const* command)
{
    constexpr size_t MOST_ROWS = 6;
    Lines rows = table.rows();
    if (rows.size() > MOST_ROWS) {
        // Never "1 more": that line has room for the row itself.
        size_t const more = rows.size() - (MOST_ROWS - 1);
        rows.resize(MOST_ROWS - 1);
        rows.push_back("and " + std::to_string(more) + " more: dovrel-sysinfo " + command);
    }
    if (!complete)
        rows.emplace_back("the rest could not be read");
    else if (rows.empty())
        rows.emplace_back("none");
    return rows;
}

constexpr auto LEFT = TextTable::LEFT;
constexpr auto RIGHT = TextTable::RIGHT;

Lines linesOf(std::vector<Disk> const& disks, bool complete)
{
    TextTable table({{"", LEFT}, {"", RIGHT}, {"", LEFT}});
    for (Disk const& disk : disks)
        table.addRow({disk.name, sizeText(disk.bytes), disk.caption});
    return shortened(table, complete, "disks");
}

Lines linesOf(std::vector<Mount> const& mounts, bool complete)
{
    TextTable table({{"", LEFT}, {"", RIGHT}, {"", RIGHT}, {"", LEFT}});
    for (Mount const& mount : mounts) {
        auto const usedPercent = percentOf(mount.used(), mount.size);
        table.addRow({mount.mountPoint, sizeText(mount.size), "used " + percentText(usedPercent),
            barText(usedPercent)});
    }
    return shortened(table, complete, "mounts");
}

Lines linesOf(Networks const& networks, bool complete)
{
    TextTable table({{"", LEFT}, {"", LEFT}});
    for (Adapter const& adapter : networks.adapters) {
        std::vector<std::optional<std::string>> addresses;
        for (Address const& address : adapter.addresses)
            addresses.push_back(address.text);
        table.addRow({adapter.name, addresses.empty() ? UNKNOWN : addressesText(addresses)});
    }
    Lines lines = shortened(table, complete, "networks");
    if (networks.hostName)
        lines.push_back("host name " + printable(*networks.hostName));
    if (std::string const servers = addressesText(networks.nameServers); !servers.empty())
        lines.push_back("name servers " + servers);
    return lines;
}

Lines linesOf(Recovery const& recovery)
{
    std::string text = phaseText(recovery);
    if (recovery.percent)
        text += ", " + std::to_string(*recovery.percent) + " %";
    return {text};
}

Lines recoveryLines(Machine const& machine)
{
    if (machine.recovery)
        return linesOf(*machine.recovery);
    return {machine.hasProblem(Subject::RECOVERY) ? UNREADABLE : "none"};
}

/** @param arguments those that follow the part in its `linesOf`. */
template <class Part, class... Arguments>
Lines partLines(std::optional<Part> const& part, Arguments... arguments)
{
    return part ? linesOf(*part, arguments...) : Lines{UNREADABLE};
}

}

void writeSummary(Machine const& machine, std::ostream& out)
{
    auto const complete = [&machine](Subject subject) { return !machine.hasProblem(subject); };
    std::pair<Subject, std::pair<char const*, Lines>> const parts[] = {
        {Subject::SYSTEM, {"System", partLines(machine.system)}},
        {Subject::PROCESSORS, {"Processors", partLines(machine.processors, machine.loadsMeasured)}},
        {Subject::MEMORY, {"Memory", partLines(machine.memory)}},
        {Subject::DISKS, {"Disks", partLines(machine.disks, complete(Subject::DISKS))}},
        {Subject::MOUNTS, {"Mounts", partLines(machine.mounts, complete(Subject::MOUNTS))}},
        {Subject::NETWORKS, {"Networks", partLines(machine.networks, complete(Subject::NETWORKS))}},
        {Subject::RECOVERY, {"Recovery", recoveryLines(machine)}},
    };
    constexpr size_t LABEL_COLUMNS = 12;
    for (auto const& [subject, labelled] : parts) {
        if (!machine.wasAskedFor(subject))
            continue;
        std::string label = labelled.first;
        for (std::string const& line : labelled.second) {
            label.resize(LABEL_COLUMNS, ' ');
            out << label << line << '\n';
            label.clear();
        }
    }
}

}
