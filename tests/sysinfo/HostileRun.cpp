#include "tests/sysinfo/HostileRun.h"

#include "tests/support/Channel.h"
#include "tests/support/DescriptorGuard.h"
#include "tests/support/Machine.h"
#include "tests/support/SystemCalls.h"

#include <poll.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <ctime>
#include <sstream>

namespace testkit {

namespace {

double now()
{
    timespec time{};
    ::clock_gettime(CLOCK_BOOTTIME, &time); // No case moves this clock.
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

/** @return the largest size in memory that this process had. */
long largestKiB()
{
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

/** In the child. @return the lines that `readRun` reads. */
std::string observe(HostileCase const& hostile)
{
    HostileRun found;
    if (!hostile.leavesTool)
        calls.waitForTools();
    makeGoodMachine();
    std::shared_ptr<void> hostility = hostile.make();
    std::vector<int> const descriptors = openDescriptors();
    long const before = largestKiB();
    double const begin = now();
    found.result = resultOf(hostile.query);
    found.seconds = now() - begin;
    long const growth = largestKiB() - before;
    found.leftDescriptor = openDescriptors() != descriptors;
    found.leftChild = ::waitpid(-1, nullptr, WNOHANG) != -1;
    hostility.reset();
    clockOffset = 0;
    foldersAreEndless = false;
    machine.empty();
    makeGoodMachine();
    found.nextResult = resultOf(hostile.query);
    std::ostringstream lines;
    lines << found.result << '\n'
          << found.nextResult << '\n'
          << found.seconds << ' ' << growth / 1024 << ' ' << found.leftDescriptor << ' '
          << found.leftChild << '\n';
    return lines.str();
}

[[noreturn]] void runChild(HostileCase const& hostile, Descriptor& report)
{
    ::setpgid(0, 0);
    std::string text;
    try {
        text = observe(hostile);
    } catch (std::exception const& error) {
        text = std::string("died: ") + error.what() + "\n";
    }
    ssize_t const written = ::write(report, text.data(), text.size());
    ::_exit(written == static_cast<ssize_t>(text.size()) ? 0 : 1);
}

/** @return what the child writes until it ends; empty after @p limitSeconds. */
std::string readReport(int report, double limitSeconds)
{
    double const end = now() + limitSeconds;
    std::string text;
    char piece[512];
    for (;;) {
        pollfd waited{report, POLLIN, 0};
        int const left = static_cast<int>((end - now()) * 1000);
        if (left <= 0 || ::poll(&waited, 1, left) == 0)
            return {};
        ssize_t const got = ::read(report, piece, sizeof piece);
        if (got <= 0)
            return text;
        text.append(piece, static_cast<size_t>(got));
    }
}

}

HostileRun run(HostileCase const& hostile, double limitSeconds)
{
    Channel report = Channel::pipe();
    double const begin = now();
    pid_t const child = ::fork();
    if (child < 0)
        fail("fork", "for a query");
    if (child == 0)
        runChild(hostile, report.writer);
    ::setpgid(child, child); // The child does the same. One of them is first.
    report.writer.close();
    std::string const text = readReport(report.reader, limitSeconds);

    HostileRun found;
    found.result = HELD;
    found.seconds = now() - begin;
    if (!text.empty()) {
        std::istringstream lines(text);
        found.result.clear();
        std::getline(lines, found.result);
        std::getline(lines, found.nextResult);
        lines >> found.seconds >> found.mebibytes >> found.leftDescriptor >> found.leftChild;
    }
    ::kill(-child, SIGKILL);
    ::waitpid(child, nullptr, 0);
    return found;
}

}
