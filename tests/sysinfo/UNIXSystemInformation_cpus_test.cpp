#include "sysinfo/LinuxSystemInformation.h"
#include "tests/support/CapturedTrace.h"
#include "tests/support/Machine.h"
#include "tests/sysinfo/ReadCalls.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <cerrno>
#include <filesystem>
#include <string>
#include <vector>

using dovrel::value_ptr;
using sysinfo::LinuxSystemInformation;
using testkit::CapturedTrace;
using testkit::machine;

namespace {

using Processors = std::vector<value_ptr<sysinfo::SystemInformation::CPUInfo>>;

/** @return the number of processors that the query finds in @p text as /proc/stat. */
size_t countIn(std::string_view text)
{
    machine.file("/proc/stat", text);
    Processors processors;
    EXPECT_TRUE(LinuxSystemInformation().getCPUsInternal(processors));
    return processors.size();
}

/** @return the index of a record, the first number of `toString()`. */
std::string indexOf(sysinfo::SystemInformation::CPUInfo const& processor)
{
    std::string const text = static_cast<char const*>(processor.toString());
    return text.substr(0, text.find(' '));
}

}

TEST(GetCPUs, countsTheProcessorsButNotTheTotalsLine)
{
    EXPECT_EQ(countIn("cpu  30 0 30 300 0 0 0 0 0 0\n"
                      "cpu0 10 0 10 100 0 0 0 0 0 0\n"
                      "cpu1 20 0 20 200 0 0 0 0 0 0\n"
                      "intr 12345 0 0\nctxt 99\nbtime 1795265708\n"),
        2U);
}

TEST(GetCPUs, countsWordsThatBeginWithCpuAndEndInADigit)
{
    EXPECT_EQ(countIn("cpu12"), 1U);
    EXPECT_EQ(countIn("cpu0"), 1U);
    EXPECT_EQ(countIn("cpux7"), 1U);
    EXPECT_EQ(countIn("cpu"), 0U);
    EXPECT_EQ(countIn("cpuX"), 0U);
    EXPECT_EQ(countIn("cpu7a"), 0U);
    EXPECT_EQ(countIn("CPU0 xcpu0 cp0 0cpu0"), 0U);
}

TEST(GetCPUs, checksEveryWordOfEveryLineKept)
{
    EXPECT_EQ(countIn("intr 5 cpu0\n\n  \tcpu1 1 2 cpu2 cpu3x\ncpu\n4\n"), 3U);
}

TEST(GetCPUs, numbersProcessorsFromZeroWithoutGapsKept)
{
    machine.file("/proc/stat", "cpu 1\ncpu2 1 0 0 1\ncpu5 1 0 0 1\ncpu64 1 0 0 1\n");
    Processors processors;
    ASSERT_TRUE(LinuxSystemInformation().getCPUsInternal(processors));
    ASSERT_EQ(processors.size(), 3U);
    for (size_t i = 0; i < processors.size(); ++i)
        EXPECT_EQ(indexOf(*processors[i]), std::to_string(i));
}

TEST(GetCPUs, appendsToTheCallersList)
{
    machine.file("/proc/stat", "cpu0 1\ncpu1 1\n");
    Processors processors(1);
    LinuxSystemInformation const information;
    ASSERT_TRUE(information.getCPUsInternal(processors));
    ASSERT_TRUE(information.getCPUsInternal(processors));
    ASSERT_EQ(processors.size(), 5U);
    EXPECT_FALSE(processors[0]);
    EXPECT_EQ(indexOf(*processors[1]), "0");
    EXPECT_EQ(indexOf(*processors[2]), "1");
    EXPECT_EQ(indexOf(*processors[3]), "0");
}

TEST(GetCPUs, readsTheFileAgainOnEveryCall)
{
    EXPECT_EQ(countIn("cpu0 1\n"), 1U);
    EXPECT_EQ(countIn("cpu0 1\ncpu1 1\ncpu2 1\n"), 3U);
    EXPECT_EQ(countIn("cpu0 1\n"), 1U);
}

TEST(GetCPUs, countsTheLastWordWithoutANewline)
{
    EXPECT_EQ(countIn("cpu 1\ncpu0 1\ncpu1"), 2U);
}

TEST(GetCPUs, findsNoneInAnEmptyFile)
{
    EXPECT_EQ(countIn(""), 0U);
    EXPECT_EQ(countIn("\n \n\t"), 0U);
}

TEST(GetCPUs, readsLinesThatEndInCarriageReturns)
{
    EXPECT_EQ(countIn("cpu 1 2\r\ncpu0 1 2\r\ncpu1\r\n"), 2U);
}

TEST(GetCPUs, treatsNulBytesAsPartsOfWords)
{
    using namespace std::string_view_literals;
    EXPECT_EQ(countIn("cpu 1\ncpu0 1 2\n\0\0\0\0"sv), 1U);
    EXPECT_EQ(countIn("cpu0 1\ncpu1\0 1\ncpu\0002 1\n"sv), 2U);
}

TEST(GetCPUs, acceptsLinesOfAMebibyte)
{
    std::string text = "cpu0 1\nintr";
    while (text.size() < 1024 * 1024)
        text += " 0";
    EXPECT_EQ(countIn(text + "\ncpu1 1\n"), 2U);
    EXPECT_EQ(countIn("cpu0 1\n" + std::string(1024 * 1024, 'x') + " cpu1\n"), 2U);
    EXPECT_EQ(countIn("cpu" + std::string(1024 * 1024, '7') + "\n"), 1U);
}

TEST(GetCPUs, findsAThousandProcessors)
{
    std::string text = "cpu 1\n";
    for (int i = 0; i < 1000; ++i)
        text += "cpu" + std::to_string(i) + " 1 2 3 4 5 6 7\n";
    EXPECT_EQ(countIn(text), 1000U);
}

TEST(GetCPUs, returnsFalseAndKeepsTheListWhenTheFileIsMissing)
{
    Processors processors(2);
    CapturedTrace trace;
    EXPECT_FALSE(LinuxSystemInformation().getCPUsInternal(processors));
    EXPECT_EQ(processors.size(), 2U);
    ASSERT_EQ(trace.lines().size(), 1U);
    EXPECT_EQ(trace.text(1), "Failed to open: /proc/stat\n");
}

TEST(GetCPUs, returnsFalseWhenTheFileIsUnreadable)
{
    machine.file("/proc/stat", "cpu0 1\n");
    std::filesystem::permissions("/proc/stat", std::filesystem::perms::none);
    Processors processors;
    CapturedTrace trace(1);
    EXPECT_FALSE(LinuxSystemInformation().getCPUsInternal(processors));
    EXPECT_TRUE(processors.empty());
    EXPECT_EQ(trace.text(1), "Failed to open: /proc/stat\n");
}

TEST(GetCPUs, doesNotBlockOnAFifoWithoutAWriter)
{
    machine.folder("/proc");
    ASSERT_EQ(::mkfifo("/proc/stat", 0644), 0);
    Processors processors;
    EXPECT_TRUE(LinuxSystemInformation().getCPUsInternal(processors));
    EXPECT_TRUE(processors.empty());
}

TEST(GetCPUs, acceptsReadsOfSingleBytesBetweenSignals)
{
    testkit::ReadCalls reads("/proc/stat");
    reads.giveSingleBytesBetweenSignals();
    EXPECT_EQ(countIn("cpu 1\ncpu0 1\ncpu1 1\n"), 2U);
    EXPECT_GE(reads.failures(), 20U) << "too few reads were interrupted";
}

TEST(GetCPUs, countsProcessorsReadBeforeAnError)
{
    testkit::ReadCalls reads("/proc/stat");
    reads.failBehind(std::string_view("cpu 1\ncpu0 1\n").size(), EIO);
    EXPECT_EQ(countIn("cpu 1\ncpu0 1\ncpu1 1\n"), 1U);
    EXPECT_EQ(reads.failures(), 1U);
}

TEST(GetCPUs, tracesEveryProcessor)
{
    CapturedTrace trace(3);
    EXPECT_EQ(countIn("cpu 1\ncpu0 1\ncpu7a 1\ncpu12 1\n"), 2U);
    EXPECT_EQ(trace.text(3), "Found CPU: cpu0\nFound CPU: cpu12\n");
    ASSERT_EQ(trace.lines().size(), 2U);
    EXPECT_EQ(trace.lines()[0].scope,
        "virtual bool sysinfo::UNIXSystemInformation::getCPUsInternal("
        "std::vector<dovrel::value_ptr<sysinfo::SystemInformation::CPUInfo>, "
        "std::allocator<dovrel::value_ptr<sysinfo::SystemInformation::CPUInfo> > >&) const");
}

TEST(GetCPUs, isSilentBelowItsTraceLevels)
{
    {
        CapturedTrace trace(2);
        EXPECT_EQ(countIn("cpu0 1\n"), 1U);
        EXPECT_TRUE(trace.lines().empty());
    }
    CapturedTrace trace(0);
    machine.remove("/proc/stat");
    Processors processors;
    EXPECT_FALSE(LinuxSystemInformation().getCPUsInternal(processors));
    EXPECT_TRUE(trace.lines().empty());
}

TEST(GetCPUs, readsTheRecordedFiles)
{
    std::string const folder = "/testkit/recorded/proc-stat/";
    EXPECT_EQ(countIn(testkit::contentsOf(folder + "vm-2cpu.txt")), 2U);
    EXPECT_EQ(countIn(testkit::contentsOf(folder + "fake-odd.txt")), 5U);
    EXPECT_EQ(countIn(testkit::contentsOf(folder + "fake-broken.txt")), 2U);
}
