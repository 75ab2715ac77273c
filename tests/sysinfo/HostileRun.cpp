#include "tests/sysinfo/HostileRun.h"

#include "tests/support/Channel.h"
#include "tests/support/DescriptorGuard.h"
#include "tests/support/Machine.h"
#include "tests/support/SystemCalls.h"

#include <poll.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <ctime>
#include <fstream>
#include <sstream>
#include <utility>

namespace testkit {

namespace {

double now()
{
    timespec time{};
    ::clock_gettime(CLOCK_BOOTTIME, &time); // No case moves this clock.
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

/** @return the largest size in memory that this process, or one of its children, had. */
long largestKiB(int who)
{
    rusage usage{};
    ::getrusage(who, &usage);
    return usage.ru_maxrss;
}

/** @return by how many MiB the first of two sizes in KiB is larger. */
unsigned mebibytesAbove(long size, long other)
{
    return static_cast<unsigned>(std::max(size - other, 0L) / 1024);
}

/** In the child. @return the lines that `run` reads. */
std::string observe(HostileCase const& hostile)
{
    HostileRun found;
    if (!hostile.leavesTool)
        calls.waitForTools();
    makeGoodMachine();
    std::shared_ptr<void> hostility = hostile.make();
    std::vector<int> const descriptors = openDescriptors();
    long const before = largestKiB(RUSAGE_SELF);
    double const begin = now();
    found.result = resultOf(hostile.query);
    found.seconds = now() - begin;
    long const largest = largestKiB(RUSAGE_SELF);
    found.mebibytes = mebibytesAbove(largest, before);
    found.toolMebibytes = mebibytesAbove(largestKiB(RUSAGE_CHILDREN), largest);
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
          << found.seconds << ' ' << found.mebibytes << ' ' << found.toolMebibytes << ' '
          << found.leftDescriptor << ' ' << found.leftChild << '\n';
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

/** @return how often the process has gone to sleep; -1 if it is not asleep. If two results are the
 * same, it has not run in between. */
long sleepsOf(pid_t process)
{
    machine.leave(); // The fake /proc has no processes.
    std::ifstream status("/proc/" + std::to_string(process) + "/status");
    machine.enter();
    bool isAsleep = false;
    for (std::string label, value; status >> label && std::getline(status >> std::ws, value);) {
        if (label == "State:")
            isAsleep = value.starts_with('S');
        else if (label == "voluntary_ctxt_switches:")
            return isAsleep ? std::stol(value) : -1;
    }
    fail("read", "the state of a query's process");
}

/** Appends to @p text what the child writes until it ends. @return the empty string if it has
 * ended, otherwise its state. */
std::string readReport(int report, pid_t child, double limitSeconds, std::string& text)
{
    double const begin = now();
    double asleepSince = begin;
    long sleeps = -1;
    for (;;) {
        constexpr int STEP_MS = 50;
        pollfd waited{report, POLLIN, 0};
        if (::poll(&waited, 1, STEP_MS) > 0) {
            char piece[512];
            ssize_t const got = ::read(report, piece, sizeof piece);
            if (got <= 0)
                return {};
            text.append(piece, static_cast<size_t>(got));
            continue;
        }
        long const before = std::exchange(sleeps, sleepsOf(child));
        if (sleeps < 0 || sleeps != before)
            asleepSince = now();
        if (now() - asleepSince >= limitSeconds)
            return HELD;
        if (now() - begin >= std::max(limitSeconds, LONGEST_SECONDS))
            return "still runs";
    }
}

std::string deathOf(int status)
{
    return WIFSIGNALED(status) ? "died: signal " + std::to_string(WTERMSIG(status))
                               : "died: status " + std::to_string(WEXITSTATUS(status));
}

}

HostileRun run(HostileCase const& hostile)
{
    ::prctl(PR_SET_CHILD_SUBREAPER, 1); // The tools that a killed query leaves are waited for here.
    long const before = largestKiB(RUSAGE_SELF);
    Channel report = Channel::pipe();
    double const begin = now();
    pid_t const child = ::fork();
    if (child < 0)
        fail("fork", "for a query");
    if (child == 0)
        runChild(hostile, report.writer);
    ::setpgid(child, child); // The child does the same. One of them is first.
    report.writer.close();
    HostileRun found;
    std::string text;
    found.result = readReport(report.reader, child, hostile.seconds, text);
    found.seconds = now() - begin;

    ::kill(-child, SIGKILL);
    int status = 0;
    rusage usage{};
    ::wait4(child, &status, 0, &usage);
    long const largest = usage.ru_maxrss;
    found.mebibytes = mebibytesAbove(largest, before);
    while (::wait4(-child, nullptr, 0, &usage) > 0) // Its tools.
        found.toolMebibytes =
            std::max(found.toolMebibytes, mebibytesAbove(usage.ru_maxrss, largest));
    if (found.result.empty() && text.empty()) {
        found.result = deathOf(status);
    } else if (found.result.empty()) {
        std::istringstream lines(text);
        std::getline(lines, found.result);
        std::getline(lines, found.nextResult);
        lines >> found.seconds >> found.mebibytes >> found.toolMebibytes >> found.leftDescriptor
            >> found.leftChild;
    }
    return found;
}

}
