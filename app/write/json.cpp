#include "app/write/json.h"

#include "app/write/disk_tree.h"
#include "app/write/names.h"

#include <nlohmann/json.hpp>

#include <array>
#include <cmath>
#include <ctime>

namespace app {

namespace {

/** Keeps the keys in the order in which they are written here. */
using Json = nlohmann::ordered_json;

template <class Value> Json jsonOf(std::optional<Value> const& value)
{
    return value ? Json(*value) : Json(nullptr);
}

Json jsonOf(System const& system)
{
    auto const known = [](std::string const& text) {
        return text.empty() ? Json(nullptr) : Json(text);
    };
    auto const code = system.hypervisorCode;
    return {{"vendor", known(system.vendor)}, {"product", known(system.product)},
        {"version", known(system.version)},
        {"hypervisor", jsonOf(code ? hypervisorName(*code) : std::nullopt)},
        {"hypervisor_code", jsonOf(code)}};
}

Json jsonOf(std::vector<Processor> const& processors)
{
    // Further digits than hundredths are noise.
    auto const rounded = [](std::optional<double> percent) {
        return percent ? std::optional(std::round(*percent * 100) / 100) : std::nullopt;
    };
    Json list = Json::array();
    for (Processor const& processor : processors)
        list.push_back({{"index", list.size()}, {"current_mhz", jsonOf(processor.currentMHz)},
            {"max_mhz", jsonOf(processor.maxMHz)},
            {"usage_percent", jsonOf(rounded(processor.loadPercent))}});
    return list;
}

Json jsonOf(Memory const& memory)
{
    Json source = nullptr;
    if (memory.source)
        source = *memory.source == MemorySource::KERNEL ? "kernel" : "modules";
    return {{"total_bytes", jsonOf(memory.total)}, {"free_bytes", jsonOf(memory.free)},
        {"total_source", std::move(source)}};
}

Json jsonOf(Disk const& disk)
{
    return {{"name", disk.name},
        {"caption", disk.caption.empty() ? Json(nullptr) : Json(disk.caption)},
        {"size_bytes", jsonOf(disk.bytes)}, {"partitions", disk.partitions},
        {"library_size_figure", jsonOf(disk.librarySizeFigure)}};
}

Json jsonOf(Mount const& mount)
{
    return {{"mount_point", mount.mountPoint}, {"library_mount_point", mount.libraryMountPoint},
        {"size_bytes", jsonOf(mount.size)}, {"used_bytes", jsonOf(mount.used())},
        {"free_bytes", jsonOf(mount.free)}, {"disks", mount.disks}};
}

template <class Part> Json jsonOf(std::vector<Part> const& parts)
{
    Json list = Json::array();
    for (Part const& part : parts)
        list.push_back(jsonOf(part));
    return list;
}

Json jsonOf(Networks const& networks)
{
    Json adapters = Json::array();
    for (Adapter const& adapter : networks.adapters) {
        Json addresses = Json::array();
        for (Address const& address : adapter.addresses)
            addresses.push_back(
                {{"address", jsonOf(address.text)}, {"netmask", jsonOf(address.netmask)}});
        adapters.push_back({{"name", adapter.name}, {"mac", jsonOf(adapter.mac)},
            {"addresses", std::move(addresses)}, {"netmasks", adapter.netmasks}});
    }
    Json servers = nullptr;
    if (networks.nameServers) {
        servers = Json::array();
        for (auto const& server : *networks.nameServers)
            servers.push_back(jsonOf(server));
    }
    return {{"host_name", jsonOf(networks.hostName)}, {"adapters", std::move(adapters)},
        {"name_servers", std::move(servers)}};
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

Json jsonOf(Recovery const& recovery)
{
    constexpr std::array NAMES = {"idle", "early", "restoring", "final_sync", "later"};
    return {{"state", NAMES.at(static_cast<size_t>(recovery.phase()))},
        {"operation", recovery.operation}, {"percent", jsonOf(recovery.percent)},
        {"files_done", jsonOf(recovery.filesDone)}, {"files_total", jsonOf(recovery.filesTotal)},
        {"megabytes_done", jsonOf(recovery.megabytesDone)},
        {"megabytes_total", jsonOf(recovery.megabytesTotal)},
        {"megabytes_per_second", jsonOf(recovery.megabytesPerSecond)},
        {"recover_start", jsonOf(isoTime(recovery.recoverStart))},
        {"recover_end", jsonOf(isoTime(recovery.recoverEnd))},
        {"restore_start", jsonOf(isoTime(recovery.restoreStart))},
        {"restore_end", jsonOf(isoTime(recovery.restoreEnd))}};
}

/** @return null where the part is nothing. */
template <class Part> Json partOf(std::optional<Part> const& part)
{
    return part ? jsonOf(*part) : Json(nullptr);
}

void addDiskTree(Machine const& machine, Json& document)
{
    Json& disks = document["disks"] = machine.disks ? Json::array() : Json(nullptr);
    for (DiskBranch const& branch : diskTreeOf(machine)) {
        Json mounts = nullptr;
        // Without the disks every mount would look like one without a disk.
        if (machine.disks && machine.mounts) {
            mounts = Json::array();
            for (Mount const* mount : branch.mounts)
                mounts.push_back(jsonOf(*mount));
        }
        if (!branch.disk) {
            document["mounts_without_disk"] = std::move(mounts);
            continue;
        }
        Json disk = jsonOf(*branch.disk);
        disk["mounts"] = std::move(mounts);
        disks.push_back(std::move(disk));
    }
}

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

}

void writeJson(Machine const& machine, bool diskTree, std::ostream& out)
{
    Json document = Json::object();
    if (machine.wasAskedFor(Subject::SYSTEM))
        document["system"] = partOf(machine.system);
    if (machine.wasAskedFor(Subject::PROCESSORS))
        document["processors"] = partOf(machine.processors);
    if (machine.wasAskedFor(Subject::MEMORY))
        document["memory"] = partOf(machine.memory);
    if (diskTree) {
        addDiskTree(machine, document);
    } else {
        if (machine.wasAskedFor(Subject::DISKS))
            document["disks"] = partOf(machine.disks);
        if (machine.wasAskedFor(Subject::MOUNTS))
            document["mounts"] = partOf(machine.mounts);
    }
    if (machine.wasAskedFor(Subject::NETWORKS))
        document["networks"] = partOf(machine.networks);
    if (machine.wasAskedFor(Subject::RECOVERY))
        document["recovery"] = partOf(machine.recovery);
    constexpr int INDENT = 2;
    out << withoutRawControls(document.dump(INDENT, ' ', false, Json::error_handler_t::replace))
        << '\n';
}

std::string recoveryJsonLine(std::optional<Recovery> const& recovery)
{
    return Json({{"recovery", partOf(recovery)}}).dump();
}

}
