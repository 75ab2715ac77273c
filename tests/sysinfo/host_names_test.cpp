// A host that is linked with the library and defines global classes with the same names.

#include "sysinfo/SystemInformation.h"
#include "tests/support/CapturedTrace.h"
#include "tests/support/Machine.h"
#include "tests/sysinfo/HostNames.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using dovrel::value_ptr;
using sysinfo::SystemInformation;
using testkit::machine;
using Calls = std::vector<std::string>;

namespace {

class HostNames : public testing::Test {
protected:
    void SetUp() override { testkit::takeHostCalls(); }

    value_ptr<SystemInformation> const m_information = SystemInformation::create();
};

}

TEST_F(HostNames, resolveToTheHostsClassesInTheHost)
{
    testkit::useHostClasses();
    EXPECT_EQ(testkit::takeHostCalls(),
        (Calls{"traceobject::traceobject", "Command::exitCode", "pipestreambuf::pipestreambuf",
            "pipestreambuf::setTimeout", "basic_pistream::basic_pistream",
            "basic_pistream::~basic_pistream", "pipestreambuf::~pipestreambuf", "Pipe::~Pipe",
            "Command::~Command", "traceobject::~traceobject"}));
}

TEST_F(HostNames, areNeverCalledByTheMemoryQuery)
{
    machine.file("/proc/meminfo", "MemTotal: 8000 kB\nMemFree: 3000 kB\n");
    machine.tool("/sbin/dmidecode", "echo 'Memory Device'; printf '\\tSize: 16 MB\\n'");
    testkit::CapturedTrace const trace;
    uint64_t total = 0;
    uint64_t free = 0;
    EXPECT_TRUE(m_information->getMemoryInfo(total, free));
    EXPECT_EQ(total, 16384U);
    EXPECT_EQ(free, 3000U);
    EXPECT_TRUE(trace.contains(4, "dmidecode ran successfully"));
    EXPECT_EQ(testkit::takeHostCalls(), Calls());
}

TEST_F(HostNames, areNeverCalledByTheAdapterAndMountQueries)
{
    machine.tool("/sbin/ifconfig", "echo 'eth0: x'; echo 'lo: x'");
    machine.tool("/sbin/route", "exit 0");
    machine.tool("/bin/cat", "exec cat \"$@\"");
    machine.tool("/bin/grep", "exec grep \"$@\"");
    machine.file("/etc/resolv.conf", "nameserver 10.0.0.1\n");
    machine.file("/proc/partitions", "major minor  #blocks  name\n\n8 0 7 sda\n");
    machine.file("/proc/mounts", "/dev/dm-0 / ext4 rw 0 0\n");
    machine.file("/dev/dm-0", "");
    machine.link("/dev/mapper/vg-root", "/dev/dm-0");
    machine.tool("/sbin/pvdisplay", "echo '/dev/mapper/vg:x:'");
    std::vector<value_ptr<SystemInformation::NetworkInfo>> adapters;
    EXPECT_TRUE(m_information->getNetworksInternal(adapters));
    EXPECT_EQ(adapters.size(), 2U);
    std::vector<value_ptr<SystemInformation::DiskInfo>> mounts;
    EXPECT_TRUE(m_information->getDisksInternal(mounts));
    EXPECT_EQ(mounts.size(), 1U);
    EXPECT_EQ(testkit::takeHostCalls(), Calls());
}
