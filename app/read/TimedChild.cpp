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

using Clock = std::chrono::steady_clock;

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
    writers().push_back(this);
}

TimedChild::~TimedChild()
{
    closeReader();
    if (m_child < 0)
        return;
    if (!m_killed)
        killGroup();
    // A child in an uninterruptible call of the kernel, as on a dead server, ends later. Several
    // that were killed together are waited for together.
    auto const enough = *m_killed + std::chrono::milliseconds(100);
    while (waitpid(m_child, nullptr, WNOHANG) == 0 && Clock::now() < enough)
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
}

std::vector<TimedChild*>& TimedChild::writers()
{
    static std::vector<TimedChild*> children;
    return children;
}

void TimedChild::closeReader()
{
    auto& children = writers();
    children.erase(std::remove(children.begin(), children.end(), this), children.end());
    closeOnce(m_ends[0]);
}

void TimedChild::killGroup()
{
    kill(-m_child, SIGKILL);
    m_killed = Clock::now();
}

void TimedChild::runChild(std::function<std::string()> const& work, bool silent) const
{
    writers().clear();
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

void TimedChild::readPiece()
{
    std::array<char, 65536> piece;
    ssize_t const count = read(m_ends[0], piece.data(), piece.size());
    if (count > 0)
        m_bytes.append(piece.data(), static_cast<size_t>(count));
    else
        closeReader();
}

bool TimedChild::readAny(Clock::time_point deadline)
{
    using std::chrono::milliseconds;
    auto const children = writers();
    std::vector<pollfd> readers;
    readers.reserve(children.size());
    for (TimedChild const* const child : children)
        readers.push_back({child->m_ends[0], POLLIN, 0});
    auto const left = std::chrono::ceil<milliseconds>(deadline - Clock::now());
    bool const isLate = left <= milliseconds(0);
    int const ready = poll(readers.data(), static_cast<nfds_t>(readers.size()),
        static_cast<int>(std::max(left, milliseconds(0)).count()));
    if (ready < 0)
        return errno == EINTR;
    bool isOwn = false;
    for (size_t i = 0; i < readers.size(); ++i) {
        if (readers[i].revents == 0)
            continue;
        isOwn = isOwn || children[i] == this;
        children[i]->readPiece();
    }
    return isLate ? isOwn : ready > 0;
}

TimedChild::Result TimedChild::wait(Clock::time_point deadline)
{
    if (m_child < 0)
        return {NOT_STARTED, {}, m_error};
    while (m_ends[0] >= 0 && readAny(deadline))
        continue;
    if (m_ends[0] >= 0) {
        killGroup();
        closeReader();
        return {NOT_ENDED, {}, 0};
    }
    // The end of the pipe: the child is ending.
    // Until it is reaped, its number is that of no other group.
    siginfo_t ended{};
    while (
        waitid(P_PID, static_cast<id_t>(m_child), &ended, WEXITED | WNOWAIT) != 0 && errno == EINTR)
        continue;
    kill(-m_child, SIGKILL);
    int status = -1;
    while (waitpid(m_child, &status, 0) < 0 && errno == EINTR)
        continue;
    m_child = -1;
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0)
        return {CRASHED, {}, 0};
    return {ENDED, std::move(m_bytes), 0};
}

}
