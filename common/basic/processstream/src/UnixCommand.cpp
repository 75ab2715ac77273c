#include "common/basic/processstream/src/UnixCommand.h"

#include "common/basic/processstream/src/child_environment.h"
#include "common/basic/processstream/src/exit_look.h"
#include "common/basic/processstream/src/failure_text.h"
#include "common/basic/retry.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

template class pstream_wrapper<dovrel::UnixCommand, void>;

namespace dovrel {

namespace {

constexpr pid_t NOT_STARTED = -1;
// What stands in the place of a child's number once it is reaped: the number may be another's then.
constexpr pid_t EXITED = 0;
constexpr pid_t ENDED_BY_SIGNAL = -2;

/** Moves a new descriptor away from the standard three, which a host may have closed: the child is
 * given its own there. */
bool keepOffStandard(int& fd)
{
    if (fd > STDERR_FILENO)
        return true;
    int const moved = ::fcntl(fd, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    if (moved < 0)
        return false;
    ::close(fd);
    fd = moved;
    return true;
}

void makeNonBlocking(int fd)
{
    ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) | O_NONBLOCK);
}

/** Closes a descriptor, but lets its number go on standing for a copy of @p placeholder, so that no
 * file that another thread opens gets the number. */
void closeKeepingNumber(int fd, int placeholder)
{
    while (::dup3(placeholder, fd, O_CLOEXEC) == -1 && (errno == EINTR || errno == EBUSY)) { }
}

/** close(2) on Linux has closed the descriptor where a signal interrupts it. */
bool closed(int fd)
{
    return ::close(fd) == 0 || errno == EINTR;
}

}

bool makeTermRaw(int fd)
{
    termios mode;
    if (::tcgetattr(fd, &mode) != 0)
        return false;
    ::cfmakeraw(&mode);
    mode.c_lflag &= static_cast<tcflag_t>(~(ICANON | ECHO | ECHOE | ECHOK | ECHONL));
    mode.c_cc[VMIN] = 0;
    mode.c_cc[VTIME] = 1;
    return ::tcsetattr(fd, TCSANOW, &mode) == 0;
}

UnixPipe::~UnixPipe() = default;

int UnixPipe::read(char* buf, unsigned len)
{
    errno = 0;
    auto const count = retryInterrupted([&] { return ::read(m_fd, buf, len); });
    if (count > 0)
        return static_cast<int>(count);
    if (count == 0 || errno == EIO)
        return -1;
    if (errno == EAGAIN)
        return 0;
    throw ProcessException(REASON_PIPE, __LINE__);
}

int UnixPipe::write(char const* buf, unsigned len)
{
    auto const count = retryInterrupted([&] { return ::write(m_fd, buf, len); });
    if (count == -1)
        throw ProcessException(REASON_PIPE, __LINE__);
    return static_cast<int>(count);
}

UnixCommand::UnixCommand(std::string const& command) : m_command(command)
{
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, m_statusFds) != 0)
        throw ProcessException(REASON_PIPE, __LINE__);
    if (!keepOffStandard(m_statusFds[0]) || !keepOffStandard(m_statusFds[1]))
        abandon(REASON_PIPE, __LINE__);
    openTerminal();
    if (::pipe2(m_errFds, O_CLOEXEC) != 0 || !keepOffStandard(m_errFds[0])
        || !keepOffStandard(m_errFds[1]))
        abandon(REASON_PIPE, __LINE__);

    pid_t const pid = ::fork();
    if (pid == -1)
        abandon(REASON_FORK, __LINE__);
    if (pid == 0)
        runOurChild(this);
    m_pid = pid;

    closeKeepingNumber(m_slaveFd, m_statusFds[0]);
    closeKeepingNumber(m_errFds[1], m_statusFds[0]);
    makeNonBlocking(m_errFds[0]);
    makeNonBlocking(m_masterFd);
    m_stdInOutPipe.setDescriptor(m_masterFd);
    m_stdErrPipe.setDescriptor(m_errFds[0]);
    awaitChildsWord();
}

UnixCommand::~UnixCommand()
{
    destroy();
    reap();
}

void UnixCommand::openTerminal()
{
    m_masterFd = ::posix_openpt(O_RDWR | O_CLOEXEC);
    if (m_masterFd == -1 || !keepOffStandard(m_masterFd))
        abandon(REASON_PSEUDO_TERMINAL, __LINE__);
    if (::grantpt(m_masterFd) != 0)
        abandon(REASON_PSEUDO_TERMINAL, __LINE__);
    if (::unlockpt(m_masterFd) != 0)
        abandon(REASON_PSEUDO_TERMINAL, __LINE__);
    char name[64];
    if (int const failure = ::ptsname_r(m_masterFd, name, sizeof name); failure != 0) {
        errno = failure;
        abandon(REASON_PSEUDO_TERMINAL, __LINE__);
    }
    m_slaveFd = retryInterrupted([&] { return ::open(name, O_RDWR | O_NOCTTY | O_CLOEXEC); });
    if (m_slaveFd == -1 || !keepOffStandard(m_slaveFd))
        abandon(REASON_PSEUDO_TERMINAL, __LINE__);
}

// The child shuts the socket down when it is set up, or sends why it is not.
void UnixCommand::awaitChildsWord()
{
    using Clock = std::chrono::steady_clock;
    auto const deadline = Clock::now() + std::chrono::seconds(1);
    pollfd word{m_statusFds[0], POLLIN, 0};
    int const ready = retryInterrupted([&] {
        auto const left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
        return ::poll(&word, 1, static_cast<int>(std::max<long long>(left.count(), 0)));
    });
    if (ready == -1)
        abandon(REASON_PIPE, __LINE__);
    if (ready == 0) {
        // The child is not signalled: its number may be another process's by now, where the
        // host reaps all children, and a child in uninterruptible sleep takes no signal.
        errno = ETIMEDOUT;
        abandon(REASON_FORK, __LINE__);
    }
    char text[ProcessException::SERIALIZED_SIZE];
    auto const count = retryInterrupted([&] { return ::read(m_statusFds[0], text, sizeof text); });
    if (count == -1)
        abandon(REASON_PIPE, __LINE__);
    if (count > 0) {
        destroy();
        reap();
        throw ProcessException::deserialize(std::string(text, static_cast<size_t>(count)));
    }
}

// Allocates nothing: another thread may have held the heap's lock at the fork.
int UnixCommand::weAreChild()
{
    if (!closed(m_masterFd))
        return failInChild(REASON_PIPE, __LINE__);
    if (!closed(m_errFds[0]))
        return failInChild(REASON_PIPE, __LINE__);
    if (::isatty(m_slaveFd) != 1)
        return failInChild(REASON_PSEUDO_TERMINAL, __LINE__);
    if (!makeTermRaw(m_slaveFd))
        return failInChild(REASON_PSEUDO_TERMINAL, __LINE__);
    // A host may have closed them long ago.
    if (!closed(STDIN_FILENO) && errno != EBADF)
        return failInChild(REASON_PIPE, __LINE__);
    if (!closed(STDOUT_FILENO) && errno != EBADF)
        return failInChild(REASON_PIPE, __LINE__);
    if (!closed(STDERR_FILENO) && errno != EBADF)
        return failInChild(REASON_PIPE, __LINE__);
    if (retryInterrupted([&] { return ::dup2(m_slaveFd, STDIN_FILENO); }) == -1)
        return failInChild(REASON_PIPE, __LINE__);
    if (retryInterrupted([&] { return ::dup2(m_slaveFd, STDOUT_FILENO); }) == -1)
        return failInChild(REASON_PIPE, __LINE__);
    if (retryInterrupted([&] { return ::dup2(m_errFds[1], STDERR_FILENO); }) == -1)
        return failInChild(REASON_PIPE, __LINE__);
    ChildEnvironment const environment;
    if (!environment.entries())
        return failInChild(REASON_FORK, __LINE__);
    // Kept: the child's end stays open in the program that runs.
    ::fcntl(m_statusFds[1], F_SETFD, 0);
    ::shutdown(m_statusFds[1], SHUT_RDWR);
    return ::execle("/bin/sh", "sh", "-c", m_command.c_str(), static_cast<char*>(nullptr),
        environment.entries());
}

void UnixCommand::runOurChild(UnixCommand* command)
{
    ::_exit(command->weAreChild());
}

int UnixCommand::raiseChildException(ProcessException const& exception)
{
    std::string const text = exception.serialize();
    return tellParent(text.data(), text.size());
}

int UnixCommand::failInChild(reason_type reason, unsigned line)
{
    FailureText const failure(reason, line, errno);
    return tellParent(failure.text(), failure.length());
}

int UnixCommand::tellParent(char const* text, size_t length)
{
    // Whether it arrives or not, this child is to end.
    [[maybe_unused]] auto const sent =
        retryInterrupted([&] { return ::write(m_statusFds[1], text, length); });
    return 1;
}

int UnixCommand::uncachedExitCode()
{
    return lookAtChild().status();
}

// Throws nothing; is a cancellation point all the same.
ExitLook UnixCommand::lookAtChild()
{
    if (m_pid == ENDED_BY_SIGNAL)
        return {ExitLook::RUNNING, errno, __LINE__};
    if (m_pid == EXITED)
        return {ExitLook::LOST, ECHILD, __LINE__};
    int status = 0;
    pid_t const pid = retryInterrupted([&] { return ::waitpid(m_pid, &status, WNOHANG); });
    if (pid == 0)
        return {ExitLook::RUNNING, errno, __LINE__};
    if (pid == -1) {
        if (errno == ECHILD) // A host that ignores SIGCHLD, or waits for all children.
            m_pid = EXITED;
        return {ExitLook::LOST, errno, __LINE__};
    }
    if (WIFEXITED(status)) {
        m_pid = EXITED;
        return {ExitLook::EXITED, WEXITSTATUS(status), __LINE__};
    }
    // Kept: such a child counts as not exited, and those who wait for it use up their time.
    m_pid = ENDED_BY_SIGNAL;
    return {ExitLook::RUNNING, errno, __LINE__};
}

void UnixCommand::destroy()
{
    checkClose(m_masterFd);
    checkClose(m_slaveFd);
    checkClose(m_errFds[0]);
    checkClose(m_errFds[1]);
    checkClose(m_statusFds[0]);
    checkClose(m_statusFds[1]);
    // The numbers may be somebody else's files from now on.
    m_stdInOutPipe.setDescriptor(-1);
    m_stdErrPipe.setDescriptor(-1);
}

void UnixCommand::checkClose(int& fd)
{
    if (fd != -1)
        ::close(fd);
    fd = -1;
}

// The failure is that of the step which failed, whatever cleaning up does to errno.
void UnixCommand::abandon(reason_type reason, unsigned line)
{
    int const code = errno;
    destroy();
    reap();
    errno = code;
    throw ProcessException(reason, line);
}

void UnixCommand::reap()
{
    if (m_pid == NOT_STARTED)
        return;
    pollExit(1000, 10); // A child that is not found to have ended runs on without a terminal.
}

}
