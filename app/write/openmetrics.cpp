#include "app/write/openmetrics.h"

#include "app/write/Exposition.h"
#include "app/write/exact_values.h"
#include "app/write/names.h"

#include <algorithm>
#include <functional>

namespace app {

namespace {

constexpr uint64_t BYTES_OF_A_MBIT = 125000;

std::optional<std::string> digits(std::optional<unsigned> number)
{
    return number ? std::optional(std::to_string(*number)) : std::nullopt;
}

/** The parts of all items, each with its item. */
template <class Item, class Part> std::vector<std::pair<Item const*, Part const*>> parts(
    std::vector<Item> const& items, std::vector<Part> Item::*list)
{
    std::vector<std::pair<Item const*, Part const*>> all;
    for (Item const& item : items)
        for (Part const& part : item.*list)
            all.emplace_back(&item, &part);
    return all;
}

/** Writes one machine's metrics. */
class Metrics {
public:
    Metrics(Machine const& machine, std::ostream& out) : m_machine(machine), m_out(out) { }

    void write()
    {
        writeReading();
        writeSystem();
        writeProcessors();
        writeMemory();
        writeDisks();
        writeMounts();
        writeNetworks();
        writeRecovery();
        m_out.end();
    }

private:
    template <class Value> void gauge(char const* name, char const* help, Value value)
    {
        m_out.family(name, help);
        m_out.sample({}, std::optional(value));
    }

    /** The value 1 with a machine's texts as labels, unless all are unknown. */
    void info(char const* name, char const* help, Labels const& labels)
    {
        m_out.family(name, help);
        if (std::any_of(labels.begin(), labels.end(),
                [](auto const& label) { return label.second && !label.second->empty(); }))
            m_out.sample(labels, std::optional(1U));
    }

    /** A sample for each item. @param value a member of the item, or a function of it. */
    template <class Items, class LabelsOf, class Value> void gauges(
        char const* name, char const* help, Items const& items, LabelsOf labels, Value value)
    {
        m_out.family(name, help);
        for (auto const& item : items)
            m_out.sample(labels(item), std::optional(std::invoke(value, item)));
    }

    /** The value 1 for each item, with its texts as labels. */
    template <class Items, class LabelsOf>
    void infos(char const* name, char const* help, Items const& items, LabelsOf labels)
    {
        gauges(name, help, items, labels, [](auto const&) { return 1U; });
    }

    void writeReading();
    void writeSystem();
    void writeProcessors();
    void writeMemory();
    void writeModules();
    void writeDisks();
    void writeMounts();
    void writeNetworks();
    void writeAdapters();
    void writeRecovery();
    void writeRestore();

    Machine const& m_machine;
    Exposition m_out;
};

void Metrics::writeReading()
{
    gauge("dovrel_read_timestamp_seconds", "Time of the reading, since 1970.", m_machine.time);
    gauges(
        "dovrel_problems", "Number of facts that could not be read.", m_machine.subjects,
        [](Subject subject) {
            return Labels{{"subject", keyOf(subject)}};
        },
        [this](Subject subject) {
            return static_cast<uint64_t>(
                std::count_if(m_machine.problems.begin(), m_machine.problems.end(),
                    [subject](Problem const& problem) { return problem.subject == subject; }));
        });
    auto const queryOf = [](auto const& entry) { return Labels{{"query", entry.second.query}}; };
    gauges("dovrel_query_success", "Whether the query of the library succeeded.", m_machine.library,
        queryOf, [this](auto const& entry) {
            // Where no recovery has been started, its query returns false.
            bool const none =
                entry.first == Subject::RECOVERY && !m_machine.hasProblem(Subject::RECOVERY);
            return none || entry.second.outcome == LibraryAnswer::RETURNED_TRUE;
        });
    gauges("dovrel_query_duration_seconds", "Time that the query of the library took.",
        m_machine.library, queryOf, [](auto const& entry) { return entry.second.seconds; });
}

void Metrics::writeSystem()
{
    if (!m_machine.system)
        return;
    System const& system = *m_machine.system;
    info("dovrel_machine_info", "The machine and its firmware.",
        {{"vendor", system.vendor}, {"product", system.product}, {"version", system.version},
            {"firmware_vendor", system.firmwareVendor},
            {"firmware_version", system.firmwareVersion}, {"firmware_date", system.firmwareDate},
            {"virtual_machine", system.virtualMachine}, {"container", system.container}});
    info("dovrel_os_info", "The operating system.",
        {{"host_name", system.hostName}, {"os", system.osName}, {"kernel", system.kernel},
            {"architecture", system.architecture}});
    gauge("dovrel_boot_timestamp_seconds", "Time of the start, since 1970.", system.bootTime);
    gauge("dovrel_uptime_seconds", "Time since the start.", system.uptimeSeconds);
}

void Metrics::writeProcessors()
{
    if (!m_machine.processors)
        return;
    Processors const& processors = *m_machine.processors;
    auto const& list = processors.list;
    auto const cpuOf = [](Processor const& processor) {
        return Labels{{"cpu", std::to_string(processor.number)}};
    };
    info("dovrel_cpu_model_info", "The model of the first processor.",
        {{"model", processors.model}});
    gauge("dovrel_cpus", "Number of processors that are online.", list.size());
    gauge("dovrel_cpu_sockets", "Number of sockets with processors.", processors.sockets);
    gauge("dovrel_cpu_cores", "Number of cores of all sockets.", processors.cores);
    gauge("dovrel_numa_nodes", "Number of NUMA nodes.", processors.nodes);
    gauge("dovrel_all_cpus_load_ratio",
        "Share of busy time of all processors together in one second.",
        ratioOf(processors.loadPercent));
    infos("dovrel_cpu_info", "The place of the processor.", list, [](Processor const& processor) {
        return Labels{{"cpu", std::to_string(processor.number)},
            {"socket", digits(processor.socket)}, {"core", digits(processor.core)},
            {"numa_node", digits(processor.node)}};
    });
    gauges("dovrel_cpu_load_ratio", "Share of the processor's busy time in one second.", list,
        cpuOf, [](Processor const& processor) { return ratioOf(processor.loadPercent); });
    gauges("dovrel_cpu_lowest_hertz", "Lowest speed of the processor.", list, cpuOf,
        [](Processor const& processor) { return times(MEGA, processor.lowestMHz); });
    gauges("dovrel_cpu_current_hertz", "Current speed of the processor.", list, cpuOf,
        [](Processor const& processor) { return times(MEGA, processor.currentMHz); });
    gauges("dovrel_cpu_highest_hertz", "Highest speed of the processor.", list, cpuOf,
        [](Processor const& processor) { return times(MEGA, processor.highestMHz); });
}

void Metrics::writeMemory()
{
    if (!m_machine.memory)
        return;
    Memory const& memory = *m_machine.memory;
    gauge("dovrel_memory_total_bytes", "Memory that the kernel can use.", memory.total);
    gauge("dovrel_memory_used_bytes", "Memory in use, as free(1) counts.", memory.used());
    gauge("dovrel_memory_available_bytes", "Memory for new processes without swapping.",
        memory.available);
    gauge("dovrel_memory_free_bytes", "Memory that is used for nothing.", memory.free);
    gauge("dovrel_memory_buffers_bytes", "Memory of the kernel's buffers.", memory.buffers);
    gauge("dovrel_memory_caches_bytes", "Page cache and reclaimable kernel memory.", memory.caches);
    gauge("dovrel_swap_total_bytes", "Size of the swap space.", memory.swapTotal);
    gauge("dovrel_swap_used_bytes", "Swap space in use.", memory.swapUsed());
    if (memory.modules)
        writeModules();
}

void Metrics::writeModules()
{
    auto const& modules = *m_machine.memory->modules;
    infos("dovrel_memory_module_info", "A memory module, or an empty slot for one.", modules,
        [](MemoryModule const& module) {
            return Labels{{"slot", module.slot}, {"type", module.type}};
        });
    auto const slotOf = [](MemoryModule const& module) { return Labels{{"slot", module.slot}}; };
    gauges("dovrel_memory_module_size_bytes", "Size of the memory module, 0 for an empty slot.",
        modules, slotOf, &MemoryModule::bytes);
    gauges("dovrel_memory_module_transfers_per_second", "Speed of the memory module.", modules,
        slotOf, [](MemoryModule const& module) { return transfersPerSecond(module.speed); });
}

void Metrics::writeDisks()
{
    if (!m_machine.disks)
        return;
    auto const& disks = *m_machine.disks;
    auto const deviceOf = [](Disk const& disk) { return Labels{{"device", disk.name}}; };
    infos("dovrel_disk_info", "A block device.", disks, [](Disk const& disk) {
        return Labels{{"device", disk.name}, {"label", disk.label}, {"type", typeText(disk)},
            {"kind", wordOf(disk.kind())}, {"transport", disk.transport}, {"model", disk.model},
            {"serial", disk.serial}, {"parent", disk.parent}, {"number", disk.device}};
    });
    gauges("dovrel_disk_size_bytes", "Size of the block device.", disks, deviceOf, &Disk::bytes);
    gauges("dovrel_disk_partitions", "Number of partitions on the block device.", disks, deviceOf,
        [&disks](Disk const& disk) { return uint64_t{partitionsOf(disks, disk)}; });
    gauges("dovrel_disk_read_only", "Whether the block device is read-only.", disks, deviceOf,
        &Disk::readOnly);
    gauges("dovrel_disk_removable", "Whether the medium is removable.", disks, deviceOf,
        &Disk::removable);
    gauges("dovrel_disk_logical_sector_bytes", "Size of a logical sector.", disks, deviceOf,
        &Disk::logicalSector);
    gauges("dovrel_disk_physical_sector_bytes", "Size of a physical sector.", disks, deviceOf,
        &Disk::physicalSector);
    infos("dovrel_disk_slave_info", "A block device that this one is made of.",
        parts(disks, &Disk::slaves), [](auto const& part) {
            return Labels{{"device", part.first->name}, {"slave", *part.second}};
        });
}

Labels labelsOf(Mount const& mount)
{
    return {
        {"mountpoint", mount.mountPoint}, {"fstype", mount.filesystem}, {"source", mount.source}};
}

void Metrics::writeMounts()
{
    if (!m_machine.mounts)
        return;
    auto const& mounts = *m_machine.mounts;
    infos("dovrel_filesystem_info", "A mounted filesystem.", mounts, [](Mount const& mount) {
        Labels labels = labelsOf(mount);
        labels.emplace_back("device", mount.device);
        labels.emplace_back("network", mount.network ? "true" : "false");
        labels.emplace_back("same_as", mount.sameAs);
        labels.emplace_back("hidden_by", mount.hiddenBy);
        return labels;
    });
    infos("dovrel_filesystem_disk_info", "A physical disk beneath the filesystem.",
        parts(mounts, &Mount::disks), [](auto const& part) {
            Labels labels = labelsOf(*part.first);
            labels.emplace_back("device", *part.second);
            return labels;
        });
    gauges("dovrel_filesystem_read_only", "Whether the filesystem is mounted read-only.", mounts,
        labelsOf, &Mount::readOnly);
    gauges("dovrel_filesystem_size_bytes", "Size of the filesystem, as df(1) counts.", mounts,
        labelsOf, &Mount::size);
    gauges("dovrel_filesystem_used_bytes", "Space in use.", mounts, labelsOf, &Mount::used);
    gauges("dovrel_filesystem_available_bytes", "Space that ordinary users can still use.", mounts,
        labelsOf, &Mount::available);
    gauges("dovrel_filesystem_used_ratio", "Share of used space of used and available space.",
        mounts, labelsOf, [](Mount const& mount) { return ratioOf(mount.usedPercent()); });
    gauges("dovrel_filesystem_inodes", "Number of inodes.", mounts, labelsOf, &Mount::inodes);
    gauges("dovrel_filesystem_free_inodes", "Number of free inodes.", mounts, labelsOf,
        &Mount::freeInodes);
}

void Metrics::writeNetworks()
{
    if (!m_machine.networks)
        return;
    Networks const& networks = *m_machine.networks;
    info("dovrel_network_info", "The machine's name.", {{"host_name", networks.hostName}});
    if (networks.nameServers)
        infos("dovrel_name_server_info", "A name server.", *networks.nameServers,
            [](std::string const& address) {
                return Labels{{"address", address}};
            });
    writeAdapters();
}

void Metrics::writeAdapters()
{
    auto const& adapters = m_machine.networks->adapters;
    auto const adapterOf = [](Adapter const& adapter) { return Labels{{"adapter", adapter.name}}; };
    infos("dovrel_adapter_info", "A network adapter.", adapters, [](Adapter const& adapter) {
        return Labels{
            {"adapter", adapter.name}, {"kind", wordOf(adapter.kind)}, {"mac", adapter.mac}};
    });
    m_out.family("dovrel_adapter_state", "1 for the state of the link, 0 for the others.");
    for (Adapter const& adapter : adapters)
        for (char const* const state : {"up", "down", "no_carrier"})
            if (adapter.state)
                m_out.sample({{"adapter", adapter.name}, {"state", state}},
                    std::optional(wordOf(adapter.state) == state));
    gauges("dovrel_adapter_speed_bytes_per_second", "Speed of the link.", adapters, adapterOf,
        [](Adapter const& adapter) { return times(BYTES_OF_A_MBIT, adapter.speedMbit); });
    gauges("dovrel_adapter_mtu_bytes", "Largest packet.", adapters, adapterOf, &Adapter::mtu);
    m_out.family("dovrel_adapter_address_info", "An address of the adapter.");
    for (Adapter const& adapter : adapters)
        for (Address const& address : adapter.knownAddresses())
            m_out.sample(
                {{"adapter", adapter.name}, {"address", address.text},
                    {"prefix_length", digits(address.prefixLength)}, {"scope", address.scope}},
                std::optional(1U));
    m_out.family(
        "dovrel_adapter_gateway_info", "A gateway of a default route through the adapter.");
    for (Adapter const& adapter : adapters)
        for (std::string const& gateway : adapter.gateways.value_or(std::vector<std::string>()))
            m_out.sample({{"adapter", adapter.name}, {"gateway", gateway}}, std::optional(1U));
}

void Metrics::writeRecovery()
{
    bool const known = m_machine.recovery || !m_machine.hasProblem(Subject::RECOVERY);
    if (!m_machine.wasAskedFor(Subject::RECOVERY) || !known)
        return;
    gauge("dovrel_recovery_running", "Whether a recovery has been started and is not over.",
        m_machine.recovery && !m_machine.recovery->isOver(m_machine.time));
    if (!m_machine.recovery)
        return;
    Recovery const& recovery = *m_machine.recovery;
    m_out.family("dovrel_recovery_phase", "1 for the recovery's phase, 0 for the others.");
    for (size_t i = 0; i < PHASE_WORDS.size(); ++i)
        m_out.sample({{"phase", PHASE_WORDS.at(i)}},
            std::optional(i == static_cast<size_t>(recovery.phase())));
    gauge("dovrel_recovery_operation", "The engine's number of the operation, 0 where it has none.",
        recovery.operation);
    gauge("dovrel_recovery_start_timestamp_seconds", "Start of the recovery, since 1970.",
        recovery.recoverStart);
    gauge("dovrel_recovery_end_timestamp_seconds", "End of the recovery, since 1970.",
        recovery.recoverEnd);
    writeRestore();
}

void Metrics::writeRestore()
{
    Recovery const& recovery = *m_machine.recovery;
    gauge("dovrel_recovery_progress_ratio", "Progress of the restore; may pass 1.",
        recovery.percent ? ratioOf(*recovery.percent) : std::nullopt);
    gauge("dovrel_recovery_files_done", "Number of restored files.", recovery.filesDone);
    gauge("dovrel_recovery_files_planned", "Number of files to restore, at least 1.",
        recovery.filesTotal);
    gauge("dovrel_recovery_done_bytes", "Restored data, in whole units of 1,048,576 bytes.",
        times(MIB, recovery.megabytesDone));
    gauge("dovrel_recovery_planned_bytes", "Data to restore, in whole units of 1,048,576 bytes.",
        times(MIB, recovery.megabytesTotal));
    gauge("dovrel_recovery_rate_bytes_per_second", "Average rate of the restore.",
        times(MIB, recovery.megabytesPerSecond));
    gauge("dovrel_restore_start_timestamp_seconds", "Start of the restore, since 1970.",
        recovery.restoreStart);
    gauge("dovrel_restore_end_timestamp_seconds", "End of the restore, since 1970.",
        recovery.restoreEnd);
}

}

void writeOpenMetrics(Machine const& machine, std::ostream& out)
{
    Metrics(machine, out).write();
}

}
