// The real dmidecode and the real kernel of the machine that the test runs on.

#include "sysinfo/LinuxSystemInformation.h"
#include "tests/support/CapturedTrace.h"
#include "tests/sysinfo/memory_second_reader.h"
#include "tests/sysinfo/memory_trace.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>

using sysinfo::LinuxSystemInformation;
using testkit::CapturedTrace;
using testkit::DumpedModules;
using testkit::MeminfoFigures;

namespace {

/** @return what the command prints. */
std::string outputOf(std::string const& command)
{
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> const pipe(
        ::popen(command.c_str(), "re"), ::pclose);
    std::string output;
    for (int c = 0; pipe && (c = std::fgetc(pipe.get())) != EOF;)
        output += static_cast<char>(c);
    return output;
}

/** The modules of this machine by its own tool; none where there is no tool, or nothing that it
 * may read. */
DumpedModules ownModules()
{
    return testkit::readDump(outputOf("dmidecode 2>/dev/null"));
}

MeminfoFigures kernelsFigures()
{
    std::ifstream file("/proc/meminfo");
    return testkit::readMeminfo({std::istreambuf_iterator<char>(file), {}});
}

/** Says once what the machine had to compare with. */
void noteModules()
{
    DumpedModules const modules = ownModules();
    std::string const tool = outputOf("command -v dmidecode");
    std::string const alone = "note: own_memory_test had the kernel's figures alone: ";
    std::string note = "note: own_memory_test compared with the " + std::to_string(modules.sum)
        + " KiB of memory modules that this machine's dmidecode tells";
    if (tool.empty())
        note = alone + "there is no dmidecode here";
    else if (modules.count == 0)
        note = alone + "dmidecode tells of no memory modules here";
    std::puts(note.c_str());
}

}

TEST(OwnMemory, isTheKernelsOrThatOfTheModulesWhereThatIsMore)
{
    DumpedModules const modules = ownModules();
    MeminfoFigures const kernels = kernelsFigures();
    ASSERT_TRUE(kernels.total && kernels.free);
    uint64_t total = 0;
    uint64_t free = 0;
    CapturedTrace const trace;
    EXPECT_TRUE(LinuxSystemInformation().getMemoryInfo(total, free));

    testkit::TracedDump const dump(trace);
    EXPECT_EQ(dump.sizeLines, modules.count + modules.withoutSize);
    EXPECT_LE(dump.lost(), modules.sum);
    EXPECT_EQ(total, std::max(*kernels.total, modules.sum - dump.lost()));
    EXPECT_EQ(trace.text(3),
        "Total Memory: " + std::to_string(*kernels.total) + "\nFree Memory: " + std::to_string(free)
            + '\n');
}

TEST(OwnMemory, isAsFreeAsTheKernelSays)
{
    using Clock = std::chrono::steady_clock;
    auto const deadline = Clock::now() + std::chrono::seconds(20);
    MeminfoFigures before;
    MeminfoFigures after;
    uint64_t total = 0;
    uint64_t free = 0;
    // Free memory comes and goes; a moment without either tells.
    do {
        before = kernelsFigures();
        EXPECT_TRUE(LinuxSystemInformation().UNIXSystemInformation::getMemoryInfo(total, free));
        after = kernelsFigures();
        ASSERT_TRUE(before.free && after.free);
    } while (before.free != after.free && Clock::now() < deadline);
    EXPECT_EQ(before.free, after.free) << "no such moment within the time";
    EXPECT_EQ(total, *after.total);
    EXPECT_EQ(free, *after.free);
}

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    // An ordinary user's has no folders of system tools.
    ::setenv("PATH", "/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin", 1);
    if (!GTEST_FLAG_GET(list_tests))
        noteModules();
    return RUN_ALL_TESTS();
}
