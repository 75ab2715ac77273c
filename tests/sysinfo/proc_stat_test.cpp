// The parsers alone, with streams in pieces and streams that throw.

#include "sysinfo/parsers/proc_stat.h"
#include "tests/sysinfo/PiecewiseBuffer.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

using testkit::PiecewiseBuffer;

namespace {

constexpr char STAT_LINES[] =
    "cpu  9 9 9 9 9 9 9\ncpu0 1 2 3 4 5 6 7\ncpu1 10 20 30 40 50 60 70 80\n";

}

TEST(ProcStat, readsTheSameInPiecesOfAnySize)
{
    for (size_t size = 1; size <= sizeof STAT_LINES; ++size) {
        PiecewiseBuffer counted(STAT_LINES, size);
        std::istream countedText(&counted);
        std::vector<std::string> words;
        EXPECT_EQ(sysinfo::countProcessors(
                      countedText, [&](std::string const& word) { words.push_back(word); }),
            2U);
        EXPECT_EQ(words, (std::vector<std::string>{"cpu0", "cpu1"}));

        PiecewiseBuffer searched(STAT_LINES, size);
        std::istream searchedText(&searched);
        sysinfo::ProcessorCounters counters{0, 0};
        EXPECT_TRUE(sysinfo::findProcessorCounters(searchedText, "cpu1", counters));
        EXPECT_EQ(counters.idle, 40U);
        EXPECT_EQ(counters.busy, 240U);
    }
}

TEST(ProcStat, readsAcrossItsBufferAtEveryOffset)
{
    for (size_t filling = 8192 - 60; filling <= 8192 + 2; ++filling) {
        std::string const text = std::string(filling, 'x') + "\n" + STAT_LINES;
        std::istringstream counted(text);
        EXPECT_EQ(sysinfo::countProcessors(counted, [](std::string const&) {}), 2U) << filling;
        std::istringstream searched(text);
        sysinfo::ProcessorCounters counters{0, 0};
        EXPECT_TRUE(sysinfo::findProcessorCounters(searched, "cpu0", counters)) << filling;
        EXPECT_EQ(counters.idle, 4U) << filling;
        EXPECT_EQ(counters.busy, 24U) << filling;
    }
}

TEST(ProcStat, countsNoProcessorInTheMiddleOfAWord)
{
    std::istringstream text("xcpu0 1\nxxcpu1 1\n cpu2 1\n");
    std::vector<std::string> words;
    sysinfo::countProcessors(text, [&](std::string const& word) { words.push_back(word); });
    EXPECT_EQ(words, std::vector<std::string>{"cpu2"});
}

TEST(ProcStat, stopsWithoutAnExceptionWhenTheStreamThrows)
{
    // Longer than the parser's buffer, so that it has read something before.
    std::string const text = "cpu0 1 2 3 4 5 6 7\n" + std::string(100000, 'x');
    PiecewiseBuffer counted(text, 1000, PiecewiseBuffer::THROWS);
    std::istream countedText(&counted);
    EXPECT_EQ(sysinfo::countProcessors(countedText, [](std::string const&) {}), 1U);

    PiecewiseBuffer searched(text, 1000, PiecewiseBuffer::THROWS);
    std::istream searchedText(&searched);
    sysinfo::ProcessorCounters counters{11, 12};
    EXPECT_FALSE(sysinfo::findProcessorCounters(searchedText, "cpu1", counters));
    EXPECT_EQ(counters.idle, 11U);
}

TEST(ProcStat, returnsFalseAndKeepsTheOutputWithoutTheLabel)
{
    std::istringstream text(STAT_LINES);
    sysinfo::ProcessorCounters counters{11, 12};
    EXPECT_FALSE(sysinfo::findProcessorCounters(text, "cpu2", counters));
    EXPECT_EQ(counters.idle, 11U);
    EXPECT_EQ(counters.busy, 12U);
}

TEST(ProcStat, findsNothingInAStreamThatHasFailed)
{
    std::istringstream text(STAT_LINES);
    text.setstate(std::ios_base::failbit);
    EXPECT_EQ(sysinfo::countProcessors(text, [](std::string const&) {}), 0U);
    sysinfo::ProcessorCounters counters{11, 12};
    EXPECT_FALSE(sysinfo::findProcessorCounters(text, "cpu0", counters));
    EXPECT_EQ(counters.idle, 11U);
}
