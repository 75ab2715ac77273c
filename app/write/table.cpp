#include "app/write/table.h"

#include "app/write/TextTable.h"
#include "app/write/disk_tree.h"
#include "app/write/display.h"
#include "app/write/names.h"

#include <array>
#include <ctime>
#include <string>
#include <vector>

namespace app {

namespace {

constexpr auto LEFT = TextTable::LEFT;
constexpr auto RIGHT = TextTable::RIGHT;

std::string known(std::string const& text)
{
    return text.empty() ? UNKNOWN : text;
}

template <class Number> std::string numberText(std::optional<Number> number)
{
    return number ? std::to_string(*number) : UNKNOWN;
}

std::string tableOf(System const& system)
{
    std::string hypervisor = UNKNOWN;
    if (auto const code = system.hypervisorCode)
        hypervisor =
            hypervisorName(*code).value_or("unknown") + " (code " + std::to_string(*code) + ")";
    TextTable table({{"System", LEFT}, {"", LEFT}});
    table.addRow({"Vendor", known(system.vendor)});
    table.addRow({"Product", known(system.product)});
    table.addRow({"Version", known(system.version)});
    table.addRow({"Hypervisor", hypervisor});
    return table.text();
}

std::string tableOf(std::vector<Processor> const& processors, bool loadsMeasured)
{
    std::vector<TextTable::Column> columns = {{"CPU", RIGHT}, {"MHz", RIGHT}, {"Max MHz", RIGHT}};
    if (loadsMeasured)
        columns.insert(columns.end(), {{"Load", RIGHT}, {"", LEFT}});
    TextTable table(columns);
    for (size_t index = 0; index < processors.size(); ++index) {
        Processor const& processor = processors[index];
        // Without the load's columns its cells are dropped.
        table.addRow(
            {std::to_string(index), numberText(processor.currentMHz), numberText(processor.maxMHz),
                percentText(processor.loadPercent), barText(processor.loadPercent)});
    }
    return table.text();
}

std::string tableOf(Memory const& memory)
{
    std::string source;
    if (memory.source)
        source = *memory.source == MemorySource::KERNEL ? "as the kernel counts"
                                                        : "of the installed modules";
    auto const usedPercent = percentOf(memory.used(), memory.total);
    TextTable table({{"Memory", LEFT}, {"Size", RIGHT}, {"Share", RIGHT}, {"", LEFT}});
    table.addRow({"Total", sizeText(memory.total), "", source});
    table.addRow(
        {"Free", sizeText(memory.free), percentText(percentOf(memory.free, memory.total))});
    table.addRow({"Used", sizeText(memory.used()), percentText(usedPercent), barText(usedPercent)});
    return table.text();
}

std::string tableOf(std::vector<Disk> const& disks, SizeUnit unit)
{
    TextTable table({{"Disk", LEFT}, {"Caption", LEFT}, {"Size", RIGHT}, {"Partitions", RIGHT}});
    for (Disk const& disk : disks)
        table.addRow({disk.name, known(disk.caption), sizeText(disk.bytes, unit),
            std::to_string(disk.partitions)});
    return table.text();
}

std::string tableOf(std::vector<Mount> const& mounts, SizeUnit unit)
{
    TextTable table({{"Mounted on", LEFT}, {"Size", RIGHT}, {"Used", RIGHT}, {"Free", RIGHT},
        {"Share", RIGHT}, {"", LEFT}, {"Disks", LEFT}});
    for (Mount const& mount : mounts) {
        auto const usedPercent = percentOf(mount.used(), mount.size);
        table.addRow({mount.mountPoint, sizeText(mount.size, unit), sizeText(mount.used(), unit),
            sizeText(mount.free, unit), percentText(usedPercent), barText(usedPercent),
            known(joined(mount.disks))});
    }
    return table.text();
}

std::string tableOf(std::vector<DiskBranch> const& tree, SizeUnit unit)
{
    bool const utf8 = localeIsUtf8();
    char const* const twig = utf8 ? "\xE2\x94\x9C\xE2\x94\x80 " : "|- "; // U+251C, U+2500
    char const* const lastTwig = utf8 ? "\xE2\x94\x94\xE2\x94\x80 " : "`- "; // U+2514, U+2500
    TextTable table({{"Disk", LEFT}, {"Size", RIGHT}, {"Used", RIGHT}, {"", LEFT},
        {"Partitions", RIGHT}, {"Caption", LEFT}});
    for (DiskBranch const& branch : tree) {
        if (branch.disk)
            table.addRow({branch.disk->name, sizeText(branch.disk->bytes, unit), "", "",
                std::to_string(branch.disk->partitions), known(branch.disk->caption)});
        else if (!branch.mounts.empty())
            table.addRow({"(no disk)"});
        for (Mount const* mount : branch.mounts)
            table.addRow({(mount == branch.mounts.back() ? lastTwig : twig) + mount->mountPoint,
                sizeText(mount->size, unit), sizeText(mount->used(), unit),
                barText(percentOf(mount->used(), mount->size))});
    }
    return table.text();
}

std::string tableOf(Networks const& networks)
{
    constexpr size_t SIX_BYTES = 17; // An eight-byte address would widen the column for all.
    TextTable adapters({{"Adapter", LEFT}, {"MAC", LEFT}, {"Address", LEFT}, {"Mask", LEFT}});
    for (Adapter const& adapter : networks.adapters) {
        std::string name = adapter.name;
        std::string mac = adapter.mac.value_or(UNKNOWN).substr(0, SIX_BYTES);
        if (adapter.addresses.empty())
            adapters.addRow({name, mac, UNKNOWN});
        for (Address const& address : adapter.addresses) {
            adapters.addRow({name, mac, addressText(address.text), address.netmask.value_or("")});
            name.clear();
            mac.clear();
        }
    }
    TextTable machine(
        {{"Host name", LEFT}, {printable(networks.hostName.value_or(UNKNOWN)), LEFT}});
    machine.addRow({"Name servers", known(addressesText(networks.nameServers))});
    return adapters.text() + "\n" + machine.text();
}

/** A local time, "2026-03-24 14:05:09". */
std::string timeText(std::optional<int64_t> seconds)
{
    auto const time = static_cast<std::time_t>(seconds.value_or(0));
    std::tm local{};
    std::array<char, 64> text;
    if (!seconds || !localtime_r(&time, &local)
        || std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S", &local) == 0)
        return UNKNOWN;
    return text.data();
}

std::string tableOf(Recovery const& recovery)
{
    std::string progress = UNKNOWN;
    if (recovery.percent)
        progress = std::to_string(*recovery.percent) + " %  " + barText(double(*recovery.percent));
    auto const doneOfTotal = [](auto done, auto total) {
        return numberText(done) + " of " + numberText(total);
    };
    TextTable table({{"Recovery", LEFT}, {"", LEFT}});
    table.addRow({"State", phaseText(recovery)});
    table.addRow({"Progress", progress});
    table.addRow({"Files", doneOfTotal(recovery.filesDone, recovery.filesTotal)});
    table.addRow({"MB", doneOfTotal(recovery.megabytesDone, recovery.megabytesTotal)});
    table.addRow({"Rate",
        recovery.megabytesPerSecond ? numberText(recovery.megabytesPerSecond) + " MB/s" : UNKNOWN});
    table.addRow({"Recovery started", timeText(recovery.recoverStart)});
    table.addRow({"Recovery ended", timeText(recovery.recoverEnd)});
    table.addRow({"Restore started", timeText(recovery.restoreStart)});
    table.addRow({"Restore ended", timeText(recovery.restoreEnd)});
    return table.text();
}

std::string recoveryText(Machine const& machine)
{
    if (machine.recovery)
        return tableOf(*machine.recovery);
    return machine.hasProblem(Subject::RECOVERY) ? "" : std::string(NO_RECOVERY) + "\n";
}

}

void writeTables(Machine const& machine, TableOptions const& options, std::ostream& out)
{
    SizeUnit const unit = options.bytes ? UNIT_BYTES : UNIT_FITTING;
    std::vector<std::string> tables;
    if (machine.system)
        tables.push_back(tableOf(*machine.system));
    if (machine.processors)
        tables.push_back(tableOf(*machine.processors, machine.loadsMeasured));
    if (machine.memory)
        tables.push_back(tableOf(*machine.memory));
    if (options.diskTree) {
        // Without the disks every mount would look like one without a disk.
        if (machine.disks)
            tables.push_back(tableOf(diskTreeOf(machine), unit));
    } else {
        if (machine.disks)
            tables.push_back(tableOf(*machine.disks, unit));
        if (machine.mounts)
            tables.push_back(tableOf(*machine.mounts, unit));
    }
    if (machine.networks)
        tables.push_back(tableOf(*machine.networks));
    if (machine.wasAskedFor(Subject::RECOVERY))
        tables.push_back(recoveryText(machine));
    char const* separator = "";
    for (std::string const& table : tables) {
        if (table.empty())
            continue;
        out << separator << table;
        separator = "\n";
    }
}

}
