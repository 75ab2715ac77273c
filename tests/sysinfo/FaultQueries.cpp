#include "tests/sysinfo/FaultQueries.h"

#include "common/basic/processstream/src/process_exception.h"
#include "common/basic/text_cast.h"
#include "common/platform/getsysinfo.h"
#include "sysinfo/LinuxSystemInformation.h"
#include "tests/support/Machine.h"
#include "tests/support/narrow.h"
#include "tests/sysinfo/FaultCalls.h"

#include <boost/filesystem.hpp>

#include <cerrno>
#include <limits>
#include <set>
#include <unistd.h>
#include <utility>

using sysinfo::LinuxSystemInformation;
using sysinfo::SystemInformation;

namespace testkit {

namespace {

/** While it lives, faults do not happen: what the test itself allocates is not the library's. */
struct Undisturbed {
    Undisturbed() { faultCalls.pause(); }
    Undisturbed(Undisturbed const&) = delete;
    Undisturbed& operator=(Undisturbed const&) = delete;
    ~Undisturbed() { faultCalls.resume(); }
};

std::string shown(std::string const& text)
{
    return text;
}

std::string shown(dovrel::string const& text)
{
    return narrow(text);
}

std::string shown(dovrel::ip_address const& address)
{
    return address.valid() ? narrow(address.toStringInternal()) : "<invalid>";
}

std::string shown(dovrel::macaddress_cpp const& address)
{
    return narrow(dovrel::str_cast(address));
}

std::string shown(dovrel::value_ptr<SystemInformation::PhysicalDiskInfo> const& disk)
{
    return narrow(disk->getDiskID());
}

template <class Number> std::enable_if_t<std::is_arithmetic_v<Number>, std::string> shown(Number n)
{
    return std::to_string(n);
}

template <class Element> std::string shown(std::vector<Element> const& elements)
{
    std::string all;
    for (Element const& element : elements)
        all += shown(element) + ',';
    return all;
}

template <class Value> void add(Result& result, char const* key, Value const& value)
{
    Undisturbed const undisturbed;
    result.records.back()[key] = shown(value);
}

void beginRecord(Result& result)
{
    Undisturbed const undisturbed;
    result.records.emplace_back();
}

void setException(Result& result, char const* name)
{
    Undisturbed const undisturbed;
    result.exception = name;
}

Result create()
{
    Result result;
    auto const machine = SystemInformation::create();
    result.known = static_cast<bool>(machine);
    beginRecord(result);
    add(result, "lastError", machine->getLastError());
    return result;
}

Result memory()
{
    Result result;
    uint64_t total = 0;
    uint64_t free = 0;
    beginRecord(result);
    try {
        result.known = LinuxSystemInformation().getMemoryInfo(total, free);
    } catch (dovrel::ProcessException const& failure) {
        setException(result, "ProcessException");
        add(result, "reason", static_cast<int>(failure.reason()));
        add(result, "code", failure.code());
        add(result, "line", failure.line());
    }
    add(result, "total", total);
    add(result, "free", free);
    return result;
}

/** While it lives, the environment has more variables than a child has room for without mmap(2). */
class LargeEnvironment {
public:
    LargeEnvironment()
    {
        static char variable[] = "VARIABLE=value";
        Undisturbed const undisturbed;
        m_entries.assign(VARIABLES, variable);
        for (char** entry = environ; *entry; ++entry)
            m_entries.push_back(*entry);
        m_entries.push_back(nullptr);
        m_former = std::exchange(environ, m_entries.data());
    }

    LargeEnvironment(LargeEnvironment const&) = delete;
    LargeEnvironment& operator=(LargeEnvironment const&) = delete;
    ~LargeEnvironment() { environ = m_former; }

private:
    static constexpr size_t VARIABLES = 600;

    std::vector<char*> m_entries;
    char** m_former = nullptr;
};

Result memoryOfLargeEnvironment()
{
    LargeEnvironment const environment;
    return memory();
}

Result processors()
{
    {
        Undisturbed const undisturbed;
        machine.file("/proc/stat",
            "cpu  60 0 0 200 0 0 0\ncpu0 50 0 0 100 0 0 0\ncpu1 10 0 0 100 0 0 0\n"
            "intr 12345678 12345 1234 12 1 0 0 0 0 0 0 0\n");
        machine.file("/proc/stat.then",
            "cpu  95 0 0 350 0 0 0\ncpu0 75 0 0 175 0 0 0\ncpu1 20 0 0 175 0 0 0\n"
            "intr 12345678 12345 1234 12 1 0 0 0 0 0 0 0\n");
    }
    Result result;
    std::vector<dovrel::value_ptr<SystemInformation::CPUInfo>> processors;
    result.known = LinuxSystemInformation().getCPUsInternal(processors);
    for (auto const& processor : processors) {
        beginRecord(result);
        add(result, "maximum", processor->getMaxSpeedInMHZ());
        add(result, "current", processor->getCurrentSpeedInMHZ());
    }
    if (processors.empty())
        return result;
    // Of one processor, as the machine has one pair of samples.
    float const usage = processors.front()->getCurrentUsage();
    Undisturbed const undisturbed;
    result.records.front()["usage"] = shown(usage);
    return result;
}

Result physicalDisks()
{
    Result result;
    std::vector<dovrel::value_ptr<SystemInformation::PhysicalDiskInfo>> disks;
    result.known = LinuxSystemInformation().getPhysicalDisksInternal(disks);
    for (auto const& disk : disks) {
        beginRecord(result);
        add(result, "name", disk->getDiskID());
        add(result, "partitions", disk->getDiskNumberOfPartitions());
        add(result, "size", disk->getDiskTotalSizeInBytes());
        add(result, "caption", disk->getDiskCaption());
        add(result, "text", disk->toString());
    }
    return result;
}

Result mountedDisks()
{
    Result result;
    std::vector<dovrel::value_ptr<SystemInformation::DiskInfo>> disks;
    result.known = LinuxSystemInformation().getDisksInternal(disks);
    for (auto const& disk : disks) {
        beginRecord(result);
        add(result, "name", disk->getDiskName());
        add(result, "size", disk->getDiskSizeInBytes());
        add(result, "free", disk->getDiskFreeInBytes());
        add(result, "parents", disk->getParentDisks());
    }
    return result;
}

Result rootDevices()
{
    Result result;
    std::set<std::string> const disks = sysinfo::getRootDevices("/dev/dm-0");
    result.known = true;
    for (std::string const& disk : disks) {
        beginRecord(result);
        add(result, "name", disk);
    }
    return result;
}

Result networks()
{
    Result result;
    std::vector<dovrel::value_ptr<SystemInformation::NetworkInfo>> adapters;
    result.known = LinuxSystemInformation().getNetworksInternal(adapters);
    for (auto const& adapter : adapters) {
        beginRecord(result);
        add(result, "name", adapter->getName());
        add(result, "host", adapter->getHostname());
        add(result, "mac", adapter->getMACAddr());
        add(result, "addresses", adapter->getIPAddrs());
        add(result, "masks", adapter->getNetmasks());
        add(result, "servers", adapter->getDNSAddrs());
        add(result, "text", adapter->toString());
    }
    return result;
}

/** @return the hypervisor of the real processor and the firmware's strings. */
int hypervisorWithoutAdapters()
{
    Undisturbed const undisturbed;
    char texts[3][DOVREL_GETSYSINFO_TEXT_SIZE];
    int code = 0;
    ::getsysinfo(texts[0], texts[1], texts[2], &code);
    return code;
}

Result summary()
{
    Result result;
    std::string vendor;
    std::string product;
    std::string version;
    SystemInformation::HypervisorType hypervisor{};
    result.known = LinuxSystemInformation().getSystemInfo(vendor, product, version, hypervisor);
    beginRecord(result);
    add(result, "vendor", vendor);
    add(result, "product", product);
    add(result, "version", version);
    add(result, "hypervisor",
        hypervisor == hypervisorWithoutAdapters() ? "getsysinfo" : std::to_string(hypervisor));
    return result;
}

Result recovery()
{
    Result result;
    bool unavailable = false;
    auto const state = LinuxSystemInformation().getCloneInfo(unavailable);
    result.known = static_cast<bool>(state);
    if (!state)
        return result;
    beginRecord(result);
    add(result, "operation", state->getOperationID());
    add(result, "progress", state->getOperationProgress());
    add(result, "totalFiles", state->getTotalFiles());
    add(result, "filesDone", state->getFilesDone());
    add(result, "totalMB", state->getTotalMBytes());
    add(result, "MBdone", state->getMBytesDone());
    add(result, "start", state->getRestoreStartTime());
    add(result, "end", state->getRestoreEndTime());
    add(result, "throughput", state->getThroughput());
    return result;
}

void fillDisks()
{
    machine.file("/proc/partitions",
        "major minor  #blocks  name\n\n   8  0  500 sda\n   8  1  400 sda1\n   8  2  50 sda2\n"
        "   8 16  900 sdb\n   8 17  800 sdb1\n   8 32  100 sdc\n 253  0  300 dm-0\n");
    for (char const* device : {"sda", "sda1", "sda2", "sdb", "sdb1", "dm-0"})
        machine.file(std::string("/dev/") + device, "a disk's bus");
    machine.file("/dev/sdc", "USB");
    machine.folder("/proc/scsi/usb-storage/3");
    // Two for each disk: without the first, the second must not pass for it.
    for (std::string const bus : {"ata", "scsi"}) {
        machine.link("/dev/disk/by-id/" + bus + "-A_DISK_WITH_A_LONG_NAME_1_" + bus, "../../sda");
        machine.link("/dev/disk/by-id/" + bus + "-A_DISK_WITH_A_LONG_NAME_2_" + bus, "../../sdb");
    }
    machine.link("/dev/disk/by-id/wwn-0x5002538d40a0b0c0", "../../sda");
    machine.link("/dev/mapper/group-data", "../dm-0");
    machine.file("/proc/mounts",
        "/dev/sda1 / ext4 rw,relatime 0 0\ntmpfs /run tmpfs rw 0 0\n"
        "/dev/mapper/group-data /data ext4 rw,relatime 0 0\n"
        "/dev/sdb1 /a/mount/point/with/a/long/name xfs rw,relatime 0 0\n");
    // The tool's own lines name the group without its folder, and so never match: docs/queries.
    machine.tool("/sbin/pvdisplay",
        "printf '%s\\n' /dev/mapper/group:/dev/sda: /dev/mapper/group:/dev/sdb1:group:more");
}

void fillNetworks()
{
    machine.tool("/sbin/ifconfig",
        "printf '%s\\n' 'adapter-with-a-long-name: flags=4163<UP>  mtu 1500' "
        "'        inet 10.0.0.5  netmask 0xffff0000' "
        "'        inet6 fe80::1  prefixlen 64' '        ether 00:0d:3a:aa:bb:cc  queue 1000' '' "
        "'lo: flags=73<UP,LOOPBACK>  mtu 65536' '        inet 127.0.0.1  netmask 255.0.0.0'");
    machine.tool("/sbin/route", "echo '0.0.0.0         10.0.0.1        0.0.0.0  UG 0 0 0 adapter'");
    machine.tool(
        "/bin/cat", "printf '%s\\n' '# servers' 'nameserver 10.0.0.2' 'nameserver 10.0.0.3'");
    machine.tool("/usr/bin/grep", "read -r route; echo \"$route\"");
}

}

void PrintTo(Query const& query, std::ostream* out)
{
    *out << query.name;
}

std::vector<Query> const QUERIES = {
    {"create", create},
    {"memory", memory},
    {"processors", processors},
    {"physical disks", physicalDisks},
    {"mounted disks", mountedDisks},
    {"root devices", rootDevices},
    {"networks", networks},
    {"summary", summary},
    {"recovery", recovery},
    {"large environment", memoryOfLargeEnvironment},
    {"failing child", memory, {"dup2", EPERM, 1, std::numeric_limits<unsigned>::max()}},
};

void fillFaultMachine()
{
    fillDisks();
    fillNetworks();
    machine.file("/proc/meminfo", "MemTotal: 8000000 kB\nMemFree: 3000000 kB\n");
    machine.tool("/usr/sbin/dmidecode",
        "printf '%s\\n' 'Memory Device' '\tSize: 4096 MB' '\tLocator: a socket' '' "
        "'Memory Device' '\tSize: 4 GB' '\tVolatile-Memory-Size: 0 units-that-nobody-knows'");
    for (std::string const cpu : {"cpu0", "cpu1"}) {
        machine.file("/sys/devices/system/cpu/" + cpu + "/cpufreq/bios_limit", "3000000\n");
        machine.file("/sys/devices/system/cpu/" + cpu + "/cpufreq/scaling_cur_freq", "1200000\n");
    }
    machine.file("/sys/class/dmi/id/sys_vendor", "A maker with a long name\n");
    machine.file("/sys/class/dmi/id/product_name", "A product with a long name\n");
    machine.file("/sys/class/dmi/id/product_version", "A version with a long name\n");
    machine.file("/sys/class/dmi/id/chassis_asset_tag", "A tag with a long name\n");
    machine.file("/etc/dovrel/status.ini",
        "[Main]\nStatus=5000\nRecoverStart=01-02-2026 10:00:00\nRestoreStart=01-02-2026 10:10:00\n"
        "RestoreEnd=01-02-2026 10:20:00\n[RestoreStatus]\nTotalFiles=1000\nFilesDone=500\n"
        "TotalBytes=10485760000\nBytesDone=5242880000\n");
    machine.file("/etc/dovrel/DRAnswer.ini", "[AdvancedOptions]\nFinalSync=1\n");
    machine.file("/tmp/percent", "73\n");
}

}
