#pragma once

#include "common/basic/export.h"
#include "common/basic/processstream/src/generic_pstream.h"
#include "common/basic/processstream/src/process_exception.h"

#include <string>
#include <sys/types.h>

namespace dovrel {

/**
 * Puts a terminal in raw mode, cfmakeraw(3): bytes pass as they are, without echo, and a read
 * returns what is there after at most a tenth of a second.
 *
 * @return whether it succeeded; `errno` tells why not.
 */
DOVREL_EXPORT bool makeTermRaw(int fd);

/** A descriptor as a pipe; does not own it. */
class DOVREL_EXPORT UnixPipe : public Pipe {
public:
    ~UnixPipe() override;

    void setDescriptor(int fd) { m_fd = fd; }

    /** read(2). The end of the data is also where a terminal's other side has gone (`EIO`). @throws
     * ProcessException `REASON_PIPE` */
    int read(char* buf, unsigned len) override;

    /** write(2). @throws ProcessException `REASON_PIPE`, also where there is no room */
    int write(char const* buf, unsigned len) override;

private:
    int m_fd = -1;
};

/**
 * A shell command that runs under a raw pseudo-terminal of its own, with its error output on a pipe
 * and with `LANG=C`; pty(7).
 *
 * Runs from the end of its constructor. The child's environment is the host's at the fork. Other
 * threads may change theirs meanwhile; a variable that is being changed may be missing in the
 * child.
 *
 * All descriptors are close-on-exec, so that other children of the host do not inherit them. None
 * has a number below 3, and their numbers stay taken until `destroy`.
 *
 * Errors: `ProcessException`. Threads: one object belongs to one thread at a time, and to none that
 * is cancelled, pthread_cancel(3), while it starts or ends.
 */
class DOVREL_EXPORT UnixCommand : public Command {
public:
    /**
     * Starts `/bin/sh -c` @p command and returns once the child is about to become the shell. Takes
     * at most about two seconds.
     *
     * @throws ProcessException if the start fails: reason, `errno` and line of the step that
     * failed, in the child too. All descriptors are closed by then. The child has up to a second to
     * end.
     *
     * A child that is not set up within a second, for example one that blocks in a
     * pthread_atfork(3) handler, is a failure with `REASON_FORK` and `ETIMEDOUT`. Such a child is
     * never signalled. If it still runs when the exception leaves, the host has to end it:
     * once its handler returns, it finds its terminal closed and exits with status 1, and the host
     * reaps it.
     */
    explicit UnixCommand(std::string const& command);
    UnixCommand(UnixCommand const&) = delete;
    UnixCommand& operator=(UnixCommand const&) = delete;

    /** Closes the terminal, waits up to about a second for the child to end, and reaps it. A child
     * that runs on is not signalled; the host has to end and reap it. */
    ~UnixCommand() override;

    int uncachedExitCode() override;
    Pipe& stdInOut() override { return m_stdInOutPipe; }
    Pipe& stdErr() override { return m_stdErrPipe; }

    /** Closes all descriptors. Does not signal the child. */
    void destroy();

    /** Closes @p fd unless it is -1, and makes it -1. */
    static void checkClose(int& fd);

    /** In the child: sets it up, with `LANG=C` in the environment that the shell gets, and becomes
     * the shell. @return the status to exit with if that fails. */
    int weAreChild();

    /** In the child: `weAreChild`, then _exit(2), which leaves the host's exit handlers and buffers
     * alone. */
    [[noreturn]] static void runOurChild(UnixCommand* command);

    /** In the child: sends the failure to the parent. @return the status to exit with, 1. */
    int raiseChildException(ProcessException const& exception);

private:
    friend class ::Command;

    [[gnu::visibility("hidden")]] ExitLook lookAtChild();
    void openTerminal();
    void awaitChildsWord();
    int tellParent(char const* text, size_t length);
    int failInChild(reason_type reason, unsigned line);
    [[noreturn]] void abandon(reason_type reason, unsigned line);
    void reap();

    int m_slaveFd = -1;
    int m_masterFd = -1;
    int m_errFds[2] = {-1, -1};
    std::string m_command;
    pid_t m_pid = -1;
    UnixPipe m_stdInOutPipe;
    UnixPipe m_stdErrPipe;
    int m_statusFds[2] = {-1, -1};
};

}

extern template class DOVREL_EXPORT pstream_wrapper<dovrel::UnixCommand, void>;
