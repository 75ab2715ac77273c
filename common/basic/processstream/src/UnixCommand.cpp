#include "common/basic/processstream/src/UnixCommand.h"

#include "common/basic/processstream/src/child_environment.h"
#include "common/basic/processstream/src/child_status.h"
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
// Replace the process id after the child is reaped: the kernel may reuse the id.
constexpr pid_t EXITED = 0;
constexpr pid_t ENDED_BY_SIGNAL = -2;

/** Moves a new descriptor above 2. A host may have closed descriptors 0 to 2, and the child needs
 * them for its own standard streams. */
bool moveAboveStandard(int& fd)
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

/** Closes @p fd and makes it a copy of @p placeholder, so that no other thread gets its number for
 * a new file. */
void closeKeepingNumber(int fd, int placeholder)
{
    while (::dup3(placeholder, fd, O_CLOEXEC) == -1 && (errno == EINTR || errno == EBUSY)) { }
}

/** @return whether the descriptor is closed. On Linux, close(2) closes it even if a signal
 * interrupts the call. */
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
    if (!moveAboveStandard(m_statusFds[0]) || !moveAboveStandard(m_statusFds[1]))
        abandon(REASON_PIPE, __LINE__);
    openTerminal();
    if (::pipe2(m_errFds, O_CLOEXEC) != 0 || !moveAboveStandard(m_errFds[0])
        || !moveAboveStandard(m_errFds[1]))
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
    waitForChildSetup();
}

UnixCommand::~UnixCommand()
{
    destroy();
    reap();
}

void UnixCommand::openTerminal()
{
    m_masterFd = ::posix_openpt(O_RDWR | O_CLOEXEC);
    if (m_masterFd == -1 || !moveAboveStandard(m_masterFd))
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
    if (m_slaveFd == -1 || !moveAboveStandard(m_slaveFd))
        abandon(REASON_PSEUDO_TERMINAL, __LINE__);
}

// The child shuts the socket down after its set-up, or sends a failure.
void UnixCommand::waitForChildSetup()
{
    using Clock = std::chrono::steady_clock;
    auto const deadline = Clock::now() + std::chrono::seconds(1);
    pollfd socket{m_statusFds[0], POLLIN, 0};
    int const ready = retryInterrupted([&] {
        auto const left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
        return ::poll(&socket, 1, static_cast<int>(std::max<long long>(left.count(), 0)));
    });
    if (ready == -1)
        abandon(REASON_PIPE, __LINE__);
    if (ready == 0) {
        // The child gets no signal: if the host reaps all children, another process may have its
        // id by now, and a child in uninterruptible sleep would not receive the signal.
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

// Allocates nothing: another thread may have held the lock of the heap at the fork.
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
    // The host may have closed its standard descriptors.
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
    // Kept: the child's end of the socket pair stays open across the exec.
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
    return sendToParent(text.data(), text.size());
}

int UnixCommand::failInChild(reason_type reason, unsigned line)
{
    FailureText const failure(reason, line, errno);
    return sendToParent(failure.text(), failure.length());
}

int UnixCommand::sendToParent(char const* text, size_t length)
{
    // The child exits even if the write fails.
    [[maybe_unused]] auto const sent =
        retryInterrupted([&] { return ::write(m_statusFds[1], text, length); });
    return 1;
}

int UnixCommand::uncachedExitCode()
{
    return checkChild().exitStatus();
}

// Throws nothing, but waitpid is a cancellation point.
ChildStatus UnixCommand::checkChild()
{
    if (m_pid == ENDED_BY_SIGNAL)
        return {ChildStatus::RUNNING, errno, __LINE__};
    if (m_pid == EXITED)
        return {ChildStatus::LOST, ECHILD, __LINE__};
    int status = 0;
    pid_t const pid = retryInterrupted([&] { return ::waitpid(m_pid, &status, WNOHANG); });
    if (pid == 0)
        return {ChildStatus::RUNNING, errno, __LINE__};
    if (pid == -1) {
        if (errno == ECHILD) // The host ignores SIGCHLD or reaps all children.
            m_pid = EXITED;
        return {ChildStatus::LOST, errno, __LINE__};
    }
    if (WIFEXITED(status)) {
        m_pid = EXITED;
        return {ChildStatus::EXITED, WEXITSTATUS(status), __LINE__};
    }
    // Kept: a child that a signal ended counts as not exited, and callers wait for their time-out.
    m_pid = ENDED_BY_SIGNAL;
    return {ChildStatus::RUNNING, errno, __LINE__};
}

void UnixCommand::destroy()
{
    checkClose(m_masterFd);
    checkClose(m_slaveFd);
    checkClose(m_errFds[0]);
    checkClose(m_errFds[1]);
    checkClose(m_statusFds[0]);
    checkClose(m_statusFds[1]);
    // Other files may get these descriptor numbers from now on.
    m_stdInOutPipe.setDescriptor(-1);
    m_stdErrPipe.setDescriptor(-1);
}

void UnixCommand::checkClose(int& fd)
{
    if (fd != -1)
        ::close(fd);
    fd = -1;
}

// Saves errno, which the clean-up may change.
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
    waitForExit(1000, 10); // A child that is still running continues without a terminal.
}

}
