#include "sysinfo/UNIXSystemInformation.h"
#include "tests/support/CapturedTrace.h"
#include "tests/support/Machine.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <ostream>
#include <string>

using testkit::CapturedTrace;
using testkit::machine;

namespace {

using UNIXCPUInfo = sysinfo::UNIXSystemInformation::UNIXCPUInfo;

struct Counters {
    unsigned int idle;
    unsigned int busy;

    friend bool operator==(Counters a, Counters b) { return a.idle == b.idle && a.busy == b.busy; }
    friend std::ostream& operator<<(std::ostream& out, Counters c)
    {
        return out << "idle " << c.idle << " busy " << c.busy;
    }
};

constexpr Counters BEFORE{0xAAAAAAAA, 0xBBBBBBBB};

Counters countersOf(unsigned int index)
{
    Counters counters = BEFORE;
    EXPECT_TRUE(UNIXCPUInfo(index).readCounters(counters.idle, counters.busy));
    return counters;
}

Counters countersIn(std::string_view text, unsigned int index = 0)
{
    machine.file("/proc/stat", text);
    return countersOf(index);
}

}

TEST(ReadCounters, takesTheFourthFigureAsIdleAndSumsTheOtherSixKept)
{
    EXPECT_EQ(countersIn("cpu0 1 20 300 4000 50000 600000 7000000\n"),
        (Counters{4000, 1 + 20 + 300 + 50000 + 600000 + 7000000}));
}

TEST(ReadCounters, ignoresStealAndGuestTimeKept)
{
    Counters const seven{4, 24};
    EXPECT_EQ(countersIn("cpu0 1 2 3 4 5 6 7\n"), seven);
    EXPECT_EQ(countersIn("cpu0 1 2 3 4 5 6 7 80\n"), seven);
    EXPECT_EQ(countersIn("cpu0 1 2 3 4 5 6 7 80 90\n"), seven);
    EXPECT_EQ(countersIn("cpu0 1 2 3 4 5 6 7 80 90 100\n"), seven);
}

TEST(ReadCounters, countsMissingFiguresAsZero)
{
    EXPECT_EQ(countersIn("cpu0 1 2 3 4 5 6\n"), (Counters{4, 17}));
    EXPECT_EQ(countersIn("cpu0 1 2 3 4\n"), (Counters{4, 6}));
    EXPECT_EQ(countersIn("cpu0 1 2\n"), (Counters{0, 3}));
    EXPECT_EQ(countersIn("cpu0\n"), (Counters{0, 0}));
    EXPECT_EQ(countersIn("cpu0"), (Counters{0, 0}));
}

TEST(ReadCounters, readsNoFigureOfTheNextLine)
{
    EXPECT_EQ(countersIn("cpu0 1 2 3 4\n50 60 70\n"), (Counters{4, 6}));
    EXPECT_EQ(countersIn("cpu0\n1 2 3 4 5 6 7\n"), (Counters{0, 0}));
}

TEST(ReadCounters, readsCountersModuloTwoToThe32)
{
    EXPECT_EQ(countersIn("cpu0 4294967301 0 0 4294967295 0 0 0\n"), (Counters{4294967295, 5}));
    EXPECT_EQ(countersIn("cpu0 18446744073709551615 0 0 18446744073709551615 0 0 0\n"),
        (Counters{4294967295, 4294967295}));
    EXPECT_EQ(countersIn("cpu0 176754428468 0 0 4294967296 0 0 0\n"), (Counters{0, 660769332}));
}

TEST(ReadCounters, sumsModuloTwoToThe32)
{
    EXPECT_EQ(countersIn("cpu0 4294967295 0 2 0 4294967295 0 3\n"), (Counters{0, 3}));
}

TEST(ReadCounters, findsItsOwnLine)
{
    char const text[] = "cpu  6 0 0 60 0 0 0\ncpu0 1 0 0 10 0 0 0\ncpu1 2 0 0 20 0 0 0\n"
                        "cpu10 3 0 0 30 0 0 0\n";
    EXPECT_EQ(countersIn(text, 0), (Counters{10, 1}));
    EXPECT_EQ(countersIn(text, 1), (Counters{20, 2}));
    EXPECT_EQ(countersIn(text, 10), (Counters{30, 3}));
}

TEST(ReadCounters, readsALineWhoseNumberBeginsWithItsOwnKept)
{
    EXPECT_EQ(countersIn("cpu0 1 0 0 10 0 0 0\ncpu10 3 0 0 30 0 0 0\n", 1), (Counters{30, 3}));
    EXPECT_EQ(countersIn("cpu1x 4 0 0 40 0 0 0\n", 1), (Counters{40, 4}));
}

TEST(ReadCounters, takesTheFirstOfTwoLines)
{
    EXPECT_EQ(countersIn("cpu0 1 0 0 10 0 0 0\ncpu0 2 0 0 20 0 0 0\n"), (Counters{10, 1}));
}

TEST(ReadCounters, matchesOnlyTheFirstWordOfALine)
{
    EXPECT_EQ(countersIn("intr cpu0 9 9 9 9 9 9 9\nword\n\n \t\n  cpu0 1 0 0 10 0 0 0\n"),
        (Counters{10, 1}));
}

TEST(ReadCounters, returnsTrueWithoutWritingWhenTheLineIsMissing)
{
    EXPECT_EQ(countersIn("cpu 1 2 3 4 5 6 7\ncpu0 1 2 3 4 5 6 7\n", 1), BEFORE);
    EXPECT_EQ(countersIn("cpu 1 2 3 4 5 6 7\n", 0), BEFORE);
    EXPECT_EQ(countersIn("", 0), BEFORE);
    EXPECT_EQ(countersIn("cpu", 0), BEFORE);
}

TEST(ReadCounters, readsALineWithoutANewline)
{
    EXPECT_EQ(countersIn("cpu0 1 2 3 4 5 6 7"), (Counters{4, 24}));
}

TEST(ReadCounters, readsALineThatEndsInACarriageReturn)
{
    EXPECT_EQ(countersIn("cpu 1\r\ncpu0 1 2 3 4 5 6 7\r\n"), (Counters{4, 24}));
}

TEST(ReadCounters, skipsNulBytes)
{
    using namespace std::string_view_literals;
    EXPECT_EQ(countersIn("\0\0\0\ncpu0 1 2 3 4 5 6 7\n\0\0"sv), (Counters{4, 24}));
    EXPECT_EQ(countersIn("cpu0 1 2 3 4\0\0\0"sv), (Counters{4, 6}));
}

TEST(ReadCounters, skipsALineOfAMebibyte)
{
    EXPECT_EQ(countersIn("intr" + std::string(1024 * 1024, ' ') + "1\ncpu0 1 2 3 4 5 6 7\n"),
        (Counters{4, 24}));
    EXPECT_EQ(
        countersIn(std::string(1024 * 1024, 'c') + "\ncpu0 1 2 3 4 5 6 7\n"), (Counters{4, 24}));
}

TEST(ReadCounters, tracesTheCounters)
{
    CapturedTrace trace(3);
    countersIn("cpu0 1 2 3 4 5 6 7\n");
    ASSERT_EQ(trace.lines().size(), 1U);
    EXPECT_EQ(trace.text(3), "Counted CPU as: 4/24\n");
    EXPECT_EQ(trace.lines()[0].scope,
        "bool sysinfo::UNIXSystemInformation::UNIXCPUInfo::readCounters(unsigned int&, "
        "unsigned int&) const");
}

TEST(ReadCounters, tracesTheCallersValuesWhenTheLineIsMissing)
{
    CapturedTrace trace(3);
    unsigned int idle = 11;
    unsigned int busy = 4294967295;
    machine.file("/proc/stat", "cpu 1\n");
    EXPECT_TRUE(UNIXCPUInfo(3).readCounters(idle, busy));
    EXPECT_EQ(trace.text(3), "Counted CPU as: 11/4294967295\n");
}

TEST(ReadCounters, isSilentBelowItsTraceLevel)
{
    CapturedTrace trace(2);
    countersIn("cpu0 1 2 3 4 5 6 7\n");
    EXPECT_TRUE(trace.lines().empty());
}

TEST(ReadCounters, returnsFalseWhenTheFileCannotBeOpened)
{
    for (bool const isThere : {false, true}) {
        if (isThere) {
            machine.file("/proc/stat", "cpu0 1 2 3 4 5 6 7\n");
            std::filesystem::permissions("/proc/stat", std::filesystem::perms::none);
        }
        CapturedTrace trace;
        Counters counters = BEFORE;
        EXPECT_FALSE(UNIXCPUInfo(0).readCounters(counters.idle, counters.busy));
        EXPECT_EQ(counters, BEFORE);
        EXPECT_EQ(trace.lines().size(), 1U);
        EXPECT_EQ(trace.text(1), "Failed to read: /proc/stat\n");
    }
}

TEST(ReadCounters, findsNoLineWhenTheFileIsAFolder)
{
    machine.folder("/proc/stat");
    EXPECT_EQ(countersOf(0), BEFORE);
}

TEST(ReadCounters, readsTheRecordedFiles)
{
    std::string const folder = "/testkit/recorded/proc-stat/";
    std::string const good = testkit::contentsOf(folder + "vm-2cpu.txt");
    EXPECT_EQ(countersIn(good, 0), (Counters{639729, 1562 + 1679 + 30 + 13}));
    EXPECT_EQ(countersIn(good, 1), (Counters{636239, 2947 + 2232 + 1798 + 62}));

    std::string const odd = testkit::contentsOf(folder + "fake-odd.txt");
    EXPECT_EQ(countersIn(odd, 0), (Counters{617622, 1324 + 3 + 1595 + 28 + 13}));
    EXPECT_EQ(countersIn(odd, 2), (Counters{660769332, 5 + 7}));
    EXPECT_EQ(countersIn(odd, 3), (Counters{4294967295, 0}));
    EXPECT_EQ(countersIn(odd, 12), (Counters{6, 4}));
    EXPECT_EQ(countersIn(odd, 255), (Counters{0, 255}));

    std::string const broken = testkit::contentsOf(folder + "fake-broken.txt");
    EXPECT_EQ(countersIn(broken, 0), (Counters{617622, 1324 + 1595 + 28 + 13}));
    EXPECT_EQ(countersIn(broken, 1), (Counters{0, 2488 + 19}));
}
