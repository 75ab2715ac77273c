#include "tests/common/processstream/OtherHost.h"

#include "tests/common/processstream/ProcessCalls.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <exception>
#include <sstream>

namespace {

[[noreturn]] void runAndReport(
    std::function<void(std::ostream& complaints)> const& work, int reportTo)
{
    processcalls::becomeParent();
    std::ostringstream complaints;
    try {
        work(complaints);
    } catch (std::exception const& error) {
        complaints << "thrown: " << error.what() << '\n';
    }
    if (::waitpid(-1, nullptr, WNOHANG) != -1 || errno != ECHILD)
        complaints << "a child was left behind\n";
    std::string const text = complaints.str();
    ssize_t const written = ::write(reportTo, text.data(), text.size());
    ::_exit(written == static_cast<ssize_t>(text.size()) ? 0 : 1);
}

/** @return all that the host writes; ends it where that takes too long. */
std::string reportOf(pid_t host, int report)
{
    auto const deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    std::string text;
    for (;;) {
        pollfd data{report, POLLIN, 0};
        if (::poll(&data, 1, 1000) == 1) {
            char piece[1024];
            ssize_t const count = ::read(report, piece, sizeof piece);
            if (count <= 0)
                return text;
            text.append(piece, static_cast<size_t>(count));
        } else if (std::chrono::steady_clock::now() > deadline) {
            ::kill(host, SIGKILL);
            return text + "not done within a minute\n";
        }
    }
}

}

std::string complaintsOfAnotherHost(std::function<void(std::ostream& complaints)> const& work)
{
    int report[2];
    if (::pipe2(report, O_CLOEXEC) != 0)
        return "pipe2 failed";
    pid_t const host = ::fork();
    if (host == 0)
        runAndReport(work, report[1]);
    ::close(report[1]);
    std::string const text = reportOf(host, report[0]);
    ::close(report[0]);
    int status = 0;
    if (host == -1 || ::waitpid(host, &status, 0) != host)
        return "fork failed";
    if (WIFSIGNALED(status))
        return text + "ended by signal " + std::to_string(WTERMSIG(status)) + "\n";
    if (WEXITSTATUS(status) != 0)
        return text + "ended with status " + std::to_string(WEXITSTATUS(status)) + "\n";
    return text;
}
