#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <sys/types.h>

namespace app {

/**
 * Runs a function in a child process, for work that may never end.
 *
 * The child and the tools that it runs form a process group, which is killed when the limit has
 * passed, when the object is destroyed, and when the program ends. fork(2), setpgid(2), prctl(2).
 */
class TimedChild {
public:
    enum End {
        ENDED, ///< The function returned.
        NOT_ENDED, ///< It had not returned in time; nothing of it runs any more.
        CRASHED, ///< The child ended without a result.
        NOT_STARTED ///< The kernel gave no process or pipe.
    };

    struct Result {
        End end;
        std::string bytes; ///< The function's result; empty unless it ended.
        int error = 0; ///< The errno of a child that was not started.
    };

    /**
     * Starts the child.
     *
     * @param work returns the bytes to hand over. An exception that leaves it is a crash.
     * @param silent connects the child's standard error with /dev/null, for tools whose messages
     * are not the program's.
     */
    TimedChild(std::function<std::string()> const& work, bool silent);
    TimedChild(TimedChild const&) = delete;
    TimedChild& operator=(TimedChild const&) = delete;
    ~TimedChild();

    /** Waits for the child, @p deadline at the latest. Call once. */
    Result wait(std::chrono::steady_clock::time_point deadline);

private:
    [[noreturn]] void runChild(std::function<std::string()> const& work, bool silent) const;
    void stop();

    int m_error = 0;
    int m_ends[2] = {-1, -1}; // Of the pipe: the reader's, and the child's.
    pid_t m_parent;
    pid_t m_child = -1;
};

}
