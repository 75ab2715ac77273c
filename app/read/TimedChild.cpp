#include "app/read/TimedChild.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <utility>

namespace app {

namespace {

void closeOnce(int& descriptor)
{
    if (descriptor >= 0)
        close(std::exchange(descriptor, -1));
}

extern "C" void killOwnGroup(int /*signal*/)
{
    kill(0, SIGKILL);
}

bool writeAll(int descriptor, std::string const& bytes)
{
    for (size_t done = 0; done < bytes.size();) {
        ssize_t const count = write(descriptor, bytes.data() + done, bytes.size() - done);
        if (count < 0 && errno != EINTR)
            return false;
        done += count > 0 ? static_cast<size_t>(count) : 0;
    }
    return true;
}

}

TimedChild::TimedChild(std::function<std::string()> const& work, bool silent) : m_parent(getpid())
{
    if (pipe2(m_ends, O_CLOEXEC) != 0) {
        m_error = errno;
        return;
    }
    m_child = fork();
    if (m_child == 0)
        runChild(work, silent);
    if (m_child < 0)
        m_error = errno;
    closeOnce(m_ends[1]);
    if (m_child < 0)
        return;
    // Both sides set the group, so that it exists whichever runs first.
    setpgid(m_child, m_child);
}

TimedChild::~TimedChild()
{
    stop();
    closeOnce(m_ends[0]);
}

void TimedChild::runChild(std::function<std::string()> const& work, bool silent) const
{
    setpgid(0, 0);
    struct sigaction action { };
    action.sa_handler = killOwnGroup;
    sigaction(SIGTERM, &action, nullptr);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (getppid() != m_parent)
        _exit(1);
    if (silent) {
        int const null = open("/dev/null", O_WRONLY | O_CLOEXEC);
        if (null >= 0)
            dup2(null, STDERR_FILENO);
    }
    bool written = false;
    try {
        written = writeAll(m_ends[1], work());
    } catch (...) {
        // The parent reports a child without a result.
    }
    _exit(written ? 0 : 1);
}

TimedChild::Result TimedChild::wait(std::chrono::steady_clock::time_point deadline)
{
    using std::chrono::milliseconds;
    if (m_child < 0)
        return {NOT_STARTED, {}, m_error};
    std::string bytes;
    for (;;) {
        auto const left =
            std::chrono::ceil<milliseconds>(deadline - std::chrono::steady_clock::now());
        pollfd readable = {m_ends[0], POLLIN, 0};
        int const ready =
            poll(&readable, 1, static_cast<int>(std::max(left, milliseconds(0)).count()));
        if (ready < 0 && errno == EINTR)
            continue;
        if (ready <= 0)
            break;
        std::array<char, 65536> piece;
        ssize_t const count = read(m_ends[0], piece.data(), piece.size());
        if (count > 0) {
            bytes.append(piece.data(), static_cast<size_t>(count));
            continue;
        }
        // The end of the pipe: the child is ending.
        // Until it is reaped, its number is that of no other group.
        siginfo_t ended{};
        while (waitid(P_PID, static_cast<id_t>(m_child), &ended, WEXITED | WNOWAIT) != 0
            && errno == EINTR)
            continue;
        kill(-m_child, SIGKILL);
        int status = -1;
        while (waitpid(m_child, &status, 0) < 0 && errno == EINTR)
            continue;
        m_child = -1;
        if (!WIFEXITED(status) || WEXITSTATUS(status) != 0)
            return {CRASHED, {}, 0};
        return {ENDED, std::move(bytes), 0};
    }
    stop();
    return {NOT_ENDED, {}, 0};
}

void TimedChild::stop()
{
    if (m_child < 0)
        return;
    kill(-m_child, SIGKILL);
    // A child in an uninterruptible call of the kernel, as on a dead server, ends later.
    constexpr int ATTEMPTS = 20;
    for (int i = 0; i < ATTEMPTS && waitpid(m_child, nullptr, WNOHANG) == 0; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    m_child = -1;
}

}
