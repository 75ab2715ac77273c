// The memory of the machine that the test runs on, with its own kernel and its own dmidecode.

#include "sysinfo/LinuxSystemInformation.h"
#include "tests/reference/dmidecode_output.h"
#include "tests/reference/proc_meminfo.h"
#include "tests/support/CapturedTrace.h"
#include "tests/support/commands.h"
#include "tests/support/system_path.h"
#include "tests/support/text.h"
#include "tests/sysinfo/memory_trace.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <string>

using reference::KernelMemory;
using reference::MemoryModules;
using sysinfo::LinuxSystemInformation;
using testkit::CapturedTrace;

namespace {

/** @return this machine's modules; none without dmidecode or without the right to read the
 * firmware's tables. */
MemoryModules ownModules()
{
    return reference::readModules(testkit::outputOf("dmidecode 2>/dev/null"));
}

KernelMemory kernelMemory()
{
    return reference::readMeminfo(testkit::contentsOf("/proc/meminfo"));
}

}

TEST(OwnMemory, isTheLargerOfTheKernelsTotalAndTheModules)
{
    MemoryModules const modules = ownModules();
    KernelMemory const kernel = kernelMemory();
    ASSERT_TRUE(kernel.total() && kernel.free());
    uint64_t total = 0;
    uint64_t free = 0;
    CapturedTrace const trace;
    EXPECT_TRUE(LinuxSystemInformation().getMemoryInfo(total, free));

    testkit::TracedDump const dump(trace);
    EXPECT_EQ(dump.sizeLines, modules.count + modules.withoutSize);
    EXPECT_LE(dump.lost(), modules.sum);
    EXPECT_EQ(total, std::max(*kernel.total(), modules.sum - dump.lost()));
    EXPECT_EQ(trace.text(3),
        "Total Memory: " + std::to_string(*kernel.total())
            + "\nFree Memory: " + std::to_string(free) + '\n');
}

TEST(OwnMemory, includesTheModulesThatDmidecodeReports)
{
    if (testkit::outputOf("command -v dmidecode").empty())
        GTEST_SKIP() << "this machine has no dmidecode";
    MemoryModules const modules = ownModules();
    if (modules.count == 0)
        GTEST_SKIP() << "this machine has no memory modules that dmidecode reports";
    uint64_t total = 0;
    uint64_t free = 0;
    CapturedTrace const trace;
    EXPECT_TRUE(LinuxSystemInformation().getMemoryInfo(total, free));
    uint64_t const sum = modules.sum - testkit::TracedDump(trace).lost();
    EXPECT_EQ(trace.text(4), "dmidecode ran successfully, found: " + std::to_string(sum) + '\n');
    EXPECT_GE(total, sum);
}

TEST(OwnMemory, isAsFreeAsTheKernelReports)
{
    using Clock = std::chrono::steady_clock;
    auto const deadline = Clock::now() + std::chrono::seconds(20);
    KernelMemory before;
    KernelMemory after;
    uint64_t total = 0;
    uint64_t free = 0;
    // Free memory changes all the time: repeat until it is the same before and after the query.
    do {
        before = kernelMemory();
        EXPECT_TRUE(LinuxSystemInformation().UNIXSystemInformation::getMemoryInfo(total, free));
        after = kernelMemory();
        ASSERT_TRUE(before.free() && after.free());
    } while (before.free() != after.free() && Clock::now() < deadline);
    EXPECT_EQ(before.free(), after.free()) << "free memory changed during each of the queries";
    EXPECT_EQ(total, *after.total());
    EXPECT_EQ(free, *after.free());
}

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    testkit::setSystemPath();
    return RUN_ALL_TESTS();
}
