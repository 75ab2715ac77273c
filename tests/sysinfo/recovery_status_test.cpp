// The arithmetic of a restore alone, up to its limits.

#include "sysinfo/parsers/recovery_status.h"

#include <gtest/gtest.h>

#include <limits>
#include <utility>

using sysinfo::RestoreCounters;
using sysinfo::restoreMetrics;
using sysinfo::RestoreMetrics;

namespace {

constexpr int64_t LARGEST = std::numeric_limits<int64_t>::max();
constexpr int64_t SMALLEST = std::numeric_limits<int64_t>::min();
constexpr int64_t MB = 1'048'576;

int64_t percentageOf(int64_t totalFiles, int64_t filesDone, int64_t totalBytes, int64_t bytesDone)
{
    return restoreMetrics({totalFiles, filesDone, totalBytes, bytesDone}, 1.0).percentage;
}

int64_t throughputOf(int64_t bytesDone, double elapsedSeconds)
{
    return restoreMetrics({1, 1, 1, bytesDone}, elapsedSeconds).throughput;
}

}

TEST(RestoreCounters, startAtMinusOne)
{
    RestoreCounters const counters;
    EXPECT_EQ(counters.totalFiles, -1);
    EXPECT_EQ(counters.filesDone, -1);
    EXPECT_EQ(counters.totalBytes, -1);
    EXPECT_EQ(counters.bytesDone, -1);
}

TEST(RestorePercentage, weighsBytesAndFilesHalfEach)
{
    EXPECT_EQ(percentageOf(200, 50, 1'048'576'000, 524'288'000), 37);
    EXPECT_EQ(percentageOf(200, 200, 1000, 1000), 100);
    EXPECT_EQ(percentageOf(200, 0, 1000, 0), 0);
    EXPECT_EQ(percentageOf(200, 200, 1000, 0), 50);
    EXPECT_EQ(percentageOf(200, 0, 1000, 1000), 50);
}

TEST(RestorePercentage, truncatesEachHalfBeforeItAddsThemKept)
{
    EXPECT_EQ(percentageOf(200, 199, 200, 199), 98); // The exact sum is 99.5.
    EXPECT_EQ(percentageOf(100, 99, 100, 99), 98);
    EXPECT_EQ(percentageOf(1000, 19, 1000, 19), 0);
}

TEST(RestorePercentage, exceedsAHundredWhenMoreIsDoneThanTheTotalKept)
{
    EXPECT_EQ(percentageOf(100, 300, 100, 200), 250);
}

TEST(RestorePercentage, isAHundredWithoutCountersKept)
{
    EXPECT_EQ(percentageOf(-1, -1, -1, -1), 100);
    EXPECT_EQ(percentageOf(-1, 0, -1, 0), 0);
    EXPECT_EQ(percentageOf(-1, 10, 100, 100), -450);
    EXPECT_EQ(percentageOf(200, -1, 1000, -1), 0); // Truncated toward zero.
    EXPECT_EQ(percentageOf(20, -1, 10, -1), -7);
}

TEST(RestorePercentage, dividesByOneInPlaceOfATotalOfZero)
{
    EXPECT_EQ(percentageOf(0, 0, 0, 0), 0);
    EXPECT_EQ(percentageOf(0, 1, 0, 1), 100);
    EXPECT_EQ(percentageOf(0, 2, 0, 3), 250);
}

TEST(RestorePercentage, isNegativeForANegativeTotal)
{
    EXPECT_EQ(percentageOf(1, 0, -1, 100), -5000);
    EXPECT_EQ(percentageOf(1, 0, -2, 100), -2500);
    EXPECT_EQ(percentageOf(-2, 100, 1, 0), -2500);
}

TEST(RestorePercentage, isExactUpToTheLargestProduct)
{
    constexpr int64_t EDGE = LARGEST / 50;
    EXPECT_EQ(percentageOf(1, 0, EDGE, EDGE), 50);
    EXPECT_EQ(percentageOf(EDGE, EDGE, EDGE, EDGE), 100);
    EXPECT_EQ(percentageOf(1, 0, 1, EDGE), EDGE * 50);
}

TEST(RestorePercentage, wrapsAProductAbove64BitsKept)
{
    // (2^63 - 1) * 50 is -50 modulo 2^64, -2^63 * 50 is 0.
    EXPECT_EQ(percentageOf(1, 0, 1, LARGEST), -50);
    EXPECT_EQ(percentageOf(1, LARGEST, 1, 0), -50);
    EXPECT_EQ(percentageOf(1, LARGEST, 1, LARGEST), -100);
    EXPECT_EQ(percentageOf(1, SMALLEST, 1, SMALLEST), 0);
    EXPECT_EQ(percentageOf(LARGEST, LARGEST, LARGEST, LARGEST), 0);
    EXPECT_EQ(percentageOf(1, 0, 1, LARGEST / 50 + 1), SMALLEST + 42);
}

TEST(RestorePercentage, wrapsAQuotientAbove64BitsKept)
{
    // 2^62 * 50 is -2^63 modulo 2^64, and 2^63 does not fit.
    constexpr int64_t DONE = int64_t{1} << 62;
    EXPECT_EQ(percentageOf(1, 0, 1, DONE), SMALLEST);
    EXPECT_EQ(percentageOf(1, 0, -1, DONE), SMALLEST);
    EXPECT_EQ(percentageOf(-1, DONE, 1, 0), SMALLEST);
    EXPECT_EQ(percentageOf(-1, DONE, -1, DONE), 0);
}

TEST(RestorePercentage, wrapsASumAbove64BitsKept)
{
    constexpr int64_t EDGE = LARGEST / 50;
    EXPECT_EQ(
        percentageOf(1, EDGE, 1, EDGE), static_cast<int64_t>(static_cast<uint64_t>(EDGE) * 100));
    EXPECT_LT(percentageOf(1, EDGE, 1, EDGE), 0);
}

TEST(RestoreSizes, areTruncatedToWholeMegabytes)
{
    auto const sizes = [](int64_t total, int64_t done) {
        RestoreMetrics const metrics = restoreMetrics({1, 1, total, done}, 1.0);
        return std::pair(metrics.totalMB, metrics.doneMB);
    };
    EXPECT_EQ(sizes(1'048'576'000, 524'288'000), std::pair(int64_t{1000}, int64_t{500}));
    EXPECT_EQ(sizes(MB, MB - 1), std::pair(int64_t{1}, int64_t{0}));
    EXPECT_EQ(sizes(2 * MB - 1, MB + 1), std::pair(int64_t{1}, int64_t{1}));
    EXPECT_EQ(sizes(-1, -1), std::pair(int64_t{0}, int64_t{0}));
    EXPECT_EQ(sizes(-MB, 1 - MB), std::pair(int64_t{-1}, int64_t{0}));
    EXPECT_EQ(sizes(0, 0), std::pair(int64_t{0}, int64_t{0}));
    EXPECT_EQ(sizes(LARGEST, SMALLEST), std::pair(LARGEST / MB, SMALLEST / MB));
}

TEST(RestoreFiles, areOneForATotalOfZero)
{
    EXPECT_EQ(restoreMetrics({0, 5, 1, 1}, 1.0).totalFiles, 1);
    EXPECT_EQ(restoreMetrics({1, 5, 1, 1}, 1.0).totalFiles, 1);
    EXPECT_EQ(restoreMetrics({-1, 5, 1, 1}, 1.0).totalFiles, -1);
    EXPECT_EQ(restoreMetrics({LARGEST, 5, 1, 1}, 1.0).totalFiles, LARGEST);
}

TEST(RestoreThroughput, isTruncatedToWholeMegabytesPerSecond)
{
    EXPECT_EQ(throughputOf(100 * MB, 10.0), 10);
    EXPECT_EQ(throughputOf(100 * MB - 1, 10.0), 9);
    EXPECT_EQ(throughputOf(0, 10.0), 0);
    EXPECT_EQ(throughputOf(-1, 10.0), 0);
    EXPECT_EQ(throughputOf(-15 * MB, 10.0), -1);
    EXPECT_EQ(throughputOf(7 * MB, 2.0), 3);
}

TEST(RestoreThroughput, countsLessThanASecondAsOne)
{
    for (double const elapsed : {1.0, 0.5, 0.0, -0.0, -1.0, -1e300})
        EXPECT_EQ(throughputOf(10 * MB, elapsed), 10) << elapsed;
    EXPECT_EQ(throughputOf(10 * MB, 1.25), 8);
}

TEST(RestoreThroughput, isExactBeyondThePrecisionOfADouble)
{
    // 2^63 - 1 bytes are one byte short of 2^43 MB; a double would round it up.
    EXPECT_EQ(throughputOf(LARGEST, 1.0), (int64_t{1} << 43) - 1);
    EXPECT_EQ(throughputOf(SMALLEST, 1.0), -(int64_t{1} << 43));
}

TEST(RestoreThroughput, isZeroForAVeryLongTime)
{
    EXPECT_EQ(throughputOf(LARGEST, 1e300), 0);
    EXPECT_EQ(throughputOf(MB, std::numeric_limits<double>::infinity()), 0);
}
