#include "common/platform/Thread.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <sys/time.h>

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

volatile std::sig_atomic_t alarms = 0;

void countAlarm(int)
{
    alarms = alarms + 1;
}

/** Interrupts system calls at short intervals while it exists. */
class IntervalTimer {
public:
    explicit IntervalTimer(suseconds_t microseconds = 2000)
    {
        alarms = 0;
        struct sigaction action { };
        action.sa_handler = countAlarm;
        action.sa_flags = 0; // Without SA_RESTART, calls fail with EINTR.
        sigaction(SIGALRM, &action, &m_former);
        itimerval const interval{{0, microseconds}, {0, microseconds}};
        setitimer(ITIMER_REAL, &interval, nullptr);
    }
    IntervalTimer(IntervalTimer const&) = delete;
    IntervalTimer& operator=(IntervalTimer const&) = delete;
    ~IntervalTimer()
    {
        itimerval const off{};
        setitimer(ITIMER_REAL, &off, nullptr);
        sigaction(SIGALRM, &m_former, nullptr);
    }

private:
    struct sigaction m_former { };
};

milliseconds timeOfSleep(unsigned length)
{
    auto const start = steady_clock::now();
    dovrel::Thread::Sleep(length);
    return std::chrono::floor<milliseconds>(steady_clock::now() - start);
}

TEST(Thread, sleepsAtLeastTheGivenTime)
{
    for (unsigned length : {0U, 1U, 20U, 100U, 1050U}) {
        milliseconds const time = timeOfSleep(length);
        EXPECT_GE(time, milliseconds(length));
        EXPECT_LT(time, milliseconds(length + 10000));
    }
}

TEST(Thread, continuesToSleepAfterSignals)
{
    IntervalTimer const timer;
    EXPECT_GE(timeOfSleep(200), milliseconds(200));
    EXPECT_GE(alarms, 1) << "the timer did not interrupt the sleep";
}

TEST(Thread, doesNotOversleepWhenSignalsAreFrequent)
{
    IntervalTimer const timer(60);
    milliseconds const time = timeOfSleep(500);
    EXPECT_GE(time, milliseconds(500));
    EXPECT_LT(time, milliseconds(2500));
}

}
