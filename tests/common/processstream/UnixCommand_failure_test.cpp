#include "common/basic/processstream/src/UnixCommand.h"
#include "tests/common/processstream/Child.h"
#include "tests/common/processstream/OtherHost.h"
#include "tests/common/processstream/ProcessCalls.h"
#include "tests/common/processstream/StartStep.h"
#include "tests/support/DescriptorGuard.h"
#include "tests/support/Machine.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <iterator>
#include <new>
#include <optional>
#include <pthread.h>
#include <sstream>
#include <string>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

using namespace processcalls;
using dovrel::ProcessException;
using dovrel::UnixCommand;
using std::chrono::milliseconds;

namespace {

std::optional<ProcessException> failureOfStart()
{
    try {
        UnixCommand const command("exit 0");
    } catch (ProcessException const& exception) {
        return exception;
    }
    return std::nullopt;
}

/** The text of UnixCommand.cpp as it was compiled. */
class Source {
public:
    Source()
    {
        std::istringstream text(testkit::contentsOf(UNIX_COMMAND_SOURCE));
        for (std::string line; std::getline(text, line);)
            m_lines.push_back(line);
    }

    /** @return a line, counted from 1. */
    std::string line(unsigned number) const
    {
        return number == 0 || number > m_lines.size() ? "(no such line)" : m_lines[number - 1];
    }

    /** Whether that line gives a failure this reason and its own number. */
    bool raises(dovrel::reason_type reason, unsigned number) const
    {
        static constexpr char const* NAMES[] = {
            "(REASON_PSEUDO_TERMINAL, ", "(REASON_PIPE, ", "(REASON_FORK, "};
        return reason < std::size(NAMES)
            && line(number).find(NAMES[reason] + std::string("__LINE__);")) != std::string::npos;
    }

    /** @return the `source` of the step whose failure that line is the first to raise. */
    char const* stepRaisedAt(unsigned number) const
    {
        for (unsigned above = number; above > 0; --above) {
            std::string const text = line(above);
            for (StartStep const& step : START_STEPS)
                if (text.find(step.source) != std::string::npos)
                    return step.source;
            if (above < number && text.find("__LINE__") != std::string::npos)
                return "(none: that line raises the second failure behind a step)";
        }
        return "(none)";
    }

private:
    std::vector<std::string> m_lines;
};

alignas(UnixCommand) unsigned char place[sizeof(UnixCommand)];

UnixCommand& commandBeingStarted()
{
    return *reinterpret_cast<UnixCommand*>(place);
}

/** In a child: sends @p text over the descriptor that the library gives it for failures. */
int sendToParent(std::string const& text)
{
    // The last field is the child's end of the socket pair.
    int socket;
    std::memcpy(&socket, place + sizeof place - sizeof socket, sizeof socket);
    return ::write(socket, text.data(), text.size()) == static_cast<ssize_t>(text.size()) ? 1 : 2;
}

/** @return the message of the failed start whose child runs @p Work and ends with its result. */
template <class Work> std::string failureWhereTheChild(Work)
{
    return complaintsOfAnotherHost([](std::ostream& complaints) {
        WorkInChild const work([] { ::_exit(Work()()); });
        try {
            new (place) UnixCommand("exit 0");
            complaints << "it started";
        } catch (ProcessException const& exception) {
            complaints << exception.what();
        }
    });
}

}

TEST(UnixCommandFailure, ofEachStepHasItsReasonAndItsCodeAndLeavesNothingBehind)
{
    for (StartStep const& step : START_STEPS) {
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

TEST(UnixCommandFailure, hasTheLineThatRaisesItBehindTheCallThatFailed)
{
    Source const source;
    for (StartStep const& step : START_STEPS) {
        SCOPED_TRACE(step.name);
        FailingCall const failing(step.call, step.code, step.side, step.number);
        auto const failure = failureOfStart();
        ASSERT_TRUE(failure);
        EXPECT_TRUE(source.raises(failure->reason(), failure->line()))
            << source.line(failure->line());
        EXPECT_STREQ(source.stepRaisedAt(failure->line()), step.source);
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

// In processes of their own, whose children send a failure in place of the library's set-up.
TEST(UnixCommandFailure, isTheExceptionThatTheChildRaises)
{
    EXPECT_EQ(failureWhereTheChild([] {
        errno = EXDEV;
        return commandBeingStarted().raiseChildException(
            ProcessException(dovrel::REASON_CONSOLE, 4711));
    }),
        "Failed to interact with console: 18 at line 4711");
}

TEST(UnixCommandFailure, isReadFromExactlyTheBytesThatTheChildSends)
{
    EXPECT_EQ(failureWhereTheChild([] { return sendToParent("1 152 9"); }),
        "Failed to create pipe: 9 at line 152");
    // A text of 80 bytes leaves no room for a terminator.
    EXPECT_EQ(failureWhereTheChild([] { return sendToParent(std::string(73, ' ') + "1 152 9"); }),
        "Failed to create pipe: 9 at line 152");
    // Of a longer one the first 80 bytes count.
    EXPECT_EQ(failureWhereTheChild([] { return sendToParent(std::string(74, ' ') + "1 152 9"); }),
        "Failed to create pipe: 0 at line 152");
    EXPECT_EQ(failureWhereTheChild([] { return sendToParent("99 152 9"); }), "9 at line 152");
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

TEST(UnixCommandFailure, ofAChildThatIsNotSetUpComesWithinTwoSecondsAndNobodyIsSignalled)
{
    testkit::DescriptorGuard const guard;
    SlowChild const slow(20'000); // Far longer than it is waited for.
    forgetCalls();
    auto const start = std::chrono::steady_clock::now();
    auto const failure = failureOfStart();
    auto const time = std::chrono::steady_clock::now() - start;
    EXPECT_EQ(callsMade(KILL), 0U);
    EXPECT_EQ(::waitpid(latestChild(), nullptr, WNOHANG), 0) << "the child is to run on";
    child::end(latestChild());
    testkit::expectNoChildren();
    ASSERT_TRUE(failure);
    EXPECT_EQ(failure->reason(), dovrel::REASON_FORK);
    EXPECT_EQ(failure->code(), ETIMEDOUT);
    Source const source;
    EXPECT_TRUE(source.raises(dovrel::REASON_FORK, failure->line()));
    EXPECT_EQ(source.line(failure->line() - 1), "        errno = ETIMEDOUT;");
    EXPECT_GE(time, milliseconds(1900)) << "a second for the set-up, another for the end";
    EXPECT_LE(time, milliseconds(4000));
}

TEST(UnixCommandFailure, ofAChildThatIsNotSetUpReapsItWhereItEndsWithinTheNextSecond)
{
    SlowChild const slow(1300);
    auto const failure = failureOfStart();
    testkit::expectNoChildren();
    ASSERT_TRUE(failure);
    EXPECT_EQ(failure->reason(), dovrel::REASON_FORK);
    EXPECT_EQ(failure->code(), ETIMEDOUT);
}

// In a process of its own: a handler of pthread_atfork(3) cannot be taken back.
TEST(UnixCommandFailure, leavesAChildThatBlocksInAForkHandlerToEndByItself)
{
    EXPECT_EQ(complaintsOfAnotherHost([](std::ostream& complaints) {
        static int gate[2];
        if (::pipe2(gate, O_CLOEXEC) != 0)
            complaints << "no pipe\n";
        ::pthread_atfork(nullptr, nullptr, [] {
            char byte;
            [[maybe_unused]] auto const count = ::read(gate[0], &byte, 1);
        });
        forgetCalls();
        auto const failure = failureOfStart();
        if (!failure || failure->reason() != dovrel::REASON_FORK || failure->code() != ETIMEDOUT)
            complaints << (failure ? failure->what() : "it started") << '\n';
        if (callsMade(KILL) != 0)
            complaints << "somebody was signalled\n";
        if (::waitpid(latestChild(), nullptr, WNOHANG) != 0)
            complaints << "the child does not run any more\n";
        [[maybe_unused]] auto const sent = ::write(gate[1], "x", 1);
        int status = -1;
        ::waitpid(latestChild(), &status, 0);
        if (!WIFEXITED(status) || WEXITSTATUS(status) != 1)
            complaints << "the child's status was " << status << '\n';
    }),
        "");
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
    struct Interrupted {
        Call call;
        Side side;
        unsigned number;
    };
    constexpr Interrupted INTERRUPTED[] = {
        {OPEN, IN_PARENT, 1},
        {POLL, IN_PARENT, 1},
        {READ, IN_PARENT, 1},
        {WAITPID, IN_PARENT, 1},
        {DUP2, IN_CHILD, 1},
        {DUP2, IN_CHILD, 2},
        {DUP2, IN_CHILD, 3},
        {CLOSE, IN_CHILD, 1},
        {CLOSE, IN_CHILD, 2},
        {CLOSE, IN_CHILD, 3},
        {CLOSE, IN_CHILD, 4},
        {CLOSE, IN_CHILD, 5},
    };
    for (Interrupted const& call : INTERRUPTED) {
        SCOPED_TRACE("call " + std::to_string(call.call) + ", " + std::to_string(call.number));
        FailingCall const interrupted(call.call, EINTR, call.side, call.number);
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
