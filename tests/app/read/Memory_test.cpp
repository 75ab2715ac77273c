#include "app/model/Memory.h"
#include "app/read/Reader.h"
#include "tests/support/Machine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using app::Machine;
using app::Memory;
using testing::IsEmpty;
using testing::SizeIs;
using testkit::machine;

namespace {

/** Reads this /proc/meminfo, in which nothing is missing. */
Memory readFrom(std::string const& meminfo)
{
    machine.file("/proc/meminfo", meminfo);
    Machine found;
    app::readMemory(found);
    EXPECT_THAT(found.problems, IsEmpty());
    return found.memory.value_or(Memory());
}

/** Reads this /proc/meminfo, in which the total or the free memory is missing. */
Memory readHalf(std::string const& meminfo, std::string const& reason)
{
    machine.file("/proc/meminfo", meminfo);
    Machine found;
    app::readMemory(found);
    EXPECT_THAT(found.problems, SizeIs(1));
    EXPECT_EQ(found.problems.at(0).reason, reason);
    return found.memory.value_or(Memory());
}

}

TEST(Memory, isUsedWhereItIsNotAvailable)
{
    Memory memory;
    memory.total = 1000;
    memory.available = 600;
    memory.free = 100;
    EXPECT_EQ(memory.used(), 400U);
}

TEST(Memory, isUsedWhereItIsNeitherFreeNorACacheOnKernelsWithoutMemAvailable)
{
    Memory memory;
    memory.total = 1000;
    memory.free = 100;
    memory.buffers = 50;
    memory.caches = 150;
    EXPECT_EQ(memory.used(), 700U);
    memory.buffers.reset();
    EXPECT_EQ(memory.used(), 750U);
}

TEST(Memory, hasNoUsedShareWithoutAFigureOfTheKernel)
{
    Memory memory;
    EXPECT_EQ(memory.used(), std::nullopt);
    memory.total = 1000;
    EXPECT_EQ(memory.used(), std::nullopt);
    memory.available = 1001;
    EXPECT_EQ(memory.used(), std::nullopt) << "more than all";
}

TEST(Memory, hasUsedSwapOnlyWithBothFigures)
{
    Memory memory;
    memory.swapTotal = 10;
    EXPECT_EQ(memory.swapUsed(), std::nullopt);
    memory.swapFree = 4;
    EXPECT_EQ(memory.swapUsed(), 6U);
}

TEST(Memory, isReadFromMeminfoInBytes)
{
    Memory const memory = readFrom("MemTotal:       16384 kB\nMemFree:  1 kB\nMemAvailable: 2 "
                                   "kB\nBuffers: 3 kB\nCached: 4 kB\n"
                                   "SwapCached: 99 kB\nSwapTotal: 5 kB\nSwapFree: 6 "
                                   "kB\nHugePages_Total: 7\nSReclaimable: 8 kB");
    EXPECT_EQ(memory.total, 16777216U);
    EXPECT_EQ(memory.free, 1024U);
    EXPECT_EQ(memory.available, 2048U);
    EXPECT_EQ(memory.buffers, 3072U);
    EXPECT_EQ(memory.caches, 12288U) << "with the reclaimable memory of the kernel";
    EXPECT_EQ(memory.swapTotal, 5120U);
    EXPECT_EQ(memory.swapFree, 6144U);
}

TEST(Memory, isReadBelowTheTableOfKernel24)
{
    Memory const memory =
        readFrom("        total:    used:    free:  shared: buffers:  cached:\n"
                 "Mem:  525185024 511041536 14143488        0 103280640 319520768\n"
                 "Swap: 1077501952  8192 1077493760\nMemTotal: 512876 kB\nMemFree: 13812 kB\n");
    EXPECT_EQ(memory.total, 512876U * 1024);
    EXPECT_EQ(memory.available, std::nullopt);
    EXPECT_EQ(memory.caches, std::nullopt);
}

TEST(Memory, hasNoTotalOfZero)
{
    Memory const memory = readHalf("MemTotal: 0 kB\nMemFree: 5 kB\n", "its MemTotal is 0");
    EXPECT_EQ(memory.total, std::nullopt);
    EXPECT_EQ(memory.free, 5120U);
}

TEST(Memory, isUnknownWhereTheFigureIsNone)
{
    char const* const noTotal = "it has no number of MemTotal";
    EXPECT_EQ(readHalf("", noTotal).free, std::nullopt);
    EXPECT_EQ(readHalf("MemTotal: x kB\nMemFree: 1 kB\n", noTotal).total, std::nullopt);
    EXPECT_EQ(readHalf("MemTotal: 18446744073709551615 kB\nMemFree: 1 kB\n", noTotal).total,
        std::nullopt);
    EXPECT_EQ(readHalf("MemTotal: 1 kB\n", "it has no number of MemFree").free, std::nullopt);
}

TEST(Memory, isAProblemWithoutTheKernelsFile)
{
    Machine found;
    app::readMemory(found);
    EXPECT_FALSE(found.memory);
    ASSERT_THAT(found.problems, SizeIs(1));
    EXPECT_EQ(found.problems[0].source, "/proc/meminfo");
    EXPECT_EQ(found.problems[0].reason, "No such file or directory");
}

TEST(Memory, hasOneReasonForAllFiguresThatTheKernelDoesNotHave)
{
    machine.file("/proc/meminfo", "MemTotal: 9 kB\nMemFree: 1 kB\nBuffers: 1 kB\nCached: 1 kB\n");
    Machine old;
    app::readMemory(old);
    ASSERT_THAT(old.unavailable, SizeIs(1));
    EXPECT_EQ(old.unavailable[0].fact, "available memory, swap");
    EXPECT_EQ(old.unavailable[0].reason, "/proc/meminfo does not have them");
    machine.file("/proc/meminfo",
        "MemTotal: 9 kB\nMemFree: 1 kB\nBuffers: 1 kB\nCached: 1 kB\nSwapTotal: 0 kB\n"
        "SwapFree: 0 kB\nMemAvailable: 1 kB\n");
    Machine whole;
    app::readMemory(whole);
    EXPECT_THAT(whole.unavailable, IsEmpty());
}
