#pragma once

#include <atomic>
#include <cstdint>
#include <ctime>
#include <functional>
#include <mutex>
#include <vector>

namespace testkit {

/** @return whether this process has children of which none has ended. */
bool isChildRunning();

/**
 * Replaces the C library's functions for sleeps and time.
 *
 * The test program defines functions of the same names. The dynamic linker prefers the program's
 * definitions to the C library's, also for calls from the library under test. So the tests run the
 * library file that is shipped. `reset` runs before each test.
 *
 * Threads: the functions may run concurrently; they call the handlers without a lock.
 */
class SystemCalls {
public:
    /**
     * Sets a function that is called with the microseconds of each sleep, which then ends at once.
     *
     * This concerns calls of `clock_nanosleep` with CLOCK_MONOTONIC and TIMER_ABSTIME. Their
     * microseconds count from the thread's last reading of that clock. All other sleeps, such as
     * the library's waits for a child, are the C library's.
     */
    void onSleep(std::function<void(int64_t)> handler);

    /** Passes all sleeps to the C library until the test ends. */
    void sleepForReal();

    /** Makes the library's waits for a tool last twenty times as long, but not beyond its end
     * or its output, until the test ends: for tests of tools that a busy machine may keep. */
    void waitForTools();
    bool waitsForTools() const { return m_waitsForTools; }

    /** @return the microseconds of each sleep that ended at once since the test began, in order. */
    std::vector<int64_t> sleeps() const;

    /** Sets a function for the result of `time`; without one `time` returns the real time. */
    void onTime(std::function<time_t()> handler);

    void reset();

    /** For `clock_nanosleep`: ends a sleep up to @p end at once.
     * @return false if the C library is to sleep. */
    bool endSleep(timespec const& end);

    /** For `clock_gettime`: records the thread's last reading of CLOCK_MONOTONIC. */
    static void recordReading(timespec const& now);

    /** For `time`. */
    time_t currentTime();

private:
    mutable std::mutex m_mutex;
    std::function<void(int64_t)> m_onSleep;
    std::vector<int64_t> m_sleeps;
    bool m_sleepsAreReal = false;
    std::atomic<bool> m_waitsForTools = false;
    std::function<time_t()> m_onTime;
};

extern SystemCalls calls;

}
