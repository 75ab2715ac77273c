#include "common/basic/processstream/src/UnixCommand.h"
#include "tests/common/processstream/Child.h"
#include "tests/common/processstream/OtherHost.h"
#include "tests/common/processstream/ProcessCalls.h"
#include "tests/support/DescriptorGuard.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <optional>
#include <set>
#include <string>
#include <sys/time.h>
#include <unistd.h>

using namespace processcalls;
using dovrel::ProcessException;
using dovrel::UnixCommand;
using std::chrono::milliseconds;

namespace {

/** A call of the start-up, and the reason that its failure is given. */
struct Step {
    char const* name;
    Call call;
    Side side;
    unsigned number;
    int code;
    dovrel::reason_type reason;
};

constexpr Step STEPS[] = {
    {"socketpair", SOCKETPAIR, IN_PARENT, 1, EMFILE, dovrel::REASON_PIPE},
    {"posix_openpt", POSIX_OPENPT, IN_PARENT, 1, ENOSPC, dovrel::REASON_PSEUDO_TERMINAL},
    {"grantpt", GRANTPT, IN_PARENT, 1, EACCES, dovrel::REASON_PSEUDO_TERMINAL},
    {"unlockpt", UNLOCKPT, IN_PARENT, 1, EINVAL, dovrel::REASON_PSEUDO_TERMINAL},
    {"ptsname_r", PTSNAME_R, IN_PARENT, 1, ERANGE, dovrel::REASON_PSEUDO_TERMINAL},
    {"open of the slave", OPEN, IN_PARENT, 1, ENOENT, dovrel::REASON_PSEUDO_TERMINAL},
    {"pipe2", PIPE2, IN_PARENT, 1, ENFILE, dovrel::REASON_PIPE},
    {"fork", FORK, IN_PARENT, 1, EAGAIN, dovrel::REASON_FORK},
    {"poll", POLL, IN_PARENT, 1, ENOMEM, dovrel::REASON_PIPE},
    {"read of the child's word", READ, IN_PARENT, 1, ECONNRESET, dovrel::REASON_PIPE},
    {"close of the master", CLOSE, IN_CHILD, 1, EIO, dovrel::REASON_PIPE},
    {"close of the error pipe", CLOSE, IN_CHILD, 2, EBADF, dovrel::REASON_PIPE},
    {"isatty", ISATTY, IN_CHILD, 1, ENOTTY, dovrel::REASON_PSEUDO_TERMINAL},
    {"tcsetattr", TCSETATTR, IN_CHILD, 1, EINVAL, dovrel::REASON_PSEUDO_TERMINAL},
    {"close of standard input", CLOSE, IN_CHILD, 3, EIO, dovrel::REASON_PIPE},
    {"close of standard output", CLOSE, IN_CHILD, 4, ENOSPC, dovrel::REASON_PIPE},
    {"close of standard error", CLOSE, IN_CHILD, 5, EDQUOT, dovrel::REASON_PIPE},
    {"dup2 to standard input", DUP2, IN_CHILD, 1, EBADF, dovrel::REASON_PIPE},
    {"dup2 to standard output", DUP2, IN_CHILD, 2, EBUSY, dovrel::REASON_PIPE},
    {"dup2 to standard error", DUP2, IN_CHILD, 3, EMFILE, dovrel::REASON_PIPE},
};

std::optional<ProcessException> failureOfStart()
{
    try {
        UnixCommand const command("exit 0");
    } catch (ProcessException const& exception) {
        return exception;
    }
    return std::nullopt;
}

}

TEST(UnixCommandFailure, ofEachStepHasItsReasonAndItsCodeAndLeavesNothingBehind)
{
    for (Step const& step : STEPS) {
        SCOPED_TRACE(step.name);
        testkit::DescriptorGuard const guard;
        FailingCall const failing(step.call, step.code, step.side, step.number);
        auto const failure = failureOfStart();
        testkit::expectNoChildren();
        if (!failure) {
            ADD_FAILURE() << "it started";
            continue;
        }
        EXPECT_EQ(failure->reason(), step.reason);
        EXPECT_EQ(failure->code(), step.code);
    }
}

TEST(UnixCommandFailure, tellsTheStepsApartByTheirLines)
{
    std::set<unsigned> lines{0};
    for (Step const& step : STEPS) {
        FailingCall const failing(step.call, step.code, step.side, step.number);
        auto const failure = failureOfStart();
        ASSERT_TRUE(failure) << step.name;
        EXPECT_TRUE(lines.insert(failure->line()).second)
            << step.name << " has line " << failure->line() << " as well";
    }
}

TEST(UnixCommandFailure, saysTheSameInItsMessage)
{
    FailingCall const failing(DUP2, EBUSY, IN_CHILD, 2);
    auto const failure = failureOfStart();
    ASSERT_TRUE(failure);
    EXPECT_EQ(
        failure->what(), "Failed to create pipe: 16 at line " + std::to_string(failure->line()));
}

TEST(UnixCommandFailure, isThatOfTheTerminalsModeWhereItCannotBeRead)
{
    FailingCall const failing(TCGETATTR, EIO, IN_CHILD);
    auto const failure = failureOfStart();
    ASSERT_TRUE(failure);
    EXPECT_EQ(failure->reason(), dovrel::REASON_PSEUDO_TERMINAL);
    EXPECT_EQ(failure->code(), EIO);
}

TEST(UnixCommandFailure, ofMovingADescriptorOffTheStandardThreeIsThatOfItsKind)
{
    // In the order of their making: the socket pair, the terminal's two sides, the error pipe.
    constexpr dovrel::reason_type REASONS[] = {dovrel::REASON_PIPE, dovrel::REASON_PIPE,
        dovrel::REASON_PSEUDO_TERMINAL, dovrel::REASON_PSEUDO_TERMINAL, dovrel::REASON_PIPE,
        dovrel::REASON_PIPE};
    unsigned number = 0;
    for (dovrel::reason_type const reason : REASONS) {
        ++number;
        EXPECT_EQ(complaintsOfAnotherHost([&](std::ostream& complaints) {
            for (int fd = 0; fd < 3; ++fd)
                ::close(fd);
            auto const before = testkit::openDescriptors();
            FailingCall const failing(FCNTL, EMFILE, IN_PARENT, number);
            auto const failure = failureOfStart();
            if (!failure)
                complaints << "it started\n";
            else if (failure->reason() != reason || failure->code() != EMFILE)
                complaints << failure->what() << '\n';
            if (testkit::openDescriptors() != before)
                complaints << "descriptors were left open\n";
        }),
            "")
            << number;
    }
}

TEST(UnixCommandFailure, comesAfterASecondWithoutAWordOfTheChild)
{
    testkit::DescriptorGuard const guard;
    SlowChild const slow(20'000); // It is not waited for.
    auto const start = std::chrono::steady_clock::now();
    auto const failure = failureOfStart();
    auto const time = std::chrono::steady_clock::now() - start;
    testkit::expectNoChildren();
    ASSERT_TRUE(failure);
    EXPECT_EQ(failure->reason(), dovrel::REASON_FORK);
    EXPECT_EQ(failure->code(), ETIMEDOUT);
    EXPECT_NE(failure->line(), 0U);
    EXPECT_GE(time, milliseconds(1000));
    EXPECT_LE(time, milliseconds(4000));
}

TEST(UnixCommandFailure, comesAfterASecondUnderAStormOfSignalsToo)
{
    EXPECT_EQ(complaintsOfAnotherHost([](std::ostream& complaints) {
        struct sigaction action { };
        action.sa_handler = [](int) {};
        ::sigaction(SIGALRM, &action, nullptr);
        itimerval const interval{{0, 5000}, {0, 5000}};
        ::setitimer(ITIMER_REAL, &interval, nullptr);
        SlowChild const slow(1500);
        auto const failure = failureOfStart();
        if (!failure || failure->code() != ETIMEDOUT)
            complaints << (failure ? failure->what() : "it started") << '\n';
        itimerval const off{};
        ::setitimer(ITIMER_REAL, &off, nullptr);
    }),
        "");
}

TEST(UnixCommandFailure, doesNotComeWhereTheChildTakesItsTimeWithinTheSecond)
{
    SlowChild const slow(400);
    UnixCommand command("exit 3");
    EXPECT_EQ(child::statusOf(command), 3);
}

TEST(UnixCommandFailure, doesNotComeOfAnInterruptedCall)
{
    constexpr Step INTERRUPTED[] = {
        {"open", OPEN, IN_PARENT, 1, EINTR, {}},
        {"poll", POLL, IN_PARENT, 1, EINTR, {}},
        {"read of the child's word", READ, IN_PARENT, 1, EINTR, {}},
        {"waitpid", WAITPID, IN_PARENT, 1, EINTR, {}},
        {"dup2", DUP2, IN_CHILD, 1, EINTR, {}},
        {"dup2", DUP2, IN_CHILD, 2, EINTR, {}},
        {"dup2", DUP2, IN_CHILD, 3, EINTR, {}},
        {"close", CLOSE, IN_CHILD, 1, EINTR, {}},
        {"close", CLOSE, IN_CHILD, 2, EINTR, {}},
        {"close", CLOSE, IN_CHILD, 3, EINTR, {}},
        {"close", CLOSE, IN_CHILD, 4, EINTR, {}},
        {"close", CLOSE, IN_CHILD, 5, EINTR, {}},
    };
    for (Step const& step : INTERRUPTED) {
        SCOPED_TRACE(step.name + std::string(" ") + std::to_string(step.number));
        FailingCall const interrupted(step.call, step.code, step.side, step.number);
        UnixCommand command("echo text; echo error >&2; exit 5");
        EXPECT_EQ(child::everythingFrom(command.stdInOut()), "text\n");
        EXPECT_EQ(child::everythingFrom(command.stdErr()), "error\n");
        EXPECT_EQ(child::statusOf(command), 5);
    }
}

TEST(UnixCommandFailure, doesNotComeOfAStandardDescriptorThatTheHostHasClosed)
{
    for (unsigned number : {3U, 4U, 5U}) {
        FailingCall const alreadyClosed(CLOSE, EBADF, IN_CHILD, number);
        UnixCommand command("exit 5");
        EXPECT_EQ(child::statusOf(command), 5);
    }
}

TEST(UnixCommandFailure, isTheSystemsOwnWhereThereAreNoTerminals)
{
    testkit::DescriptorGuard const guard;
    child::MissingFile const terminals("/dev/ptmx");
    auto const failure = failureOfStart();
    ASSERT_TRUE(failure);
    EXPECT_EQ(failure->reason(), dovrel::REASON_PSEUDO_TERMINAL);
    EXPECT_EQ(failure->code(), ENOENT);
}

TEST(UnixCommandFailure, isNotRememberedForTheNextStart)
{
    {
        FailingCall const failing(ISATTY, ENOTTY, IN_CHILD);
        EXPECT_TRUE(failureOfStart());
    }
    EXPECT_FALSE(failureOfStart());
}
