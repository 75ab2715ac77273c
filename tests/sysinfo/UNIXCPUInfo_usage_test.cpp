#include "sysinfo/UNIXSystemInformation.h"
#include "tests/support/CapturedTrace.h"
#include "tests/support/Machine.h"
#include "tests/support/SystemCalls.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

using testkit::calls;
using testkit::CapturedTrace;
using testkit::machine;

namespace {

using UNIXCPUInfo = sysinfo::UNIXSystemInformation::UNIXCPUInfo;

struct Sample {
    uint64_t idle;
    uint64_t busy;
};

void show(Sample sample)
{
    machine.file("/proc/stat",
        "cpu 1 1 1 1 1 1 1\ncpu0 0 0 " + std::to_string(sample.busy) + " "
            + std::to_string(sample.idle) + " 0 0 0 0 0 0\n");
}

/** The load of processor 0 while /proc/stat shows one sample after the other, a second each; the
 * last one stays. */
float usageOver(std::vector<Sample> const& samples)
{
    size_t shown = 0;
    show(samples[0]);
    calls.onUsleep([&](useconds_t) {
        if (shown + 1 < samples.size())
            show(samples[++shown]);
    });
    float const usage = UNIXCPUInfo(0).getCurrentUsage();
    calls.onUsleep(nullptr);
    return usage;
}

}

TEST(CurrentUsage, isTheBusyShareOfOneSecond)
{
    EXPECT_FLOAT_EQ(usageOver({{100, 50}, {175, 75}}), 25.0F);
    EXPECT_FLOAT_EQ(usageOver({{100, 50}, {170, 60}}), 12.5F);
    EXPECT_FLOAT_EQ(usageOver({{0, 0}, {0, 1}}), 100.0F);
    EXPECT_FLOAT_EQ(usageOver({{10, 10}, {12, 11}}), 100.0F / 3);
}

TEST(CurrentUsage, sleepsOneSecondBetweenSamples)
{
    usageOver({{100, 50}, {175, 75}});
    EXPECT_EQ(calls.usleeps(), std::vector<useconds_t>{1'000'000});
}

TEST(CurrentUsage, waitsUntilTheBusyCounterHasMoved)
{
    EXPECT_FLOAT_EQ(usageOver({{100, 50}, {200, 50}, {300, 50}, {350, 100}, {999, 999}}),
        100.0F - 250.0F / 300.0F * 100.0F);
    EXPECT_EQ(calls.usleeps(), std::vector<useconds_t>(3, 1'000'000));
}

TEST(CurrentUsage, takesTheFirstSampleBeforeItSleeps)
{
    show({100, 50});
    unsigned int traced = 0;
    CapturedTrace trace(3);
    calls.onUsleep([&](useconds_t) {
        traced = trace.contains(3, "Counted CPU as: 100/50") ? 1 : 0;
        show({175, 75});
    });
    EXPECT_FLOAT_EQ(UNIXCPUInfo(0).getCurrentUsage(), 25.0F);
    EXPECT_EQ(traced, 1U);
}

TEST(CurrentUsage, givesUpOnAnIdleProcessorAfter101SecondSamplesKept)
{
    show({100, 50});
    uint64_t idle = 100;
    calls.onUsleep([&](useconds_t) { show({++idle, 50}); });
    EXPECT_EQ(UNIXCPUInfo(0).getCurrentUsage(), 0.0F);
    EXPECT_EQ(calls.usleeps(), std::vector<useconds_t>(101, 1'000'000));
}

TEST(CurrentUsage, takesTheHundredAndFirstSampleIntoAccount)
{
    std::vector<Sample> samples(101, Sample{100, 50});
    samples.push_back({100, 51});
    EXPECT_FLOAT_EQ(usageOver(samples), 100.0F);
    EXPECT_EQ(calls.usleeps().size(), 101U);
}

TEST(CurrentUsage, isNotANumberWhereNeitherCounterMovedKept)
{
    EXPECT_TRUE(std::isnan(usageOver({{100, 50}})));
    EXPECT_EQ(calls.usleeps().size(), 101U);
}

TEST(CurrentUsage, isNotANumberWhereTheKernelDoesNotListTheProcessor)
{
    machine.file("/proc/stat", "cpu 1 1 1 1 1 1 1\n");
    EXPECT_TRUE(std::isnan(UNIXCPUInfo(0).getCurrentUsage()));
    EXPECT_EQ(calls.usleeps().size(), 101U);
}

TEST(CurrentUsage, isZeroAtOnceWhereThereIsNoFileKept)
{
    CapturedTrace trace;
    EXPECT_EQ(UNIXCPUInfo(0).getCurrentUsage(), 0.0F);
    EXPECT_TRUE(calls.usleeps().empty());
    EXPECT_EQ(trace.text(1), "Failed to read: /proc/stat\n");
    EXPECT_EQ(trace.lines().size(), 1U);
}

TEST(CurrentUsage, isZeroWhereTheFileVanishesBetweenSamples)
{
    show({100, 50});
    calls.onUsleep([&](useconds_t) {
        if (calls.usleeps().size() == 2)
            machine.remove("/proc/stat");
    });
    CapturedTrace trace;
    EXPECT_EQ(UNIXCPUInfo(0).getCurrentUsage(), 0.0F);
    EXPECT_EQ(calls.usleeps().size(), 2U);
    EXPECT_EQ(trace.text(1), "Failed to read: /proc/stat\n");
    EXPECT_FALSE(trace.contains(3, "Calculating"));
}

TEST(CurrentUsage, isRightWhereACounterPassesTwoToThe32)
{
    EXPECT_FLOAT_EQ(usageOver({{4294967290, 50}, {4294967365, 75}}), 25.0F);
    EXPECT_FLOAT_EQ(usageOver({{100, 4294967290}, {175, 4294967315}}), 25.0F);
    EXPECT_FLOAT_EQ(usageOver({{4294967295, 4294967295}, {4294967298, 4294967296}}), 25.0F);
}

TEST(CurrentUsage, staysWithinAHundredPercentWhereACounterGoesBack)
{
    // 32 bits cannot tell going back by 10 from going on by 2^32 - 10; their sum needs 33.
    EXPECT_NEAR(usageOver({{50, 100}, {40, 200}}), 100.0 * 100 / 4294967386.0, 1e-7);
    EXPECT_FLOAT_EQ(usageOver({{50, 100}, {150, 90}}), 100.0F);
}

TEST(CurrentUsage, staysWithinAHundredPercentWhereTheProcessorComesOrGoes)
{
    char const without[] = "cpu 1 1 1 1 1 1 1\n";
    machine.file("/proc/stat", without);
    calls.onUsleep([](useconds_t) { show({100, 50}); });
    EXPECT_FLOAT_EQ(UNIXCPUInfo(0).getCurrentUsage(), 100.0F / 3); // Its share since it came.

    calls.onUsleep([&](useconds_t) { machine.file("/proc/stat", without); });
    float const gone = UNIXCPUInfo(0).getCurrentUsage();
    EXPECT_GE(gone, 0.0F);
    EXPECT_LE(gone, 100.0F);
    EXPECT_EQ(calls.usleeps().size(), 2U) << "it is not waited for";
}

TEST(CurrentUsage, tracesBothSamplesAndTheResult)
{
    CapturedTrace trace(3);
    usageOver({{100, 50}, {170, 60}});
    EXPECT_EQ(trace.text(3),
        "Counted CPU as: 100/50\n"
        "Counted CPU as: 170/60\n"
        "Calculating CPU usage: 100 50 170 60 -> 12.5\n");
    ASSERT_EQ(trace.lines().size(), 3U);
    EXPECT_EQ(trace.lines()[2].scope,
        "virtual float sysinfo::UNIXSystemInformation::UNIXCPUInfo::getCurrentUsage() const");
}

TEST(CurrentUsage, isSilentBelowItsTraceLevel)
{
    CapturedTrace trace(2);
    usageOver({{100, 50}, {170, 60}});
    EXPECT_TRUE(trace.lines().empty());
}

TEST(CurrentUsage, asksForItsOwnProcessor)
{
    machine.file("/proc/stat", "cpu0 1 0 0 1 0 0 0\ncpu7 10 0 0 10 0 0 0\n");
    calls.onUsleep([](useconds_t) {
        machine.file("/proc/stat", "cpu0 99 0 0 1 0 0 0\ncpu7 11 0 0 13 0 0 0\n");
    });
    EXPECT_FLOAT_EQ(UNIXCPUInfo(7).getCurrentUsage(), 25.0F);
}
