#pragma once

#include <sys/types.h>

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
    /** Called with the microseconds of each `usleep`, which then returns 0 at once. */
    void onUsleep(std::function<void(useconds_t)> handler);

    /** @return the microseconds of every `usleep` since the test began, in order. */
    std::vector<useconds_t> usleeps() const;

    /** Called for the seconds of each `time`; without it `time` tells the real ones. */
    void onTime(std::function<time_t()> handler);

    void reset();

    /** What the function `usleep` does. */
    void answerUsleep(useconds_t microseconds);

    /** What the function `time` does. */
    time_t answerTime();

private:
    mutable std::mutex m_mutex;
    std::function<void(useconds_t)> m_onUsleep;
    std::vector<useconds_t> m_usleeps;
    std::function<time_t()> m_onTime;
};

/** The one set of answers of the test program. */
extern SystemCalls calls;

}
