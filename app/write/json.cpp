#include "app/write/json.h"

#include "app/write/names.h"

#include <nlohmann/json.hpp>

#include <array>
#include <cmath>
#include <ctime>

namespace app {

namespace {

/** Keeps the keys in the order in which they are written here. */
using Json = nlohmann::ordered_json;

constexpr int INDENT = 2;

Json valueJson(LibraryValue const& value)
{
    return std::visit([](auto const& content) { return Json(content); }, value);
}

template <class Value> Json optionalJson(std::optional<Value> const& value)
{
    if constexpr (std::is_same_v<Value, LibraryValue>)
        return value ? valueJson(*value) : Json(nullptr);
    else
        return value ? Json(*value) : Json(nullptr);
}

/** "2026-03-24T14:05:09+01:00", ISO 8601. */
std::optional<std::string> isoTime(std::optional<int64_t> seconds)
{
    auto const time = static_cast<std::time_t>(seconds.value_or(0));
    std::tm local{};
    std::array<char, 64> text;
    if (!seconds || !localtime_r(&time, &local)
        || std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S%z", &local) == 0)
        return std::nullopt;
    std::string const iso = text.data();
    size_t const minutes = iso.size() - 2; // strftime(3) writes +0100.
    return iso.substr(0, minutes) + ":" + iso.substr(minutes);
}

Json toJson(Recovery const& recovery)
{
    constexpr std::array NAMES = {"idle", "early", "restoring", "final_sync", "later"};
    return {{"state", NAMES.at(static_cast<size_t>(recovery.phase()))},
        {"operation", recovery.operation}, {"percent", optionalJson(recovery.percent)},
        {"files_done", optionalJson(recovery.filesDone)},
        {"files_total", optionalJson(recovery.filesTotal)},
        {"megabytes_done", optionalJson(recovery.megabytesDone)},
        {"megabytes_total", optionalJson(recovery.megabytesTotal)},
        {"megabytes_per_second", optionalJson(recovery.megabytesPerSecond)},
        {"recover_start", optionalJson(isoTime(recovery.recoverStart))},
        {"recover_end", optionalJson(isoTime(recovery.recoverEnd))},
        {"restore_start", optionalJson(isoTime(recovery.restoreStart))},
        {"restore_end", optionalJson(isoTime(recovery.restoreEnd))}};
}

/** Writes one machine's document. */
class Document {
public:
    explicit Document(Machine const& machine) : m_machine(machine) { }

    Json json() const
    {
        Json document = Json::object();
        addPart(document, Subject::SYSTEM, "system", m_machine.system);
        addPart(document, Subject::PROCESSORS, "processors", m_machine.processors);
        addPart(document, Subject::MEMORY, "memory", m_machine.memory);
        addPart(document, Subject::DISKS, "disks", m_machine.disks);
        addPart(document, Subject::MOUNTS, "mounts", m_machine.mounts);
        addPart(document, Subject::NETWORKS, "networks", m_machine.networks);
        addPart(document, Subject::RECOVERY, "recovery", m_machine.recovery);
        document["problems"] = jsonOf(m_machine.problems);
        document["unavailable"] = jsonOf(m_machine.unavailable);
        document["differences"] = jsonOf(m_machine.differences);
        return document;
    }

private:
    template <class Part> void addPart(
        Json& document, Subject subject, char const* key, std::optional<Part> const& part) const
    {
        if (m_machine.wasAskedFor(subject))
            document[key] = part ? jsonOf(*part) : Json(nullptr);
    }

    /** The library's other values of an item's facts, by their keys; null where the library does
     * not report the item at all. */
    Json libraryOf(Subject subject, std::string const& item) const
    {
        auto const answer = m_machine.library.find(subject);
        bool const silent = answer != m_machine.library.end() && answer->second.records.empty()
            && answer->second.outcome != LibraryAnswer::RETURNED_TRUE;
        if (silent)
            return nullptr;
        Json values = Json::object();
        for (Difference const& difference : m_machine.differences) {
            if (difference.subject != subject || difference.item != item)
                continue;
            if (difference.fact.empty())
                return nullptr;
            values[difference.fact] = optionalJson(difference.library);
        }
        return values;
    }

    template <class Part> Json jsonOf(std::vector<Part> const& parts) const
    {
        Json list = Json::array();
        for (Part const& part : parts)
            list.push_back(jsonOf(part));
        return list;
    }

    static Json jsonOf(std::string const& text) { return text; }

    Json jsonOf(System const& system) const
    {
        return {{"host_name", optional(system.hostName)}, {"vendor", optional(system.vendor)},
            {"product", optional(system.product)}, {"version", optional(system.version)},
            {"virtual_machine", optional(system.virtualMachine)},
            {"container", optional(system.container)}, {"os", optional(system.osName)},
            {"kernel", optional(system.kernel)}, {"architecture", optional(system.architecture)},
            {"firmware",
                {{"vendor", optional(system.firmwareVendor)},
                    {"version", optional(system.firmwareVersion)},
                    {"date", optional(system.firmwareDate)}}},
            {"boot_time", optional(isoTime(system.bootTime))},
            {"uptime_seconds", optional(system.uptimeSeconds)},
            {"library", libraryOf(Subject::SYSTEM, "")}};
    }

    Json jsonOf(Processors const& processors) const
    {
        return {{"count", processors.list.size()}, {"model", optional(processors.model)},
            {"sockets", optional(processors.sockets)}, {"cores", optional(processors.cores)},
            {"numa_nodes", optional(processors.nodes)},
            {"load_ratio", ratio(processors.loadPercent)}, {"list", jsonOf(processors.list)},
            {"library", libraryOf(Subject::PROCESSORS, "")}};
    }

    Json jsonOf(Processor const& processor) const
    {
        return {{"number", processor.number}, {"socket", optional(processor.socket)},
            {"core", optional(processor.core)}, {"numa_node", optional(processor.node)},
            {"lowest_mhz", optional(processor.lowestMHz)},
            {"current_mhz", optional(processor.currentMHz)},
            {"highest_mhz", optional(processor.highestMHz)},
            {"load_ratio", ratio(processor.loadPercent)},
            {"library", libraryOf(Subject::PROCESSORS, std::to_string(processor.number))}};
    }

    Json jsonOf(Memory const& memory) const
    {
        return {{"total_bytes", optional(memory.total)}, {"used_bytes", optional(memory.used())},
            {"available_bytes", optional(memory.available)}, {"free_bytes", optional(memory.free)},
            {"buffers_bytes", optional(memory.buffers)}, {"caches_bytes", optional(memory.caches)},
            {"swap_total_bytes", optional(memory.swapTotal)},
            {"swap_used_bytes", optional(memory.swapUsed())},
            {"modules", memory.modules ? jsonOf(*memory.modules) : Json(nullptr)},
            {"library", libraryOf(Subject::MEMORY, "")}};
    }

    static Json jsonOf(MemoryModule const& module)
    {
        return {{"slot", module.slot}, {"size_bytes", optional(module.bytes)},
            {"type", optional(module.type)}, {"speed", optional(module.speed)}};
    }

    Json jsonOf(Disk const& disk) const
    {
        return {{"name", disk.name}, {"label", disk.label}, {"type", typeText(disk)},
            {"device", disk.device}, {"size_bytes", optional(disk.bytes)},
            {"kind", optional(disk.kind())}, {"transport", optional(disk.transport)},
            {"model", optional(disk.model)}, {"serial", optional(disk.serial)},
            {"read_only", optional(disk.readOnly)}, {"removable", optional(disk.removable)},
            {"logical_sector_bytes", optional(disk.logicalSector)},
            {"physical_sector_bytes", optional(disk.physicalSector)},
            {"parent", disk.parent.empty() ? Json(nullptr) : Json(disk.parent)},
            {"slaves", jsonOf(disk.slaves)}, {"partitions", partitionsOf(*m_machine.disks, disk)},
            {"library", libraryOf(Subject::DISKS, disk.name)}};
    }

    Json jsonOf(Mount const& mount) const
    {
        return {{"mount_point", mount.mountPoint}, {"source", mount.source},
            {"filesystem", mount.filesystem}, {"read_only", mount.readOnly},
            {"network", mount.network},
            {"device", mount.device.empty() ? Json(nullptr) : Json(mount.device)},
            {"disks", jsonOf(mount.disks)}, {"size_bytes", optional(mount.size)},
            {"used_bytes", optional(mount.used)}, {"available_bytes", optional(mount.available)},
            {"used_ratio", ratio(mount.usedPercent())}, {"inodes", optional(mount.inodes)},
            {"free_inodes", optional(mount.freeInodes)},
            {"hidden_by", mount.hiddenBy.empty() ? Json(nullptr) : Json(mount.hiddenBy)},
            {"same_as", mount.sameAs.empty() ? Json(nullptr) : Json(mount.sameAs)},
            {"library", libraryOf(Subject::MOUNTS, mount.mountPoint)}};
    }

    Json jsonOf(Networks const& networks) const
    {
        return {{"host_name", optional(networks.hostName)}, {"adapters", jsonOf(networks.adapters)},
            {"name_servers", networks.nameServers ? jsonOf(*networks.nameServers) : Json(nullptr)},
            {"library", libraryOf(Subject::NETWORKS, "")}};
    }

    Json jsonOf(Adapter const& adapter) const
    {
        return {{"name", adapter.name}, {"kind", optional(adapter.kind)},
            {"state", optional(adapter.state)}, {"mac", optional(adapter.mac)},
            {"speed_mbit", optional(adapter.speedMbit)}, {"mtu", optional(adapter.mtu)},
            {"addresses", jsonOf(adapter.addresses)},
            {"gateways", adapter.gateways ? jsonOf(*adapter.gateways) : Json(nullptr)},
            {"library", libraryOf(Subject::NETWORKS, adapter.name)}};
    }

    static Json jsonOf(Address const& address)
    {
        return {{"address", address.text}, {"prefix_length", optional(address.prefixLength)},
            {"scope", address.scope}};
    }

    static Json jsonOf(Recovery const& recovery) { return toJson(recovery); }

    static Json jsonOf(Problem const& problem)
    {
        return {{"subject", subjectText(problem.subject)}, {"fact", problem.fact},
            {"reason", problem.reason}, {"source", problem.source}};
    }

    static Json jsonOf(Difference const& difference)
    {
        return {{"subject", subjectText(difference.subject)},
            {"item", difference.item.empty() ? Json(nullptr) : Json(difference.item)},
            {"fact", difference.fact.empty() ? Json(nullptr) : Json(difference.fact)},
            {"library", optionalJson(difference.library)}, {"reason", difference.reason}};
    }

    template <class Value> static Json optional(std::optional<Value> const& value)
    {
        return optionalJson(value);
    }

    /** A percentage as a number from 0 to 1. Further digits than hundredths of a percent are noise.
     */
    static Json ratio(std::optional<double> percent)
    {
        constexpr double STEPS = 10000;
        return percent ? Json(std::round(*percent * STEPS / 100) / STEPS) : Json(nullptr);
    }

    Machine const& m_machine;
};

/** Escapes DEL and U+0080 to U+009F, of which U+009B begins a control sequence as ESC [ does. They
 * stand in strings only, so the document keeps its meaning. */
std::string withoutRawControls(std::string const& document)
{
    constexpr char DIGITS[] = "0123456789abcdef";
    std::string text;
    for (size_t i = 0; i < document.size(); ++i) {
        auto byte = static_cast<unsigned char>(document[i]);
        // In UTF-8 they are 0xC2 and the code.
        if (byte == 0xC2 && i + 1 < document.size()
            && static_cast<unsigned char>(document[i + 1]) < 0xA0)
            byte = static_cast<unsigned char>(document[++i]);
        else if (byte != 0x7F) {
            text += document[i];
            continue;
        }
        text += "\\u00";
        text += DIGITS[byte >> 4];
        text += DIGITS[byte & 0xF];
    }
    return text;
}

void writeDocument(Json const& document, std::ostream& out)
{
    out << withoutRawControls(document.dump(INDENT, ' ', false, Json::error_handler_t::replace))
        << '\n';
}

}

void writeJson(Machine const& machine, std::ostream& out)
{
    writeDocument(Document(machine).json(), out);
}

void writeLibraryJson(Machine const& machine, std::ostream& out)
{
    constexpr std::array OUTCOMES = {"true", "false", "exception", "no end", "crash"};
    Json queries = Json::array();
    for (auto const& [subject, answer] : machine.library) {
        Json records = Json::array();
        for (LibraryRecord const& record : answer.records) {
            Json getters = Json::object();
            for (LibraryField const& field : record.fields)
                getters[field.getter] = valueJson(field.value);
            records.push_back(
                {{"to_string", record.text.empty() ? Json(nullptr) : Json(record.text)},
                    {"getters", std::move(getters)}});
        }
        queries.push_back({{"query", answer.query}, {"subject", subjectText(subject)},
            {"outcome", OUTCOMES.at(answer.outcome)},
            {"reason", answer.reason.empty() ? Json(nullptr) : Json(answer.reason)},
            {"duration_seconds", answer.seconds}, {"records", std::move(records)}});
    }
    Json document = Document(machine).json();
    writeDocument({{"queries", std::move(queries)}, {"differences", document["differences"]}}, out);
}

std::string recoveryJsonLine(std::optional<Recovery> const& recovery)
{
    return Json({{"recovery", recovery ? toJson(*recovery) : Json(nullptr)}}).dump();
}

}
