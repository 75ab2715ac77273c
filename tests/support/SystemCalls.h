#pragma once

#include <cstdint>
#include <ctime>
#include <functional>
#include <mutex>
#include <vector>

namespace testkit {

/**
 * Answers the C library's calls that files cannot stand in for.
 *
 * The test program defines functions of the same name. The dynamic linker gives those of the
 * program precedence over the C library's, for the library under test too, be it linked or loaded
 * at run time; so the library file that is shipped is the one that is tested. `reset` runs before
 * each test.
 *
 * Threads: calls may come from several at once; a handler is called without a lock.
 */
class SystemCalls {
public:
    /**
     * Called with the microseconds of each sleep, which then ends at once.
     *
     * Answered are the sleeps of `clock_nanosleep` that last up to a moment of CLOCK_MONOTONIC.
     * Their microseconds count from the moment that the thread last read from that clock. All other
     * sleeps, among them those of the library's waits for a child, are the C library's.
     */
    void onSleep(std::function<void(int64_t)> handler);

    /** Lets sleeps last as long as they are meant to, until the test ends. */
    void sleepForReal();

    /** @return the microseconds of every answered sleep since the test began, in order. */
    std::vector<int64_t> sleeps() const;

    /** Called for the seconds of each `time`; without it `time` tells the real ones. */
    void onTime(std::function<time_t()> handler);

    void reset();

    /** What the function `clock_nanosleep` does with a sleep up to a moment of CLOCK_MONOTONIC.
     * @return false where the sleep is to be the C library's. */
    bool answerSleep(timespec const& end);

    /** What the function `clock_gettime` does with a moment of CLOCK_MONOTONIC. */
    static void noteMoment(timespec const& now);

    /** What the function `time` does. */
    time_t answerTime();

private:
    mutable std::mutex m_mutex;
    std::function<void(int64_t)> m_onSleep;
    std::vector<int64_t> m_sleeps;
    bool m_sleepsAreReal = false;
    std::function<time_t()> m_onTime;
};

/** The one set of answers of the test program. */
extern SystemCalls calls;

}
