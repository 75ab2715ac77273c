// A machine on which every query has a result, and the queries.

#include "common/basic/processstream/src/process_exception.h"
#include "sysinfo/LinuxSystemInformation.h"
#include "tests/support/Machine.h"
#include "tests/support/SystemCalls.h"
#include "tests/support/narrow.h"
#include "tests/sysinfo/HostileCase.h"
#include "tests/sysinfo/recovery_files.h"

#include <boost/filesystem/exception.hpp>

#include <cmath>
#include <cstdlib>
#include <exception>
#include <map>

using sysinfo::LinuxSystemInformation;
using sysinfo::SystemInformation;

namespace testkit {

std::map<std::string, std::string> const GOOD_RESULTS = {
    {"getCPUsInternal", "true 2"},
    {"getCloneInfo", "5500 73"},
    {"getCurrentSpeedInMHZ", "1200"},
    {"getCurrentUsage", "nan"},
    {"getDisksInternal", "true 2"},
    {"getMaxSpeedInMHZ", "2400"},
    {"getMemoryInfo", "true 2097152 100"},
    {"getNetworksInternal", "true 2 1"},
    {"getPhysicalDisksInternal", "true 2"},
    {"getRootDevices", "[sda2:]"},
    {"getSystemInfo", "true [Acme Box 1]"},
};

namespace {

template <class Record> using List = std::vector<dovrel::value_ptr<Record>>;

std::string text(bool result)
{
    return result ? "true" : "false";
}

std::string memory()
{
    uint64_t total = 0;
    uint64_t free = 0;
    bool const result = LinuxSystemInformation().getMemoryInfo(total, free);
    return text(result) + ' ' + std::to_string(total) + ' ' + std::to_string(free);
}

std::string processors()
{
    List<SystemInformation::CPUInfo> list;
    bool const result = LinuxSystemInformation().getCPUsInternal(list);
    return text(result) + ' ' + std::to_string(list.size());
}

std::string load()
{
    float const usage = LinuxSystemInformation::UNIXCPUInfo(0).getCurrentUsage();
    return std::isnan(usage) ? "nan" : std::to_string(std::lround(usage));
}

std::string speed()
{
    return std::to_string(LinuxSystemInformation::UNIXCPUInfo(0).getMaxSpeedInMHZ());
}

std::string currentSpeed()
{
    return std::to_string(LinuxSystemInformation::UNIXCPUInfo(0).getCurrentSpeedInMHZ());
}

std::string disks()
{
    List<SystemInformation::DiskInfo> list;
    bool const result = LinuxSystemInformation().getDisksInternal(list);
    return text(result) + ' ' + std::to_string(list.size());
}

std::string physicalDisks()
{
    List<SystemInformation::PhysicalDiskInfo> list;
    bool const result = LinuxSystemInformation().getPhysicalDisksInternal(list);
    return text(result) + ' ' + std::to_string(list.size());
}

std::string rootDevices()
{
    std::string all = "[";
    for (std::string const& name : sysinfo::getRootDevices("/dev/dm-0"))
        all += name;
    return all + ']';
}

std::string networks()
{
    List<SystemInformation::NetworkInfo> list;
    bool const result = LinuxSystemInformation().getNetworksInternal(list);
    size_t const servers = list.empty() ? 0 : list.back()->getDNSAddrs().size();
    return text(result) + ' ' + std::to_string(list.size()) + ' ' + std::to_string(servers);
}

std::string summary()
{
    std::string vendor;
    std::string product;
    std::string version;
    SystemInformation::HypervisorType hypervisor{};
    bool const result =
        LinuxSystemInformation().getSystemInfo(vendor, product, version, hypervisor);
    return text(result) + " [" + vendor + ' ' + product + ' ' + version + ']';
}

std::string recovery()
{
    RecoveryRecord const record = pollRecovery();
    return record ? std::to_string(record->getOperationID()) + ' '
            + std::to_string(record->getOperationProgress())
                  : "null";
}

std::map<std::string, std::string (*)()> const queries = {
    {"getCPUsInternal", processors},
    {"getCloneInfo", recovery},
    {"getCurrentSpeedInMHZ", currentSpeed},
    {"getCurrentUsage", load},
    {"getDisksInternal", disks},
    {"getMaxSpeedInMHZ", speed},
    {"getMemoryInfo", memory},
    {"getNetworksInternal", networks},
    {"getPhysicalDisksInternal", physicalDisks},
    {"getRootDevices", rootDevices},
    {"getSystemInfo", summary},
};

}

void makeGoodMachine()
{
    machine.file("/proc/meminfo", "MemTotal: 1000 kB\nMemFree: 100 kB\n");
    machine.tool("/usr/sbin/dmidecode", "printf 'Memory Device\\n\\tSize: 2 GB\\n'");
    machine.file("/proc/stat", "cpu  1 2 3 4\ncpu0 1 2 3 4\ncpu1 1 2 3 4\n");
    machine.file("/sys/devices/system/cpu/cpu0/cpufreq/bios_limit", "2400000\n");
    machine.file("/sys/devices/system/cpu/cpu0/cpufreq/scaling_cur_freq", "1200000\n");
    machine.file("/proc/partitions",
        "major minor  #blocks  name\n\n   8 0 1000 sda\n   8 1 500 sda1\n   8 16 1000 sdb\n");
    machine.file(
        "/proc/mounts", "/dev/sda1 / ext4 rw 0 0\n/dev/mapper/vault-home /tmp ext4 rw 0 0\n");
    for (char const* device : {"/dev/sda", "/dev/sda1", "/dev/sdb", "/dev/dm-0"})
        machine.file(device, "");
    machine.link("/dev/mapper/vault-home", "../dm-0");
    machine.link("/dev/disk/by-id/ata-Acme_Disk_A1", "../../sda");
    machine.tool("/sbin/pvdisplay", "echo '/dev/mapper/vault:/dev/sda2:8'");
    machine.tool(
        "/sbin/ifconfig", "printf 'eth0: flags=1\\n\\tinet 192.0.2.7\\n\\nlo: flags=1\\n'");
    machine.tool("/sbin/route", "echo '0.0.0.0         192.0.2.1       0.0.0.0 UG 0 0 0 eth0'");
    machine.file("/etc/resolv.conf", "nameserver 127.0.0.1\n");
    for (char const* tool : {"cat", "grep"})
        machine.link(std::string("/bin/") + tool, std::string("/testkit/bin/") + tool);
    machine.file("/sys/class/dmi/id/sys_vendor", "Acme\n");
    machine.file("/sys/class/dmi/id/product_name", "Box\n");
    machine.file("/sys/class/dmi/id/product_version", "1\n");
    machine.file("/sys/class/dmi/id/chassis_asset_tag", "A1\n");
    machine.file("/etc/localtime", "");
    ::unsetenv("TZ"); // The C library would not read that file.
    machine.file(RECOVERY_STATUS, "[Main]\nStatus=5000\n");
    machine.file(RECOVERY_ANSWERS, "[AdvancedOptions]\nFinalSync=1\n");
    machine.file(RECOVERY_PERCENT, "73\n");
}

std::string resultOf(std::string const& query)
{
    try {
        return queries.at(query)();
    } catch (dovrel::ProcessException const& failure) {
        return "throws " + std::to_string(failure.reason());
    } catch (boost::filesystem::filesystem_error const&) {
        return "throws filesystem_error";
    } catch (std::exception const& error) {
        return std::string("throws ") + error.what();
    }
}

}
