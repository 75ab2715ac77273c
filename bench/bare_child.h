#pragma once

#include <sys/types.h>

#include <cstddef>
#include <string>

namespace bench {

/**
 * A shell command on a raw pseudo-terminal with its standard error on a pipe, started and read with
 * bare system calls.
 *
 * Makes the same system calls in the same order as the library, the status socket included. Does
 * not avoid descriptors below 3 and does not clean up when a step fails. @throws std::system_error
 */
class BareChild {
public:
    explicit BareChild(char const* command);
    BareChild(BareChild const&) = delete;
    BareChild& operator=(BareChild const&) = delete;

    /** Waits for the child unless `waitForEnd` did. */
    ~BareChild();

    /** The terminal. Reads do not block until `makeReadsBlock` is called. */
    int terminal() const { return m_master; }

    void makeReadsBlock();

    /** Calls waitpid(2) once, without blocking. @return whether the child has exited. */
    bool hasEnded();

    /** Calls `hasEnded` every millisecond until it returns true. */
    void pollForEnd();

    /** Blocks in waitpid(2). */
    void waitForEnd();

private:
    [[noreturn]] void becomeShell(char const* command);

    int m_status[2] = {-1, -1};
    int m_master = -1;
    int m_slave = -1;
    int m_errors[2] = {-1, -1};
    pid_t m_pid = -1;
    bool m_ended = false;
};

}
