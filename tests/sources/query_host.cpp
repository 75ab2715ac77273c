// A host that makes one query. tools/gates/sources runs it under strace(1):
//
//     query_host real|fake QUERY
//
// It looks for three files that do not exist: /query/main when the program is loaded, and
// /query/begin and /query/end before and after calls of the library. "fake" makes the query on a
// fake machine with the parts that few machines have.

#include "common/basic/ip_address.h"
#include "sysinfo/SystemInformation.h"
#include "sysinfo/UNIXSystemInformation.h"
#include "sysinfo/plugin.h"
#include "tests/support/Machine.h"

#include <boost/filesystem/path.hpp>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <clocale>
#include <cstdarg>
#include <cstdio>
#include <exception>
#include <map>
#include <string>
#include <vector>

using dovrel::value_ptr;
using sysinfo::SystemInformation;
using testkit::machine;

namespace {

bool onFakeMachine = false;

/** Marks the calls of the library for the reader of the trace. */
template <class Calls> void observed(Calls calls)
{
    ::access("/query/begin", F_OK);
    calls();
    ::access("/query/end", F_OK);
}

void makeFakeMachine()
{
    onFakeMachine = true;
    machine.prepare();
    machine.enter();

    machine.file("/proc/partitions",
        "major minor  #blocks  name\n\n   8 0 1000 sda\n   8 1 500 sda1\n   8 2 500 sda2\n"
        "   8 16 1000 sdb\n");
    machine.file("/proc/mounts",
        "/dev/sda1 / ext4 rw 0 0\n/dev/mapper/vault-home /tmp ext4 rw 0 0\n"
        "/dev/gone /mnt ext4 rw 0 0\n");
    for (char const* device : {"/dev/sda", "/dev/sda1", "/dev/sda2", "/dev/sdb", "/dev/dm-0"})
        machine.file(device, "");
    machine.link("/dev/mapper/vault-home", "../dm-0");
    machine.link("/dev/disk/by-id/wwn-0x5000", "../../sda");
    machine.link("/dev/disk/by-id/ata-Acme_Disk_A1", "../../sda");
    machine.tool("/sbin/pvdisplay", "echo '/dev/mapper/vault:/dev/sda2:8'");

    machine.file("/proc/meminfo", "MemTotal: 2048 kB\nMemFree: 1024 kB\n");
    machine.tool("/usr/sbin/dmidecode",
        "printf 'Handle 0x1100, DMI type 17, 40 bytes\\nMemory Device\\n\\tSize: 2 GB\\n'");

    machine.file("/proc/stat", "cpu  1 2 3 4\ncpu0 1 2 3 4\n");

    machine.tool("/sbin/ifconfig",
        "printf 'eth0: flags=4163<UP>  mtu 1500\\n        inet 192.0.2.7  netmask 255.255.255.0\\n"
        "        ether 02:00:5e:10:00:01\\n\\nlo: flags=73<UP>  mtu 65536\\n'");
    machine.tool("/sbin/route", "echo '0.0.0.0 192.0.2.1 0.0.0.0 UG 0 0 0 eth0'");
    machine.file("/etc/resolv.conf", "nameserver 127.0.0.1\n");
    for (char const* tool : {"cat", "grep"})
        machine.link(std::string("/bin/") + tool, std::string("/testkit/bin/") + tool);

    machine.file("/etc/dovrel/status.ini",
        "[Main]\nStatus=5000\nRecoverStart=01-02-2020 "
        "03:04:05\n[RestoreStatus]\nTotalFiles=9\nNote=caf\xe9\n");
    machine.file("/etc/dovrel/DRAnswer.ini", "[AdvancedOptions]\nFinalSync=1\n");
    machine.file("/tmp/percent", "42\n");

    machine.file("/etc/nsswitch.conf", "hosts: files dns\n");
    machine.file("/etc/hosts", "127.0.0.1 localhost\n");
}

/** The machine has a procfs: /proc/self/fd leads to the open file, proc(5). */
void linkDescriptors()
{
    for (int fd = 3; fd < 32; ++fd)
        machine.link("/proc/self/fd/" + std::to_string(fd), "/tmp/percent");
}

void readRecords(auto const& records)
{
    for (auto const& record : records)
        record->toString();
}

void queryMemory(SystemInformation const& system)
{
    uint64_t total = 0;
    uint64_t available = 0;
    observed([&] { system.getMemoryInfo(total, available); });
}

void queryProcessors(SystemInformation const& system)
{
    std::vector<value_ptr<SystemInformation::CPUInfo>> records;
    observed([&] { system.getCPUsInternal(records); });
    // The counters of the fake machine do not move, so a load would take 101 seconds.
    if (onFakeMachine)
        machine.remove("/proc/stat");
    records.resize(1);
    observed([&] { readRecords(records); });
}

void queryDisks(SystemInformation const& system)
{
    std::vector<value_ptr<SystemInformation::DiskInfo>> records;
    observed([&] {
        system.getDisksInternal(records);
        readRecords(records);
    });
}

void queryPhysicalDisks(SystemInformation const& system)
{
    std::vector<value_ptr<SystemInformation::PhysicalDiskInfo>> records;
    observed([&] {
        system.getPhysicalDisksInternal(records);
        readRecords(records);
    });
}

void queryRootDevices(SystemInformation const& /*system*/)
{
    observed([] { sysinfo::getRootDevices("/dev/sda1"); });
    if (onFakeMachine)
        observed([] { sysinfo::getRootDevices("/dev/dm-0"); });
}

void queryNetworks(SystemInformation const& system)
{
    std::vector<value_ptr<SystemInformation::NetworkInfo>> records;
    observed([&] {
        system.getNetworksInternal(records);
        readRecords(records);
    });
}

void querySummary(SystemInformation const& system)
{
    std::string vendor;
    std::string product;
    std::string version;
    SystemInformation::HypervisorType hypervisor{};
    observed([&] { system.getSystemInfo(vendor, product, version, hypervisor); });
}

void queryRecovery(SystemInformation const& system)
{
    bool unavailable = false;
    observed([&] { system.getCloneInfo(unavailable); });
    if (onFakeMachine) {
        linkDescriptors();
        observed([&] { system.getCloneInfo(unavailable); });
    }
}

void makeAndDestroy(SystemInformation const& system)
{
    observed([&] {
        SystemInformation::create();
        libclose(libopen());
        system.clone()->destroy();
        system.getLastError();
    });
}

void resolveName(SystemInformation const& /*system*/)
{
    observed([] {
        dovrel::ip_address const address = dovrel::ip_address::getHostByName(L"localhost", 0);
        address.getHostName();
    });
}

using Query = void (*)(SystemInformation const&);

std::map<std::string, Query> const queries = {
    {"create", makeAndDestroy},
    {"getCPUsInternal", queryProcessors},
    {"getCloneInfo", queryRecovery},
    {"getDisksInternal", queryDisks},
    {"getHostByName", resolveName},
    {"getMemoryInfo", queryMemory},
    {"getNetworksInternal", queryNetworks},
    {"getPhysicalDisksInternal", queryPhysicalDisks},
    {"getRootDevices", queryRootDevices},
    {"getSystemInfo", querySummary},
};

}

/** Replaces the C library's function, so that the disk sda of the fake machine has a SCSI bus. */
extern "C" __attribute__((visibility("default"))) int ioctl(
    int fd, unsigned long request, ...) noexcept
{
    va_list arguments;
    va_start(arguments, request);
    auto* const out = va_arg(arguments, int*);
    va_end(arguments);
    long const result = ::syscall(SYS_ioctl, fd, request, out);
    constexpr unsigned long GET_SCSI_BUS_NUMBER = 0x5386;
    if (result == 0 || !onFakeMachine || request != GET_SCSI_BUS_NUMBER)
        return static_cast<int>(result);
    *out = 4;
    return 0;
}

int main(int argc, char** argv)
{
    auto const query = argc == 3 ? queries.find(argv[2]) : queries.end();
    if (query == queries.end()) {
        std::fputs("usage: query_host real|fake QUERY\n", stderr);
        return 2;
    }
    try {
        ::access("/query/main", F_OK);
        std::setlocale(LC_ALL, "");
        value_ptr<SystemInformation> const system = SystemInformation::create();
        std::puts(argv[2]); // Allocates the buffer of the standard output.
        if (std::string(argv[1]) == "fake")
            makeFakeMachine();
        query->second(*system);
        return 0;
    } catch (std::exception const& error) {
        std::fprintf(stderr, "query_host: %s: %s\n", argv[2], error.what());
        return 1;
    }
}
