#include "sysinfo/LinuxSystemInformation.h"
#include "tests/support/CapturedTrace.h"
#include "tests/support/Machine.h"
#include "tests/sysinfo/ReadCalls.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <string>

using sysinfo::LinuxSystemInformation;
using sysinfo::UNIXSystemInformation;
using testkit::CapturedTrace;
using testkit::contentsOf;
using testkit::machine;

namespace {

constexpr uint64_t UNREAD_TOTAL = 11;
constexpr uint64_t UNREAD_FREE = 12;

constexpr char KERNEL_MEMINFO[] = "MemTotal: 8000000 kB\nMemFree: 3000000 kB\nMemAvailable: 5 kB\n";

void expectFigures(bool known, uint64_t total, uint64_t free)
{
    uint64_t totalKiB = UNREAD_TOTAL;
    uint64_t freeKiB = UNREAD_FREE;
    LinuxSystemInformation const information;
    EXPECT_EQ(information.UNIXSystemInformation::getMemoryInfo(totalKiB, freeKiB), known);
    EXPECT_EQ(totalKiB, total);
    EXPECT_EQ(freeKiB, free);
}

void expectFigures(std::string_view meminfo, bool known, uint64_t total, uint64_t free)
{
    SCOPED_TRACE(meminfo.substr(0, 100));
    machine.file("/proc/meminfo", meminfo);
    expectFigures(known, total, free);
}

}

TEST(KernelMemoryQuery, returnsTotalAndFreeMemory)
{
    expectFigures(KERNEL_MEMINFO, true, 8000000, 3000000);
}

TEST(KernelMemoryQuery, doesNotRunDmidecode)
{
    machine.tool("/usr/sbin/dmidecode", "echo ran >/ran");
    expectFigures(KERNEL_MEMINFO, true, 8000000, 3000000);
    EXPECT_FALSE(std::filesystem::exists("/ran"));
}

TEST(KernelMemoryQuery, returnsFalseWithTheOneFigureThatItFinds)
{
    expectFigures("MemTotal: 7 kB\nBuffers: 1 kB\n", false, 7, UNREAD_FREE);
    expectFigures("MemFree: 3 kB\nBuffers: 1 kB\n", false, UNREAD_TOTAL, 3);
    expectFigures("MemTotal: 7 kB\nMemFree:\n", false, 7, UNREAD_FREE);
}

TEST(KernelMemoryQuery, returnsFalseAndKeepsTheOutputsWithoutFigures)
{
    expectFigures("", false, UNREAD_TOTAL, UNREAD_FREE);
    expectFigures("MemTotal:7 kB\n", false, UNREAD_TOTAL, UNREAD_FREE);
    // The table at the beginning in kernels before 2.6.
    expectFigures("        total:    used:    free:\nMem: 526110720 500051968 26058752\n"
                  "MemTotal: 513780 kB\nMemFree: 25448 kB\n",
        false, UNREAD_TOTAL, UNREAD_FREE);
}

TEST(KernelMemoryQuery, returnsFalseAndKeepsTheOutputsWhenTheFileIsMissing)
{
    CapturedTrace trace;
    expectFigures(false, UNREAD_TOTAL, UNREAD_FREE);
    EXPECT_TRUE(trace.lines().empty());
}

TEST(KernelMemoryQuery, returnsFalseForAFolderALinkLoopADanglingLinkAndAFifo)
{
    machine.folder("/proc/meminfo");
    expectFigures(false, UNREAD_TOTAL, UNREAD_FREE);
    for (char const* const target : {"meminfo", "nowhere"}) {
        machine.remove("/proc/meminfo");
        machine.link("/proc/meminfo", target);
        expectFigures(false, UNREAD_TOTAL, UNREAD_FREE);
    }
    machine.remove("/proc/meminfo");
    ASSERT_EQ(::mkfifo("/proc/meminfo", 0644), 0); // Without a writer.
    expectFigures(false, UNREAD_TOTAL, UNREAD_FREE);
}

TEST(KernelMemoryQuery, readsAFifoThatHasData)
{
    machine.folder("/proc");
    ASSERT_EQ(::mkfifo("/proc/meminfo", 0644), 0);
    int const kernel = ::open("/proc/meminfo", O_RDWR | O_CLOEXEC);
    ASSERT_GE(kernel, 0);
    EXPECT_GT(::write(kernel, KERNEL_MEMINFO, sizeof KERNEL_MEMINFO - 1), 0);
    expectFigures(true, 8000000, 3000000);
    ::close(kernel);
}

TEST(KernelMemoryQuery, acceptsReadsOfSingleBytesBetweenSignals)
{
    testkit::ReadCalls reads("/proc/meminfo");
    reads.giveSingleBytesBetweenSignals();
    expectFigures(KERNEL_MEMINFO, true, 8000000, 3000000);
    EXPECT_GE(reads.failures(), 40U) << "too few reads were interrupted";
}

TEST(KernelMemoryQuery, returnsFiguresReadBeforeAnError)
{
    for (int const code : {EIO, EAGAIN, EBUSY}) {
        testkit::ReadCalls reads("/proc/meminfo");
        reads.failBehind(std::string_view("MemTotal: 8000000 kB\nMemFree: ").size(), code);
        expectFigures(KERNEL_MEMINFO, false, 8000000, UNREAD_FREE);
        EXPECT_EQ(reads.failures(), 1U);
    }
}

TEST(KernelMemoryQuery, readsTheFourLinesOfAContainer)
{
    expectFigures("MemTotal: 524288 kB\nMemFree: 401408 kB\nCached: 0 kB\nBuffers: 0 kB\n", true,
        524288, 401408);
    expectFigures("MemTotal: 0 kB\nMemFree: 0 kB\n", true, 0, 0);
}

TEST(KernelMemoryQuery, readsTheLinesOfA32BitKernel)
{
    expectFigures("MemTotal: 2075428 kB\nMemFree: 1771036 kB\nHighTotal: 1179296 kB\n"
                  "HighFree: 1 kB\nLowTotal: 896132 kB\nLowFree: 2 kB\n",
        true, 2075428, 1771036);
}

TEST(KernelMemoryQuery, returnsFiguresBeyond32Bits)
{
    expectFigures(
        "MemTotal: 400016779264 kB\nMemFree: 4294967296 kB\n", true, 400016779264U, 4294967296U);
}

TEST(KernelMemoryQuery, readsTheRecordedFiles)
{
    std::string const folder = "/testkit/recorded/proc-meminfo/";
    expectFigures(contentsOf(folder + "fake-good.txt"), true, 16275348, 9120576);
    expectFigures(contentsOf(folder + "fake-odd.txt"), true, 400016779264U, 4294967301U);
    expectFigures(contentsOf(folder + "fake-broken.txt"), false, 16275348, UNREAD_FREE);
}

TEST(KernelMemoryQuery, tracesTheFiguresAtLevelThree)
{
    CapturedTrace trace;
    expectFigures(KERNEL_MEMINFO, true, 8000000, 3000000);
    EXPECT_EQ(trace.text(3), "Total Memory: 8000000\nFree Memory: 3000000\n");
    ASSERT_EQ(trace.lines().size(), 2U);
    for (testkit::TraceLine const& line : trace.lines())
        EXPECT_EQ(line.scope,
            "virtual bool sysinfo::UNIXSystemInformation::getMemoryInfo(uint64_t&, uint64_t&) "
            "const");
}

TEST(KernelMemoryQuery, tracesFiguresBeyond32Bits)
{
    CapturedTrace trace(3);
    expectFigures("MemTotal: 400016779264 kB\n", false, 400016779264U, UNREAD_FREE);
    EXPECT_EQ(trace.text(3), "Total Memory: 400016779264\n");
}

TEST(KernelMemoryQuery, tracesEachMatchingLineIncludingRepeats)
{
    CapturedTrace trace(3);
    expectFigures("MemFree: 3 kB\nMemFree: 4 kB\nMemTotal: 7 kB\n", true, 7, 4);
    EXPECT_EQ(trace.text(3), "Free Memory: 3\nFree Memory: 4\nTotal Memory: 7\n");
}

TEST(KernelMemoryQuery, isSilentBelowItsTraceLevel)
{
    CapturedTrace trace(2);
    expectFigures(KERNEL_MEMINFO, true, 8000000, 3000000);
    EXPECT_TRUE(trace.lines().empty());
}
