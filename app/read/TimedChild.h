#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

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
        NOT_ENDED, ///< It had not returned in time, and was killed.
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

    /**
     * Waits for the child, @p deadline at the latest. Call once.
     *
     * Reads the results of all other children meanwhile, so that none of them has to wait for room
     * in its pipe.
     */
    Result wait(std::chrono::steady_clock::time_point deadline);

private:
    /** Children whose results are not complete yet. */
    static std::vector<TimedChild*>& writers();

    [[noreturn]] void runChild(std::function<std::string()> const& work, bool silent) const;

    /** Waits for a result, and reads of each child what has arrived. @return false when the
     * deadline has passed and nothing of this child has arrived. */
    bool readAny(std::chrono::steady_clock::time_point deadline);
    void readPiece();
    void closeReader();
    void killGroup();

    int m_error = 0;
    int m_ends[2] = {-1, -1}; // Of the pipe: the reader's, and the child's.
    std::string m_bytes;
    pid_t m_parent;
    pid_t m_child = -1;
    std::optional<std::chrono::steady_clock::time_point> m_killed;
};

}
