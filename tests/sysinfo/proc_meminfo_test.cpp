// The parser alone, fed by streams.

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

/** The figures as a host has them at the end: the last of each. */
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

void expectFigures(std::string const& text, Figure total, Figure free)
{
    SCOPED_TRACE(text.substr(0, 200));
    std::istringstream stream(text);
    auto const memory = kernelFiguresOf(stream);
    EXPECT_EQ(memory.total, total);
    EXPECT_EQ(memory.free, free);
}

constexpr char TEXT[] = "MemTotal:        8010864 kB\nMemFree:          538768 kB\n"
                        "MemAvailable:    6820112 kB\nHugePages_Total:       0\n";

}

TEST(ProcMeminfo, tellsTheTotalAndTheFreeMemory)
{
    expectFigures(TEXT, 8010864, 538768);
}

TEST(ProcMeminfo, isReadTheSameInPiecesOfAnySize)
{
    for (size_t size = 1; size <= sizeof TEXT; ++size) {
        PiecewiseBuffer buffer(TEXT, size);
        std::istream stream(&buffer);
        auto const memory = kernelFiguresOf(stream);
        EXPECT_EQ(memory.total, Figure(8010864)) << size;
        EXPECT_EQ(memory.free, Figure(538768)) << size;
    }
}

TEST(ProcMeminfo, isReadNoFurtherThanNeeded)
{
    std::istringstream stream("MemTotal: 7 kB\nMemFree: 3 kB\nHugePages_Total: 0\n");
    kernelFiguresOf(stream);
    std::string next;
    EXPECT_TRUE(stream >> next);
    EXPECT_EQ(next, "HugePages_Total:");
}

TEST(ProcMeminfo, mayHaveTheFiguresInAnyOrderBehindOthersWithUnits)
{
    expectFigures("Buffers: 1 kB\nMemFree: 3 kB\nCached: 2 kB\nMemTotal: 7 kB\n", 7, 3);
}

TEST(ProcMeminfo, isOutOfStepBehindALineWithoutAUnitKept)
{
    expectFigures("HugePages_Total: 0\nMemTotal: 7 kB\nMemFree: 3 kB\n", {}, {});
    expectFigures("MemTotal: 7 kB\nHugePages_Total: 0\nMemFree: 3 kB\n", 7, {});
}

TEST(ProcMeminfo, endsWhereALabelHasNoNumberKept)
{
    expectFigures("MemTotal: kB\nMemFree: 3 kB\n", {}, {});
    expectFigures("MemTotal: 7 kB\nMemFree: unknown kB\nMemFree: 3 kB\n", 7, {});
    expectFigures("MemTotal: 7 kB\nMemFree:", 7, {});
}

TEST(ProcMeminfo, endsWhereNoBlankFollowsTheColonKept)
{
    expectFigures("MemTotal:7 kB\nMemFree: 3 kB\n", {}, {});
    expectFigures("MemTotal: 7 kB\nShadowCallStack:10373888 kB\nMemFree: 3 kB\n", 7, {});
    // Behind the two figures it does no harm.
    expectFigures("MemTotal: 7 kB\nMemFree: 3 kB\nShadowCallStack:10373888 kB\n", 7, 3);
}

TEST(ProcMeminfo, knowsTheWholeLabelOnly)
{
    expectFigures("MemTotal 7 kB\nMemFree 3 kB\n", {}, {});
    expectFigures("XMemTotal: 7 kB\nMemFree:: 3 kB\n", {}, {});
    expectFigures("memtotal: 7 kB\nMEMFREE: 3 kB\n", {}, {});
    expectFigures("SwapTotal: 7 kB\nSwapFree: 3 kB\nHighTotal: 1 kB\nLowFree: 1 kB\n", {}, {});
}

TEST(ProcMeminfo, countsTheFigureWhateverItsUnit)
{
    expectFigures("MemTotal: 7 MB\nMemFree: 3 bananas\n", 7, 3);
    expectFigures("MemTotal: 7kB\nMemFree: 3kB\n", 7, 3);
}

TEST(ProcMeminfo, countsTheLastFigureWithoutItsUnitAndWithoutANewline)
{
    expectFigures("MemTotal: 7 kB\nMemFree: 3", 7, 3);
    expectFigures("MemTotal: 7", 7, {});
}

TEST(ProcMeminfo, holdsFiguresOf64Bits)
{
    expectFigures("MemTotal: 400016779264 kB\nMemFree: 18446744073709551615 kB\n", 400016779264,
        18446744073709551615U);
    expectFigures("MemTotal: 0 kB\nMemFree: 0 kB\n", 0, 0);
}

TEST(ProcMeminfo, endsAtAFigureThatIsTooLarge)
{
    expectFigures("MemTotal: 18446744073709551616 kB\nMemFree: 3 kB\n", {}, {});
    expectFigures("MemTotal: 7 kB\nMemFree: 99999999999999999999999 kB\n", 7, {});
}

TEST(ProcMeminfo, takesTheLastOfTotalsThatRepeat)
{
    expectFigures("MemTotal: 7 kB\nMemTotal: 8 kB\nMemFree: 3 kB\nMemTotal: 9 kB\n", 8, 3);
}

TEST(ProcMeminfo, isToldAsItIsMet)
{
    std::istringstream stream("MemFree: 3 kB\nMemFree: 4 kB\nBuffers: 1 kB\nMemTotal: 7 kB\n");
    std::vector<std::pair<sysinfo::KernelFigure, uint64_t>> met;
    sysinfo::readKernelMemory(
        stream, [&](sysinfo::KernelFigure figure, uint64_t kib) { met.emplace_back(figure, kib); });
    EXPECT_THAT(met,
        ElementsAre(Pair(sysinfo::KernelFigure::FREE, 3), Pair(sysinfo::KernelFigure::FREE, 4),
            Pair(sysinfo::KernelFigure::TOTAL, 7)));
}

TEST(ProcMeminfo, mayHaveBlankLinesAndCarriageReturns)
{
    expectFigures("\r\n\n \t\r\nMemTotal:\t7 kB\r\n\r\n\nMemFree: 3 kB\r\n", 7, 3);
}

TEST(ProcMeminfo, mayEndInNulBytes)
{
    expectFigures("MemTotal: 7 kB\nMemFree: 3 kB\n" + std::string(100, '\0'), 7, 3);
    expectFigures("MemTotal: 7 kB\n" + std::string(100, '\0'), 7, {});
}

TEST(ProcMeminfo, isNotFoundInTheTableOfKernel24)
{
    // Its lines in today's form come below, behind the end of the reading.
    expectFigures("        total:    used:    free:  shared: buffers:  cached:\n"
                  "Mem:  526110720 500051968 26058752        0 67145728 312201216\n"
                  "MemTotal:       513780 kB\nMemFree:         25448 kB\n",
        {}, {});
}

TEST(ProcMeminfo, isNotFoundInNothing)
{
    expectFigures("", {}, {});
    expectFigures("\n \n", {}, {});
    expectFigures(std::string(1024 * 1024, 'x'), {}, {});
}

TEST(ProcMeminfo, tellsWhatCameBeforeTheSourceBroke)
{
    PiecewiseBuffer buffer("MemTotal: 7 kB\nMemFr", 4, PiecewiseBuffer::THROWS);
    std::istream stream(&buffer);
    auto const memory = kernelFiguresOf(stream);
    EXPECT_EQ(memory.total, Figure(7));
    EXPECT_EQ(memory.free, Figure());
}

TEST(ProcMeminfo, findsNothingInAStreamThatHasFailed)
{
    std::istringstream stream(TEXT);
    stream.setstate(std::ios_base::failbit);
    auto const memory = kernelFiguresOf(stream);
    EXPECT_FALSE(memory.total);
    EXPECT_FALSE(memory.free);
}
