#pragma once

#include <sys/types.h>

#include <cstddef>
#include <string>

namespace bench {

/**
 * A shell command on a raw pseudo-terminal with its errors on a pipe, started and read with bare
 * system calls: what a host would write for itself.
 *
 * Takes the same steps in the same order as the library does, the word of the child that it is set
 * up included, and none of its care: no number below 3 is avoided, nothing is undone where a step
 * fails. @throws std::system_error
 */
class BareChild {
public:
    explicit BareChild(char const* command);
    BareChild(BareChild const&) = delete;
    BareChild& operator=(BareChild const&) = delete;

    /** Waits for the child where `waitForEnd` has not. */
    ~BareChild();

    /** The terminal, which does not block before `letReadsWait`. */
    int terminal() const { return m_master; }

    /** From now on whoever reads the terminal waits in the kernel. */
    void letReadsWait();

    /** @return whether the child has exited; looks once. */
    bool hasEnded();

    /** Looks every millisecond. */
    void waitByLooking();

    /** Waits in the kernel. */
    void waitForEnd();

private:
    [[noreturn]] void becomeShell(char const* command);

    int m_word[2] = {-1, -1};
    int m_master = -1;
    int m_slave = -1;
    int m_errors[2] = {-1, -1};
    pid_t m_pid = -1;
    bool m_ended = false;
};

}
