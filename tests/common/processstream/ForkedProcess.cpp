#include "tests/common/processstream/ForkedProcess.h"

#include "tests/common/processstream/ProcessCalls.h"
#include "tests/support/DescriptorGuard.h"

#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <exception>
#include <sstream>
#include <string>

namespace {

/** @return the failures of @p work, each with its file and line. */
std::string failuresOf(std::function<void()> const& work)
{
    using Reporter = testing::ScopedFakeTestPartResultReporter;
    testing::TestPartResultArray failures;
    {
        Reporter const reporter(Reporter::INTERCEPT_ALL_THREADS, &failures);
        try {
            work();
        } catch (std::exception const& error) {
            ADD_FAILURE() << "an exception: " << error.what();
        }
        testkit::expectNoChildren();
    }
    std::ostringstream text;
    for (int i = 0; i < failures.size(); ++i)
        text << failures.GetTestPartResult(i);
    return text.str();
}

[[noreturn]] void runAndReport(std::function<void()> const& work, int report)
{
    processcalls::becomeParent();
    std::string const text = failuresOf(work);
    ssize_t const written = ::write(report, text.data(), text.size());
    ::_exit(written == static_cast<ssize_t>(text.size()) ? 0 : 1);
}

/** @return all that the process writes; kills it after a minute. */
std::string reportOf(pid_t process, int report)
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
            ::kill(process, SIGKILL);
            return text + "it takes longer than a minute\n";
        }
    }
}

}

void inForkedProcess(std::function<void()> const& work)
{
    int report[2];
    ASSERT_EQ(::pipe2(report, O_CLOEXEC), 0);
    pid_t const process = ::fork();
    if (process == 0)
        runAndReport(work, report[1]);
    ::close(report[1]);
    std::string const failures = reportOf(process, report[0]);
    ::close(report[0]);
    if (!failures.empty())
        ADD_FAILURE() << "in the forked process:\n" << failures;
    int status = -1;
    EXPECT_EQ(::waitpid(process, &status, 0), process);
    EXPECT_EQ(status, 0) << "the wait status of the forked process";
}

void withStandardDescriptorsClosed(std::function<void(std::vector<int> const& closed)> const& work)
{
    for (unsigned set = 1; set < 8; ++set) {
        SCOPED_TRACE("closed descriptors, as a bit set: " + std::to_string(set));
        inForkedProcess([&] {
            std::vector<int> closed;
            for (int fd = 0; fd < 3; ++fd)
                if ((set >> fd & 1) != 0 && ::close(fd) == 0)
                    closed.push_back(fd);
            work(closed);
        });
    }
}
