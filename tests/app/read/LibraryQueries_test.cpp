#include "app/read/LibraryQueries.h"
#include "tests/app/read/FakeCalls.h"
#include "tests/support/Machine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <cstring>
#include <stdexcept>

using app::LibraryAnswer;
using app::Machine;
using app::Subject;
using app_read_test::FakeCalls;
using testing::IsEmpty;
using testing::SizeIs;
using testkit::machine;

namespace {

Machine query(
    app::Subjects const& subjects, std::chrono::milliseconds limit = std::chrono::seconds(20))
{
    Machine found;
    found.subjects = subjects;
    app::TraceOutput trace(0, {});
    app::LibraryQueries queries(found, limit, trace);
    queries.finish(found, {});
    return found;
}

LibraryAnswer answerTo(Subject subject)
{
    Machine const found = query({subject});
    EXPECT_THAT(found.library, SizeIs(1));
    return found.library.at(subject);
}

constexpr char const* PARTITIONS =
    "major minor  #blocks  name\n\n   8        0       1024 sda\n   8 1 1 sda1\n";

/** The tools that the library reads the networks with. */
void networkTools(std::string const& ifconfig)
{
    machine.tool("/sbin/ifconfig", ifconfig);
    machine.tool("/sbin/route", "exit 0");
    machine.tool("/bin/cat", "exec cat \"$@\"");
}

void hangIfconfig()
{
    networkTools("exec sleep 1000");
}

}

TEST(LibraryQueries, reportTheRecordsOfTheDisks)
{
    machine.file("/proc/partitions", PARTITIONS);
    LibraryAnswer const answer = answerTo(Subject::DISKS);
    EXPECT_EQ(answer.query, "getPhysicalDisksInternal");
    EXPECT_EQ(answer.outcome, LibraryAnswer::RETURNED_TRUE);
    EXPECT_EQ(answer.reason, "");
    EXPECT_GT(answer.seconds, 0);
    ASSERT_THAT(answer.records, SizeIs(1));
    EXPECT_EQ(answer.records[0].get<std::string>("getDiskID"), "sda");
    EXPECT_EQ(answer.records[0].get<uint64_t>("getDiskNumberOfPartitions"), 1U);
    EXPECT_EQ(answer.records[0].text, "sda () 0 bytes in  1 partitions ");
}

TEST(LibraryQueries, reportTheRecordsOfTheMounts)
{
    machine.file("/proc/mounts", "/dev/sda1 /data ext4 rw 0 0\n");
    machine.file("/proc/partitions", PARTITIONS);
    machine.file("/dev/sda1", "");
    FakeCalls calls;
    struct statvfs status { };
    status.f_bsize = 4096;
    status.f_blocks = 10;
    status.f_bfree = 4;
    calls.filesystems["/data"] = status;
    LibraryAnswer const answer = answerTo(Subject::MOUNTS);
    ASSERT_THAT(answer.records, SizeIs(1));
    EXPECT_EQ(answer.records[0].get<std::string>("getDiskName"), "/data");
    EXPECT_EQ(answer.records[0].get<std::vector<std::string>>("getParentDisks"),
        std::vector<std::string>{"sda"});
    EXPECT_EQ(answer.records[0].get<uint64_t>("getDiskSizeInBytes"), 40960U);
    EXPECT_EQ(answer.records[0].get<uint64_t>("getDiskFreeInBytes"), 16384U);
}

TEST(LibraryQueries, reportTheRecordsOfTheProcessors)
{
    machine.file("/proc/stat", "cpu 1 2 3 4\ncpu0 1 2 3 4\n");
    machine.file("/sys/devices/system/cpu/cpu0/cpufreq/bios_limit", "3000000\n");
    LibraryAnswer const answer = answerTo(Subject::PROCESSORS);
    ASSERT_THAT(answer.records, SizeIs(1));
    EXPECT_EQ(answer.records[0].get<uint64_t>("getMaxSpeedInMHZ"), 3000U);
    EXPECT_EQ(answer.records[0].get<uint64_t>("getCurrentSpeedInMHZ"), 0U);
}

TEST(LibraryQueries, reportTheRecordOfTheMemory)
{
    machine.file("/proc/meminfo", "MemTotal: 2048 kB\nMemFree: 1024 kB\n");
    LibraryAnswer const answer = answerTo(Subject::MEMORY);
    ASSERT_THAT(answer.records, SizeIs(1));
    EXPECT_EQ(answer.records[0].get<uint64_t>("totalKiB"), 2048U);
    EXPECT_EQ(answer.records[0].get<uint64_t>("freeKiB"), 1024U);
}

TEST(LibraryQueries, reportTheRecordsOfTheNetworks)
{
    FakeCalls const calls;
    networkTools("echo 'eth0      Link encap:Ethernet  HWaddr 00:0c:29:aa:bb:cc'\n"
                 "echo '          inet addr:10.0.0.5  Bcast:10.0.0.255  Mask:255.255.255.0'\n");
    machine.file("/etc/resolv.conf", "nameserver 10.0.0.1\n");
    LibraryAnswer const answer = answerTo(Subject::NETWORKS);
    using Texts = std::vector<std::string>;
    ASSERT_THAT(answer.records, SizeIs(1));
    EXPECT_EQ(answer.records[0].get<std::string>("getName"), "eth0");
    EXPECT_EQ(answer.records[0].get<std::string>("getMACAddr"), "00:0c:29:aa:bb:cc");
    EXPECT_EQ(answer.records[0].get<Texts>("getIPAddrs"), Texts{"10.0.0.5"});
    EXPECT_EQ(answer.records[0].get<Texts>("getNetmasks"), Texts{"255.255.255.0"});
    EXPECT_EQ(answer.records[0].get<Texts>("getDNSAddrs"), Texts{"10.0.0.1"});
    EXPECT_EQ(answer.records[0].get<std::string>("getHostname"), "machine");
}

TEST(LibraryQueries, reportAnAddressThatIsNone)
{
    FakeCalls const calls;
    networkTools("echo 'eth0      Link encap:Ethernet  HWaddr 00:0c:29:aa:bb:cc'\n"
                 "echo '          inet addr:10.0.0.999  Mask:255.255.255.0'\n");
    EXPECT_EQ(answerTo(Subject::NETWORKS).records.at(0).get<std::vector<std::string>>("getIPAddrs"),
        std::vector<std::string>{"<invalid>"});
}

TEST(LibraryQueries, reportAllEightBytesOfAHardwareAddressThatHasThem)
{
    FakeCalls const calls;
    for (std::string const address : {"80:00:02:08:fe:80:00:01", "80:00:02:08:fe:80:01:00"}) {
        networkTools("echo 'ib0       Link encap:UNSPEC  HWaddr " + address + "'\n");
        LibraryAnswer const answer = answerTo(Subject::NETWORKS);
        ASSERT_THAT(answer.records, SizeIs(1));
        EXPECT_EQ(answer.records[0].get<std::string>("getMACAddr"), address);
    }
}

TEST(LibraryQueries, reportTheRecordOfTheSystem)
{
    FakeCalls calls;
    calls.identify = [](char* vendor, char*, char*, int* code) {
        std::strcpy(vendor, "Acme");
        *code = 4;
        return 0;
    };
    LibraryAnswer const answer = answerTo(Subject::SYSTEM);
    EXPECT_EQ(answer.outcome, LibraryAnswer::RETURNED_TRUE);
    EXPECT_EQ(answer.records.at(0).get<std::string>("vendor"), "Acme");
    EXPECT_EQ(answer.records.at(0).get<uint64_t>("hypervisor"), 4U);
}

TEST(LibraryQueries, reportTheCauseOfAFalseResult)
{
    LibraryAnswer const answer = answerTo(Subject::DISKS);
    EXPECT_EQ(answer.outcome, LibraryAnswer::RETURNED_FALSE);
    EXPECT_EQ(answer.reason, "Failed to open: /proc/partitions");
    EXPECT_THAT(answer.records, IsEmpty());
}

TEST(LibraryQueries, reportTheFileAndTheTraceBesideTheRecordsOfTheDisks)
{
    machine.file("/proc/partitions", PARTITIONS);
    LibraryAnswer const answer = answerTo(Subject::DISKS);
    EXPECT_EQ(answer.source, PARTITIONS);
    EXPECT_THAT(answer.trace,
        testing::ElementsAre("Partition: sda1", "Found disk: /dev/sda", "Returning: 1 disks"));
}

TEST(LibraryQueries, reportWhyTheMemoryWasNotFound)
{
    EXPECT_EQ(answerTo(Subject::MEMORY).reason, "/proc/meminfo cannot be read");
    machine.file("/proc/meminfo", "MemTotal: 1 kB\n");
    EXPECT_EQ(answerTo(Subject::MEMORY).reason, "/proc/meminfo has no MemFree");
    for (char const* const before : {"total: used:\n", "MemTotal: 1 kB\ntotal: used:\n"}) {
        machine.file("/proc/meminfo", std::string(before) + "MemTotal: 1 kB\nMemFree: 1 kB\n");
        EXPECT_EQ(answerTo(Subject::MEMORY).reason,
            "/proc/meminfo has lines of another form before MemTotal or MemFree");
    }
}

TEST(LibraryQueries, nameTheToolsThatAreMissing)
{
    machine.tool("/sbin/route", "exit 0");
    EXPECT_EQ(answerTo(Subject::NETWORKS).reason,
        "/bin, /sbin, /usr/sbin and /usr/bin have no ifconfig and no cat");
}

TEST(LibraryQueries, nameTheToolThatWritesTooMuch)
{
    networkTools("exec yes eth0");
    LibraryAnswer const answer = answerTo(Subject::NETWORKS);
    EXPECT_EQ(answer.outcome, LibraryAnswer::RETURNED_FALSE);
    EXPECT_THAT(answer.reason, testing::HasSubstr("/sbin/ifconfig"));
}

TEST(LibraryQueries, reportTheReasonOfAnExceptionWithTheFactsFoundBeforeIt)
{
    FakeCalls calls;
    calls.identify = [](char*, char*, char*, int*) -> int { throw std::runtime_error("no table"); };
    LibraryAnswer const answer = answerTo(Subject::SYSTEM);
    EXPECT_EQ(answer.outcome, LibraryAnswer::THREW);
    EXPECT_EQ(answer.reason, "no table");
    EXPECT_THAT(answer.records, SizeIs(1));
}

TEST(LibraryQueries, reportAQueryThatKillsItsProcess)
{
    FakeCalls calls;
    calls.identify = [](char*, char*, char*, int*) { return std::raise(SIGKILL); };
    LibraryAnswer const answer = answerTo(Subject::SYSTEM);
    EXPECT_EQ(answer.query, "getSystemInfo");
    EXPECT_EQ(answer.outcome, LibraryAnswer::CRASHED);
    EXPECT_EQ(answer.reason, "the process that ran the query ended without a result");
}

TEST(LibraryQueries, loseOnlyTheAnswerOfAToolThatHangs)
{
    hangIfconfig();
    machine.file("/proc/meminfo", "MemTotal: 2048 kB\nMemFree: 1024 kB\n");
    machine.file("/proc/partitions", PARTITIONS);
    Machine const found =
        query({Subject::NETWORKS, Subject::MEMORY, Subject::DISKS}, std::chrono::seconds(4));
    LibraryAnswer const& networks = found.library.at(Subject::NETWORKS);
    EXPECT_EQ(networks.outcome, LibraryAnswer::NOT_ENDED);
    EXPECT_EQ(networks.query, "getNetworksInternal");
    EXPECT_EQ(networks.reason, "the query, or a tool that it runs, did not end in time");
    EXPECT_GE(networks.seconds, 4);
    EXPECT_THAT(found.library.at(Subject::MEMORY).records, SizeIs(1));
    EXPECT_THAT(found.library.at(Subject::DISKS).records, SizeIs(1));
}

TEST(LibraryQueries, takeTheLimitOnceThoughSeveralToolsHang)
{
    hangIfconfig();
    auto const begun = std::chrono::steady_clock::now();
    Machine const found = query({Subject::NETWORKS, Subject::SYSTEM}, std::chrono::seconds(2));
    EXPECT_LT(std::chrono::steady_clock::now() - begun, std::chrono::milliseconds(3900));
    EXPECT_EQ(found.library.at(Subject::SYSTEM).outcome, LibraryAnswer::NOT_ENDED);
}

TEST(LibraryQueries, areThoseOfTheSubjectsThatWereAskedFor)
{
    EXPECT_THAT(query({Subject::DISKS, Subject::MOUNTS}).library, SizeIs(2));
    EXPECT_THAT(query({Subject::RECOVERY}).library, IsEmpty());
}
