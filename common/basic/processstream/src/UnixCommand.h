#pragma once

#include "common/basic/export.h"
#include "common/basic/processstream/src/generic_pstream.h"
#include "common/basic/processstream/src/process_exception.h"

#include <string>
#include <sys/types.h>

namespace dovrel {

/**
 * Puts a terminal in raw mode, cfmakeraw(3): no translation and no echo. A read returns after at
 * most a tenth of a second with the available bytes.
 *
 * @return whether it succeeded; `errno` contains the reason if not.
 */
DOVREL_EXPORT bool makeTermRaw(int fd);

/** A `Pipe` over a descriptor, which it does not own. */
class DOVREL_EXPORT UnixPipe : public Pipe {
public:
    ~UnixPipe() override;

    /** Sets the descriptor that the next calls use. */
    void setDescriptor(int fd) { m_fd = fd; }

    /** Calls read(2). `EIO`, which a terminal reports after its other side is closed, is the end of
     * the data too. @throws ProcessException `REASON_PIPE` */
    int read(char* buf, unsigned len) override;

    /** Calls write(2). @throws ProcessException `REASON_PIPE`, also for a full pipe (`EAGAIN`) */
    int write(char const* buf, unsigned len) override;

private:
    int m_fd = -1;
};

/**
 * A shell command that runs as a child process, with `LANG=C`. Its standard input and output are a
 * private pseudo-terminal in raw mode, pty(7); its standard error is a pipe.
 *
 * The child gets the host's environment at the fork. Other threads may change the environment
 * meanwhile; the child may then lack the variable that is being changed.
 *
 * All descriptors are close-on-exec, so that other children of the host do not inherit them. They
 * are above 2, and no other file gets their numbers before `destroy`.
 *
 * Errors: `ProcessException`. Threads: one object belongs to one thread at a time. That thread must
 * not be cancelled, pthread_cancel(3), in the constructor or destructor.
 */
class DOVREL_EXPORT UnixCommand : public Command {
public:
    /**
     * Starts `/bin/sh -c` @p command. Returns when the child is about to execute the shell, after
     * at most about two seconds.
     *
     * @throws ProcessException if the start fails, with the reason, `errno` and line of the step
     * that failed in the parent or in the child. Before it throws, the constructor closes all
     * descriptors and waits up to a second for the child to end.
     *
     * If the child does not complete its set-up within a second, for example because it blocks in a
     * pthread_atfork(3) handler, the constructor throws with `REASON_FORK` and `ETIMEDOUT`. It
     * never signals that child. If the child is still running then, the host must reap it: when the
     * handler returns, the child finds its terminal closed and exits with status 1.
     */
    explicit UnixCommand(std::string const& command);
    UnixCommand(UnixCommand const&) = delete;
    UnixCommand& operator=(UnixCommand const&) = delete;

    /** Closes the terminal, waits up to about a second for the child to end, and reaps it. If the
     * child is still running then, it gets no signal; the host must end and reap it. */
    ~UnixCommand() override;

    int uncachedExitCode() override;
    Pipe& stdInOut() override { return m_stdInOutPipe; }
    Pipe& stdErr() override { return m_stdErrPipe; }

    /** Closes all descriptors. Does not signal the child. */
    void destroy();

    /** Closes @p fd unless it is -1, and sets it to -1. */
    static void checkClose(int& fd);

    /** In the child: sets up its descriptors and terminal, and executes the shell with `LANG=C`.
     * @return the status to exit with if that fails. */
    int weAreChild();

    /** In the child: calls `weAreChild`, then _exit(2), which neither runs the host's exit handlers
     * nor flushes its buffers. */
    [[noreturn]] static void runOurChild(UnixCommand* command);

    /** In the child: sends the failure to the parent. @return the status to exit with, 1. */
    int raiseChildException(ProcessException const& exception);

private:
    friend class ::Command;

    [[gnu::visibility("hidden")]] ChildStatus checkChild();
    void openTerminal();
    void waitForChildSetup();
    int sendToParent(char const* text, size_t length);
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
