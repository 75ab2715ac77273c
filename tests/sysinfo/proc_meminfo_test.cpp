// The parser alone, without a file.

#include "sysinfo/parsers/proc_meminfo.h"
#include "tests/sysinfo/PiecewiseBuffer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

using ::testing::ElementsAre;
using ::testing::Pair;
using testkit::PiecewiseBuffer;

namespace {

using Figure = std::optional<uint64_t>;

struct KernelFigures {
    Figure total;
    Figure free;
};

/** @return the last figure of each kind, which is the one that the host gets. */
KernelFigures kernelFiguresOf(std::istream& text)
{
    KernelFigures figures;
    bool const found =
        sysinfo::readKernelMemory(text, [&](sysinfo::KernelFigure figure, uint64_t kib) {
            (figure == sysinfo::KernelFigure::TOTAL ? figures.total : figures.free) = kib;
        });
    EXPECT_EQ(found, figures.total && figures.free);
    return figures;
}

void expectKernelFigures(std::string const& text, Figure total, Figure free)
{
    SCOPED_TRACE(text.substr(0, 200));
    std::istringstream stream(text);
    auto const memory = kernelFiguresOf(stream);
    EXPECT_EQ(memory.total, total);
    EXPECT_EQ(memory.free, free);
}

constexpr char MEMINFO_LINES[] = "MemTotal:        8010864 kB\nMemFree:          538768 kB\n"
                                 "MemAvailable:    6820112 kB\nHugePages_Total:       0\n";

}

TEST(ProcMeminfo, returnsTotalAndFreeMemory)
{
    expectKernelFigures(MEMINFO_LINES, 8010864, 538768);
}

TEST(ProcMeminfo, readsTheSameInPiecesOfAnySize)
{
    for (size_t size = 1; size <= sizeof MEMINFO_LINES; ++size) {
        PiecewiseBuffer buffer(MEMINFO_LINES, size);
        std::istream stream(&buffer);
        auto const memory = kernelFiguresOf(stream);
        EXPECT_EQ(memory.total, Figure(8010864)) << size;
        EXPECT_EQ(memory.free, Figure(538768)) << size;
    }
}

TEST(ProcMeminfo, stopsReadingAfterBothFigures)
{
    std::istringstream stream("MemTotal: 7 kB\nMemFree: 3 kB\nHugePages_Total: 0\n");
    kernelFiguresOf(stream);
    std::string next;
    EXPECT_TRUE(stream >> next);
    EXPECT_EQ(next, "HugePages_Total:");
}

TEST(ProcMeminfo, readsTheFiguresInAnyOrderBetweenOtherLines)
{
    expectKernelFigures("Buffers: 1 kB\nMemFree: 3 kB\nCached: 2 kB\nMemTotal: 7 kB\n", 7, 3);
}

TEST(ProcMeminfo, missesTheFiguresAfterALineWithoutAUnitKept)
{
    expectKernelFigures("HugePages_Total: 0\nMemTotal: 7 kB\nMemFree: 3 kB\n", {}, {});
    expectKernelFigures("MemTotal: 7 kB\nHugePages_Total: 0\nMemFree: 3 kB\n", 7, {});
}

TEST(ProcMeminfo, stopsAtALabelWithoutANumberKept)
{
    expectKernelFigures("MemTotal: kB\nMemFree: 3 kB\n", {}, {});
    expectKernelFigures("MemTotal: 7 kB\nMemFree: unknown kB\nMemFree: 3 kB\n", 7, {});
    expectKernelFigures("MemTotal: 7 kB\nMemFree:", 7, {});
}

TEST(ProcMeminfo, stopsAtAColonWithoutABlankKept)
{
    expectKernelFigures("MemTotal:7 kB\nMemFree: 3 kB\n", {}, {});
    expectKernelFigures("MemTotal: 7 kB\nShadowCallStack:10373888 kB\nMemFree: 3 kB\n", 7, {});
    // Has no effect after both figures.
    expectKernelFigures("MemTotal: 7 kB\nMemFree: 3 kB\nShadowCallStack:10373888 kB\n", 7, 3);
}

TEST(ProcMeminfo, acceptsOnlyTheExactLabels)
{
    expectKernelFigures("MemTotal 7 kB\nMemFree 3 kB\n", {}, {});
    expectKernelFigures("XMemTotal: 7 kB\nMemFree:: 3 kB\n", {}, {});
    expectKernelFigures("memtotal: 7 kB\nMEMFREE: 3 kB\n", {}, {});
    expectKernelFigures(
        "SwapTotal: 7 kB\nSwapFree: 3 kB\nHighTotal: 1 kB\nLowFree: 1 kB\n", {}, {});
}

TEST(ProcMeminfo, ignoresTheUnit)
{
    expectKernelFigures("MemTotal: 7 MB\nMemFree: 3 bananas\n", 7, 3);
    expectKernelFigures("MemTotal: 7kB\nMemFree: 3kB\n", 7, 3);
}

TEST(ProcMeminfo, readsALastFigureWithoutAUnitOrNewline)
{
    expectKernelFigures("MemTotal: 7 kB\nMemFree: 3", 7, 3);
    expectKernelFigures("MemTotal: 7", 7, {});
}

TEST(ProcMeminfo, returnsFiguresOf64Bits)
{
    expectKernelFigures("MemTotal: 400016779264 kB\nMemFree: 18446744073709551615 kB\n",
        400016779264, 18446744073709551615U);
    expectKernelFigures("MemTotal: 0 kB\nMemFree: 0 kB\n", 0, 0);
}

TEST(ProcMeminfo, stopsAtAFigureAbove64Bits)
{
    expectKernelFigures("MemTotal: 18446744073709551616 kB\nMemFree: 3 kB\n", {}, {});
    expectKernelFigures("MemTotal: 7 kB\nMemFree: 99999999999999999999999 kB\n", 7, {});
}

TEST(ProcMeminfo, returnsTheLastOfRepeatedTotals)
{
    expectKernelFigures("MemTotal: 7 kB\nMemTotal: 8 kB\nMemFree: 3 kB\nMemTotal: 9 kB\n", 8, 3);
}

TEST(ProcMeminfo, callsBackForEachMatchingLine)
{
    std::istringstream stream("MemFree: 3 kB\nMemFree: 4 kB\nBuffers: 1 kB\nMemTotal: 7 kB\n");
    std::vector<std::pair<sysinfo::KernelFigure, uint64_t>> calls;
    sysinfo::readKernelMemory(stream,
        [&](sysinfo::KernelFigure figure, uint64_t kib) { calls.emplace_back(figure, kib); });
    EXPECT_THAT(calls,
        ElementsAre(Pair(sysinfo::KernelFigure::FREE, 3), Pair(sysinfo::KernelFigure::FREE, 4),
            Pair(sysinfo::KernelFigure::TOTAL, 7)));
}

TEST(ProcMeminfo, acceptsBlankLinesAndCarriageReturns)
{
    expectKernelFigures("\r\n\n \t\r\nMemTotal:\t7 kB\r\n\r\n\nMemFree: 3 kB\r\n", 7, 3);
}

TEST(ProcMeminfo, acceptsZeroBytesAtTheEnd)
{
    expectKernelFigures("MemTotal: 7 kB\nMemFree: 3 kB\n" + std::string(100, '\0'), 7, 3);
    expectKernelFigures("MemTotal: 7 kB\n" + std::string(100, '\0'), 7, {});
}

TEST(ProcMeminfo, findsNothingInTheTableOfKernel24)
{
    // Its lines in today's form follow the line at which the parser stops.
    expectKernelFigures("        total:    used:    free:  shared: buffers:  cached:\n"
                        "Mem:  526110720 500051968 26058752        0 67145728 312201216\n"
                        "MemTotal:       513780 kB\nMemFree:         25448 kB\n",
        {}, {});
}

TEST(ProcMeminfo, findsNothingInAnEmptyText)
{
    expectKernelFigures("", {}, {});
    expectKernelFigures("\n \n", {}, {});
    expectKernelFigures(std::string(1024 * 1024, 'x'), {}, {});
}

TEST(ProcMeminfo, returnsTheFiguresReadBeforeTheStreamThrows)
{
    PiecewiseBuffer buffer("MemTotal: 7 kB\nMemFr", 4, PiecewiseBuffer::THROWS);
    std::istream stream(&buffer);
    auto const memory = kernelFiguresOf(stream);
    EXPECT_EQ(memory.total, Figure(7));
    EXPECT_EQ(memory.free, Figure());
}

TEST(ProcMeminfo, findsNothingInAStreamThatHasFailed)
{
    std::istringstream stream(MEMINFO_LINES);
    stream.setstate(std::ios_base::failbit);
    auto const memory = kernelFiguresOf(stream);
    EXPECT_FALSE(memory.total);
    EXPECT_FALSE(memory.free);
}
