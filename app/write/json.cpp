#include "app/write/json.h"

#include "app/write/JsonWriter.h"
#include "app/write/exact_values.h"
#include "app/write/names.h"

#include <array>
#include <type_traits>

namespace app {

namespace {

/** Writes one document. */
class Document {
public:
    Document(Machine const& machine, JsonWriter::Form form) : m_machine(machine), m_json(form) { }

    std::string machineText()
    {
        m_json.beginObject();
        add("schema", "dovrel-sysinfo/1");
        add("time", timestamp(m_machine.time));
        add("subjects", m_machine.subjects);
        addPart(Subject::SYSTEM, m_machine.system);
        addPart(Subject::PROCESSORS, m_machine.processors);
        addPart(Subject::MEMORY, m_machine.memory);
        addPart(Subject::DISKS, m_machine.disks);
        addPart(Subject::MOUNTS, m_machine.mounts);
        addPart(Subject::NETWORKS, m_machine.networks);
        addRecovery();
        add("problems", m_machine.problems);
        add("unavailable", m_machine.unavailable);
        add("differences", m_machine.differences);
        m_json.endObject();
        return m_json.text();
    }

    std::string libraryText()
    {
        m_json.beginObject();
        add("schema", "dovrel-sysinfo-library/1");
        add("time", timestamp(m_machine.time));
        m_json.key("queries");
        m_json.beginArray();
        for (auto const& [subject, answer] : m_machine.library)
            writeQuery(subject, answer);
        m_json.endArray();
        add("problems", m_machine.problems);
        add("differences", m_machine.differences);
        m_json.endObject();
        return m_json.text();
    }

private:
    template <class Value> void add(std::string const& key, Value const& value)
    {
        m_json.key(key);
        write(value);
    }

    template <class Part> void addPart(Subject subject, std::optional<Part> const& part)
    {
        if (m_machine.wasAskedFor(subject))
            add(keyOf(subject), part);
    }

    void addRecovery()
    {
        if (!m_machine.recovery && !m_machine.hasProblem(Subject::RECOVERY))
            addPart(Subject::RECOVERY, std::optional(NoRecovery()));
        else
            addPart(Subject::RECOVERY, m_machine.recovery);
    }

    /** A recovery that has not been started. */
    struct NoRecovery { };

    template <class Value> void write(std::optional<Value> const& value)
    {
        if (value)
            write(*value);
        else
            m_json.null();
    }

    template <class List> void writeList(List const& list)
    {
        m_json.beginArray();
        for (auto const& element : list)
            write(element);
        m_json.endArray();
    }

    template <class Value> void write(std::vector<Value> const& list) { writeList(list); }
    void write(Subjects const& subjects) { writeList(subjects); }
    void write(Subject subject) { write(keyOf(subject)); }
    void write(std::string const& text) { m_json.value(text); }
    void write(char const* text) { m_json.value(text); }

    template <class Number> std::enable_if_t<std::is_arithmetic_v<Number>> write(Number number)
    {
        if constexpr (std::is_same_v<Number, bool> || std::is_floating_point_v<Number>)
            m_json.value(number);
        else
            m_json.value(std::conditional_t<std::is_signed_v<Number>, int64_t, uint64_t>{number});
    }

    /** Writes a part of the machine, an item of a list or the like as an object. */
    template <class Record> std::enable_if_t<std::is_class_v<Record>> write(Record const& record)
    {
        m_json.beginObject();
        addMembers(record);
        m_json.endObject();
    }

    void write(LibraryValue const& value)
    {
        std::visit([this](auto const& content) { write(content); }, value);
    }

    /** Writes the library's value of a fact, of the fact's type. */
    void writeLibraryValue(Difference const& difference)
    {
        auto const* const time = difference.library
            ? std::get_if<int64_t>(&*difference.library) // No other fact has a sign.
            : nullptr;
        if (time)
            write(timestamp(*time));
        else
            write(difference.library);
    }

    /** The library's other values of an item's facts, by their keys; null where the library does
     * not report the item at all. */
    void addLibrary(Subject subject, std::string const& item)
    {
        m_json.key("library");
        auto const answer = m_machine.library.find(subject);
        bool silent = answer != m_machine.library.end() && answer->second.records.empty()
            && answer->second.outcome != LibraryAnswer::RETURNED_TRUE;
        std::vector<Difference const*> differences;
        for (Difference const& difference : m_machine.differences)
            if (difference.subject == subject && difference.item == item) {
                differences.push_back(&difference);
                silent = silent || difference.fact.empty();
            }
        if (silent) {
            m_json.null();
            return;
        }
        m_json.beginObject();
        for (Difference const* const difference : differences) {
            m_json.key(difference->fact);
            writeLibraryValue(*difference);
        }
        m_json.endObject();
    }

    void addMembers(System const& system)
    {
        add("host_name", system.hostName);
        add("vendor", system.vendor);
        add("product", system.product);
        add("version", system.version);
        add("virtual_machine", system.virtualMachine);
        add("container", system.container);
        add("os", system.osName);
        add("kernel", system.kernel);
        add("architecture", system.architecture);
        m_json.key("firmware");
        m_json.beginObject();
        add("vendor", system.firmwareVendor);
        add("version", system.firmwareVersion);
        add("date", system.firmwareDate);
        m_json.endObject();
        add("boot_time", timestamp(system.bootTime));
        add("uptime_seconds", system.uptimeSeconds);
        addLibrary(Subject::SYSTEM, "");
    }

    void addMembers(Processors const& processors)
    {
        add("count", processors.list.size());
        add("model", processors.model);
        add("sockets", processors.sockets);
        add("cores", processors.cores);
        add("numa_nodes", processors.nodes);
        add("load_ratio", ratioOf(processors.loadPercent));
        add("list", processors.list);
        addLibrary(Subject::PROCESSORS, "");
    }

    void addMembers(Processor const& processor)
    {
        add("number", processor.number);
        add("socket", processor.socket);
        add("core", processor.core);
        add("numa_node", processor.node);
        add("lowest_hertz", times(MEGA, processor.lowestMHz));
        add("current_hertz", times(MEGA, processor.currentMHz));
        add("highest_hertz", times(MEGA, processor.highestMHz));
        add("load_ratio", ratioOf(processor.loadPercent));
        addLibrary(Subject::PROCESSORS, std::to_string(processor.number));
    }

    void addMembers(Memory const& memory)
    {
        add("total_bytes", memory.total);
        add("used_bytes", memory.used());
        add("available_bytes", memory.available);
        add("free_bytes", memory.free);
        add("buffers_bytes", memory.buffers);
        add("caches_bytes", memory.caches);
        add("swap_total_bytes", memory.swapTotal);
        add("swap_used_bytes", memory.swapUsed());
        add("modules", memory.modules);
        addLibrary(Subject::MEMORY, "");
    }

    void addMembers(MemoryModule const& module)
    {
        add("slot", nonEmpty(module.slot));
        add("size_bytes", module.bytes);
        add("type", module.type);
        add("transfers_per_second", transfersPerSecond(module.speed));
    }

    void addMembers(Disk const& disk)
    {
        add("name", disk.name);
        add("label", disk.label);
        add("type", typeText(disk));
        add("device", nonEmpty(disk.device));
        add("size_bytes", disk.bytes);
        add("kind", wordOf(disk.kind()));
        add("transport", disk.transport);
        add("model", disk.model);
        add("serial", disk.serial);
        add("read_only", disk.readOnly);
        add("removable", disk.removable);
        add("logical_sector_bytes", disk.logicalSector);
        add("physical_sector_bytes", disk.physicalSector);
        add("parent", nonEmpty(disk.parent));
        add("slaves", disk.slaves);
        add("partitions", partitionsOf(*m_machine.disks, disk));
        addLibrary(Subject::DISKS, disk.name);
    }

    void addMembers(Mount const& mount)
    {
        add("mount_point", mount.mountPoint);
        add("source", mount.source);
        add("filesystem", mount.filesystem);
        add("read_only", mount.readOnly);
        add("network", mount.network);
        add("device", nonEmpty(mount.device));
        add("disks", mount.disks);
        add("size_bytes", mount.size);
        add("used_bytes", mount.used);
        add("available_bytes", mount.available);
        add("used_ratio", ratioOf(mount.usedPercent()));
        add("inodes", mount.inodes);
        add("free_inodes", mount.freeInodes);
        add("hidden_by", nonEmpty(mount.hiddenBy));
        add("same_as", nonEmpty(mount.sameAs));
        addLibrary(Subject::MOUNTS, mount.mountPoint);
    }

    void addMembers(Networks const& networks)
    {
        add("host_name", networks.hostName);
        add("adapters", networks.adapters);
        add("name_servers", networks.nameServers);
        addLibrary(Subject::NETWORKS, "");
    }

    void addMembers(Adapter const& adapter)
    {
        add("name", adapter.name);
        add("kind", wordOf(adapter.kind));
        add("state", wordOf(adapter.state));
        add("mac", adapter.mac);
        add("speed_bits_per_second", times(MEGA, adapter.speedMbit));
        add("mtu_bytes", adapter.mtu);
        add("addresses", adapter.addresses);
        add("gateways", adapter.gateways);
        addLibrary(Subject::NETWORKS, adapter.name);
    }

    void addMembers(Address const& address)
    {
        add("address", address.text);
        add("prefix_length", address.prefixLength);
        add("scope", address.scope);
    }

    void addMembers(Recovery const& recovery)
    {
        addRecoveryMembers(
            PHASE_WORDS.at(static_cast<size_t>(recovery.phase())), recovery.operation, recovery);
    }

    void addMembers(NoRecovery /*none*/) { addRecoveryMembers("none", std::nullopt, {}); }

    void addRecoveryMembers(
        char const* state, std::optional<int32_t> operation, Recovery const& recovery)
    {
        auto const done = recovery.percent;
        add("state", state);
        add("operation", operation);
        add("done_ratio", ratioOf(done ? std::optional<double>(*done) : std::nullopt));
        add("files_done", recovery.filesDone);
        add("files_total", recovery.filesTotal);
        add("bytes_done", times(MIB, recovery.megabytesDone));
        add("bytes_total", times(MIB, recovery.megabytesTotal));
        add("bytes_per_second", times(MIB, recovery.megabytesPerSecond));
        add("recover_start", timestamp(recovery.recoverStart));
        add("recover_end", timestamp(recovery.recoverEnd));
        add("restore_start", timestamp(recovery.restoreStart));
        add("restore_end", timestamp(recovery.restoreEnd));
    }

    void addMembers(Problem const& problem)
    {
        add("subject", problem.subject);
        add("fact", problem.fact);
        add("reason", problem.reason);
        add("source", problem.source);
    }

    void addMembers(Difference const& difference)
    {
        add("subject", difference.subject);
        add("item", nonEmpty(difference.item));
        add("fact", nonEmpty(difference.fact));
        m_json.key("library");
        writeLibraryValue(difference);
        add("reason", nonEmpty(difference.reason));
    }

    void writeQuery(Subject subject, LibraryAnswer const& answer)
    {
        constexpr std::array OUTCOMES = {"true", "false", "exception", "no_end", "crash"};
        m_json.beginObject();
        add("query", answer.query);
        add("subject", subject);
        add("outcome", OUTCOMES.at(answer.outcome));
        add("reason", nonEmpty(answer.reason));
        add("duration_seconds", answer.seconds);
        add("records", answer.records);
        m_json.endObject();
    }

    void addMembers(LibraryRecord const& record)
    {
        add("to_string", nonEmpty(record.text));
        m_json.key("getters");
        m_json.beginObject();
        for (LibraryField const& field : record.fields)
            add(field.getter, field.value);
        m_json.endObject();
    }

    Machine const& m_machine;
    JsonWriter m_json;
};

}

void writeJson(Machine const& machine, std::ostream& out)
{
    out << Document(machine, JsonWriter::INDENTED).machineText() << '\n';
}

void writeLibraryJson(Machine const& machine, std::ostream& out)
{
    out << Document(machine, JsonWriter::INDENTED).libraryText() << '\n';
}

std::string jsonLine(Machine const& machine)
{
    return Document(machine, JsonWriter::ONE_LINE).machineText();
}

}
