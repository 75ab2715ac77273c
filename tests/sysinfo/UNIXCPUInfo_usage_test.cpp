#include "common/basic/noncopyable.h"
#include "sysinfo/UNIXSystemInformation.h"
#include "tests/support/CapturedTrace.h"
#include "tests/support/Machine.h"
#include "tests/support/SystemCalls.h"

#include <gtest/gtest.h>

#include <pthread.h>
#include <sys/time.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdint>
#include <limits>
#include <string>
#include <thread>
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

/** @return the usage of processor 0 while /proc/stat shows one sample a second; the last one stays.
 */
float usageOver(std::vector<Sample> const& samples)
{
    size_t shown = 0;
    show(samples[0]);
    calls.onSleep([&](int64_t) {
        if (shown + 1 < samples.size())
            show(samples[++shown]);
    });
    float const usage = UNIXCPUInfo(0).getCurrentUsage();
    calls.onSleep(nullptr);
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
    EXPECT_EQ(calls.sleeps(), std::vector<int64_t>{1'000'000});
}

TEST(CurrentUsage, samplesUntilTheBusyCounterMoves)
{
    EXPECT_FLOAT_EQ(usageOver({{100, 50}, {200, 50}, {300, 50}, {350, 100}, {999, 999}}),
        100.0F - 250.0F / 300.0F * 100.0F);
    EXPECT_EQ(calls.sleeps(), std::vector<int64_t>(3, 1'000'000));
}

TEST(CurrentUsage, takesTheFirstSampleBeforeItSleeps)
{
    show({100, 50});
    unsigned int traced = 0;
    CapturedTrace trace(3);
    calls.onSleep([&](int64_t) {
        traced = trace.contains(3, "Counted CPU as: 100/50") ? 1 : 0;
        show({175, 75});
    });
    EXPECT_FLOAT_EQ(UNIXCPUInfo(0).getCurrentUsage(), 25.0F);
    EXPECT_EQ(traced, 1U);
}

TEST(CurrentUsage, givesUpOnAnIdleProcessorAfter101SecondsKept)
{
    show({100, 50});
    uint64_t idle = 100;
    calls.onSleep([&](int64_t) { show({++idle, 50}); });
    EXPECT_EQ(UNIXCPUInfo(0).getCurrentUsage(), 0.0F);
    EXPECT_EQ(calls.sleeps(), std::vector<int64_t>(101, 1'000'000));
}

TEST(CurrentUsage, usesTheHundredAndFirstSample)
{
    std::vector<Sample> samples(101, Sample{100, 50});
    samples.push_back({100, 51});
    EXPECT_FLOAT_EQ(usageOver(samples), 100.0F);
    EXPECT_EQ(calls.sleeps().size(), 101U);
}

TEST(CurrentUsage, isNotANumberWhenNeitherCounterMovesKept)
{
    EXPECT_TRUE(std::isnan(usageOver({{100, 50}})));
    EXPECT_EQ(calls.sleeps().size(), 101U);
}

TEST(CurrentUsage, isNotANumberWhenTheProcessorIsNotListed)
{
    machine.file("/proc/stat", "cpu 1 1 1 1 1 1 1\n");
    EXPECT_TRUE(std::isnan(UNIXCPUInfo(0).getCurrentUsage()));
    EXPECT_EQ(calls.sleeps().size(), 101U);
}

TEST(CurrentUsage, isZeroAtOnceWhenTheFileIsMissingKept)
{
    CapturedTrace trace;
    EXPECT_EQ(UNIXCPUInfo(0).getCurrentUsage(), 0.0F);
    EXPECT_TRUE(calls.sleeps().empty());
    EXPECT_EQ(trace.text(1), "Failed to read: /proc/stat\n");
    EXPECT_EQ(trace.lines().size(), 1U);
}

TEST(CurrentUsage, isZeroWhenTheFileVanishesBetweenSamples)
{
    show({100, 50});
    calls.onSleep([&](int64_t) {
        if (calls.sleeps().size() == 2)
            machine.remove("/proc/stat");
    });
    CapturedTrace trace;
    EXPECT_EQ(UNIXCPUInfo(0).getCurrentUsage(), 0.0F);
    EXPECT_EQ(calls.sleeps().size(), 2U);
    EXPECT_EQ(trace.text(1), "Failed to read: /proc/stat\n");
    EXPECT_FALSE(trace.contains(3, "Calculating"));
}

TEST(CurrentUsage, isCorrectWhenACounterWrapsAtTwoToThe32)
{
    EXPECT_FLOAT_EQ(usageOver({{4294967290, 50}, {4294967365, 75}}), 25.0F);
    EXPECT_FLOAT_EQ(usageOver({{100, 4294967290}, {175, 4294967315}}), 25.0F);
    EXPECT_FLOAT_EQ(usageOver({{4294967295, 4294967295}, {4294967298, 4294967296}}), 25.0F);
}

TEST(CurrentUsage, isSlightlyNegativeWhenIowaitGoesBackKept)
{
    // iowait goes from 50 to 48: 100 - 100 / (100 - 2) * 100.
    EXPECT_NEAR(usageOver({{0, 50}, {100, 48}}), -2.0408163, 1e-6);
    EXPECT_NEAR(usageOver({{50, 100}, {150, 90}}), -11.111111, 1e-5);
}

TEST(CurrentUsage, isFarBelowZeroWhenTheIdleCounterGoesBackKept)
{
    // In 32 bits, -10 is 2^32 - 10.
    EXPECT_FLOAT_EQ(
        usageOver({{50, 100}, {40, 200}}), static_cast<float>(100.0 - 4294967286.0 / 90.0 * 100.0));
}

TEST(CurrentUsage, isMinusInfinityWhenTheDifferencesCancelOutKept)
{
    EXPECT_EQ(usageOver({{50, 100}, {60, 90}}), -std::numeric_limits<float>::infinity());
}

TEST(CurrentUsage, isTheUsageSinceBootWhenTheProcessorComesOnline)
{
    machine.file("/proc/stat", "cpu 1 1 1 1 1 1 1\n");
    calls.onSleep([](int64_t) { show({100, 50}); });
    EXPECT_FLOAT_EQ(UNIXCPUInfo(0).getCurrentUsage(), 100.0F / 3);
}

TEST(CurrentUsage, isJustBelowZeroWhenTheProcessorGoesOfflineKept)
{
    show({100, 50});
    calls.onSleep([](int64_t) { machine.file("/proc/stat", "cpu 1 1 1 1 1 1 1\n"); });
    // Both counters go back to 0: 100 - (2^32 - 100) / (2^32 - 150) * 100.
    EXPECT_NEAR(UNIXCPUInfo(0).getCurrentUsage(), -1.164153e-6, 1e-10);
    EXPECT_EQ(calls.sleeps().size(), 1U) << "the query waited for the processor";
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

TEST(CurrentUsage, readsItsOwnProcessorsLine)
{
    machine.file("/proc/stat", "cpu0 1 0 0 1 0 0 0\ncpu7 10 0 0 10 0 0 0\n");
    calls.onSleep(
        [](int64_t) { machine.file("/proc/stat", "cpu0 99 0 0 1 0 0 0\ncpu7 11 0 0 13 0 0 0\n"); });
    EXPECT_FLOAT_EQ(UNIXCPUInfo(7).getCurrentUsage(), 25.0F);
}

namespace {

std::atomic<unsigned> alarms{0};

/** Sends SIGALRM to the program every 10 ms during its lifetime, as a host's timer does. */
class IntervalTimer : dovrel::noncopyable_::noncopyable {
public:
    IntervalTimer()
    {
        alarms = 0;
        struct sigaction action { };
        action.sa_handler = [](int) { ++alarms; };
        ::sigaction(SIGALRM, &action, &m_former);
        setInterval(10'000);
    }
    ~IntervalTimer()
    {
        setInterval(0);
        ::sigaction(SIGALRM, &m_former, nullptr);
    }

private:
    static void setInterval(suseconds_t microseconds)
    {
        itimerval const timer{{0, microseconds}, {0, microseconds}};
        ::setitimer(ITIMER_REAL, &timer, nullptr);
    }

    struct sigaction m_former { };
};

/** Blocks SIGALRM in threads that start during its lifetime. */
class AlarmBlock : dovrel::noncopyable_::noncopyable {
public:
    AlarmBlock()
    {
        sigset_t alarm;
        sigemptyset(&alarm);
        sigaddset(&alarm, SIGALRM);
        ::pthread_sigmask(SIG_BLOCK, &alarm, &m_former);
    }
    ~AlarmBlock() { ::pthread_sigmask(SIG_SETMASK, &m_former, nullptr); }

private:
    sigset_t m_former;
};

}

TEST(CurrentUsage, coversAWholeSecondWhenATimerInterruptsTheSleep)
{
    using namespace std::chrono_literals;
    calls.sleepForReal();
    show({100, 50});
    auto const begin = std::chrono::steady_clock::now();
    std::thread kernel;
    {
        AlarmBlock const block;
        kernel = std::thread([&] {
            std::this_thread::sleep_until(begin + 300ms);
            show({100, 51}); // A sample now gives 100 %.
            std::this_thread::sleep_until(begin + 600ms);
            show({175, 75});
        });
    }
    float usage = 0;
    {
        IntervalTimer const timer;
        usage = UNIXCPUInfo(0).getCurrentUsage();
    }
    auto const duration = std::chrono::steady_clock::now() - begin;
    kernel.join();
    EXPECT_FLOAT_EQ(usage, 25.0F);
    EXPECT_GE(duration, 1s);
    EXPECT_GE(alarms, 10U) << "too few reads were interrupted";
}
