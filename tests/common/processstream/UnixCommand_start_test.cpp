#include "common/basic/processstream/src/UnixCommand.h"
#include "tests/common/processstream/Child.h"
#include "tests/common/processstream/ForkedProcess.h"
#include "tests/common/processstream/ProcessCalls.h"
#include "tests/common/processstream/RepeatedAlarm.h"
#include "tests/common/processstream/StartStep.h"
#include "tests/common/processstream/ThrownFailure.h"
#include "tests/support/DescriptorGuard.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <fcntl.h>
#include <map>
#include <new>
#include <pthread.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

using namespace processcalls;
using dovrel::ProcessException;
using dovrel::UnixCommand;
using std::chrono::milliseconds;
using Names = std::vector<std::string>;

namespace {

void start()
{
    UnixCommand const command("exit 0");
}

/** @return the line of the failed start in which @p step fails. */
unsigned lineOfFailure(StartStep const& step)
{
    FailingCall const failing(step.call, step.code, step.side, step.number);
    auto const exception = exceptionOf(start);
    return exception ? exception->line() : 0;
}

/** @return the names of the steps of one side, up to and including @p last. */
Names stepsUpTo(StartStep const& last)
{
    Names names;
    for (StartStep const& step : START_STEPS) {
        if (step.side == last.side)
            names.emplace_back(step.name);
        if (&step == &last)
            break;
    }
    return names;
}

/** @return the names of the steps that one side has made; leaves out other calls. */
Names stepsMadeBy(Side side, RecordedCalls const& recorded)
{
    Names names;
    std::map<Call, unsigned> numbers;
    for (Call const call : recorded.madeBy(side)) {
        unsigned const number = ++numbers[call];
        for (StartStep const& step : START_STEPS)
            if (step.side == side && step.call == call && step.number == number)
                names.emplace_back(step.name);
    }
    return names;
}

StartStep const& lastStepOf(Side side)
{
    StartStep const* last = nullptr;
    for (StartStep const& step : START_STEPS)
        if (step.side == side)
            last = &step;
    return *last;
}

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

/** Expects the message of a failed start whose child runs @p Work and exits with its result. */
template <class Work> void expectMessage(Work, char const* expected)
{
    inForkedProcess([&] {
        WorkInChild const work([] { ::_exit(Work()()); });
        auto const exception = exceptionOf([] { new (place) UnixCommand("exit 0"); });
        ASSERT_TRUE(exception);
        EXPECT_STREQ(exception->what(), expected);
    });
}

}

TEST(UnixCommandStart, makesItsCallsInOrder)
{
    RecordedCalls const recorded;
    UnixCommand const command("exit 0");
    for (Side const side : {IN_PARENT, IN_CHILD})
        EXPECT_EQ(stepsMadeBy(side, recorded), stepsUpTo(lastStepOf(side)));
}

TEST(UnixCommandStart, stopsAtTheCallThatFailsAndThrowsItsReasonAndCode)
{
    for (StartStep const& step : START_STEPS) {
        SCOPED_TRACE(step.name);
        testkit::DescriptorGuard const guard;
        RecordedCalls const recorded;
        FailingCall const failing(step.call, step.code, step.side, step.number);
        EXPECT_EQ(failureOf(start), Failure(step.reason, step.code));
        EXPECT_EQ(stepsMadeBy(step.side, recorded), stepsUpTo(step));
        testkit::expectNoChildren();
    }
}

TEST(UnixCommandStart, throwsADifferentLineForEachCallThatFails)
{
    std::map<unsigned, Names> namesOfLines;
    for (StartStep const& step : START_STEPS)
        namesOfLines[lineOfFailure(step)].emplace_back(step.name);
    EXPECT_EQ(namesOfLines.count(0), 0U);
    for (auto const& [line, names] : namesOfLines) {
        bool const isMakeTermRaw = names == Names{"tcgetattr", "tcsetattr"};
        EXPECT_EQ(names.size(), isMakeTermRaw ? 2U : 1U)
            << testing::PrintToString(names) << " have the line " << line;
    }
}

TEST(UnixCommandStart, putsReasonCodeAndLineInTheMessage)
{
    FailingCall const failing(DUP2, EBUSY, IN_CHILD, 2);
    auto const exception = exceptionOf(start);
    ASSERT_TRUE(exception);
    EXPECT_EQ(exception->what(),
        "Failed to create pipe: 16 at line " + std::to_string(exception->line()));
}

TEST(UnixCommandStart, throwsTheExceptionThatTheChildRaises)
{
    expectMessage(
        [] {
            errno = EXDEV;
            return commandBeingStarted().raiseChildException(
                ProcessException(dovrel::REASON_CONSOLE, 4711));
        },
        "Failed to interact with console: 18 at line 4711");
}

TEST(UnixCommandStart, readsAtMost80BytesOfTheChildsFailure)
{
    expectMessage([] { return sendToParent("1 152 9"); }, "Failed to create pipe: 9 at line 152");
    // 80 bytes leave no room for a terminator.
    expectMessage([] { return sendToParent(std::string(73, ' ') + "1 152 9"); },
        "Failed to create pipe: 9 at line 152");
    expectMessage([] { return sendToParent(std::string(74, ' ') + "1 152 9"); },
        "Failed to create pipe: 0 at line 152");
    expectMessage([] { return sendToParent("99 152 9"); }, "9 at line 152");
}

TEST(UnixCommandStart, throwsWhenADescriptorCannotBeMovedAbove2)
{
    // In the order of creation: the socket pair, the terminal's two sides, the error pipe.
    constexpr dovrel::reason_type REASONS[] = {dovrel::REASON_PIPE, dovrel::REASON_PIPE,
        dovrel::REASON_PSEUDO_TERMINAL, dovrel::REASON_PSEUDO_TERMINAL, dovrel::REASON_PIPE,
        dovrel::REASON_PIPE};
    unsigned number = 0;
    for (dovrel::reason_type const reason : REASONS) {
        ++number;
        SCOPED_TRACE(number);
        inForkedProcess([&] {
            for (int fd = 0; fd < 3; ++fd)
                ::close(fd);
            testkit::DescriptorGuard const guard;
            FailingCall const failing(FCNTL, EMFILE, IN_PARENT, number);
            EXPECT_EQ(failureOf(start), Failure(reason, EMFILE));
        });
    }
}

TEST(UnixCommandStart, timesOutWithinTwoSecondsAndDoesNotSignalTheChild)
{
    unsigned lineOfFork = 0;
    for (StartStep const& step : START_STEPS)
        if (step.call == FORK)
            lineOfFork = lineOfFailure(step);
    testkit::DescriptorGuard const guard;
    SlowChild const slow(20'000);
    forgetCalls();
    auto const begin = std::chrono::steady_clock::now();
    auto const exception = exceptionOf(start);
    auto const time = std::chrono::steady_clock::now() - begin;
    EXPECT_EQ(callsMade(KILL), 0U);
    EXPECT_EQ(::waitpid(latestChild(), nullptr, WNOHANG), 0) << "the child must still run";
    child::killAndReap(latestChild());
    testkit::expectNoChildren();
    ASSERT_TRUE(exception);
    EXPECT_EQ(exception->reason(), dovrel::REASON_FORK);
    EXPECT_EQ(exception->code(), ETIMEDOUT);
    EXPECT_NE(exception->line(), 0U);
    EXPECT_NE(exception->line(), lineOfFork) << "a time-out and a failed fork need two lines";
    EXPECT_GE(time, milliseconds(1900)) << "one second for the set-up, one for the end";
    EXPECT_LE(time, milliseconds(4000));
}

TEST(UnixCommandStart, reapsAChildThatEndsInTheSecondAfterTheTimeOut)
{
    SlowChild const slow(1300);
    EXPECT_EQ(failureOf(start), Failure(dovrel::REASON_FORK, ETIMEDOUT));
    testkit::expectNoChildren();
}

// In a forked process, as a handler of pthread_atfork(3) cannot be removed.
TEST(UnixCommandStart, doesNotSignalAChildThatBlocksInAForkHandler)
{
    inForkedProcess([] {
        static int gate[2];
        ASSERT_EQ(::pipe2(gate, O_CLOEXEC), 0);
        ::pthread_atfork(nullptr, nullptr, [] {
            char byte;
            [[maybe_unused]] auto const count = ::read(gate[0], &byte, 1);
        });
        forgetCalls();
        EXPECT_EQ(failureOf(start), Failure(dovrel::REASON_FORK, ETIMEDOUT));
        EXPECT_EQ(callsMade(KILL), 0U);
        EXPECT_EQ(::waitpid(latestChild(), nullptr, WNOHANG), 0) << "the child must still run";
        EXPECT_EQ(::write(gate[1], "x", 1), 1);
        int status = -1;
        ::waitpid(latestChild(), &status, 0);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 1) << status;
    });
}

TEST(UnixCommandStart, timesOutDespiteRepeatedSignals)
{
    inForkedProcess([] {
        RepeatedAlarm const alarm(5000);
        SlowChild const slow(1500);
        auto const exception = exceptionOf(start);
        ASSERT_TRUE(exception);
        EXPECT_EQ(exception->code(), ETIMEDOUT);
    });
}

TEST(UnixCommandStart, waitsForAChildThatNeedsLessThanASecond)
{
    SlowChild const slow(400);
    UnixCommand command("exit 3");
    EXPECT_EQ(child::exitStatusOf(command), 3);
}

TEST(UnixCommandStart, succeedsWhenASignalInterruptsACall)
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
        EXPECT_EQ(child::readAll(command.stdInOut()), "text\n");
        EXPECT_EQ(child::readAll(command.stdErr()), "error\n");
        EXPECT_EQ(child::exitStatusOf(command), 5);
    }
}

TEST(UnixCommandStart, succeedsWhenTheHostHasClosedAStandardDescriptor)
{
    for (unsigned number : {3U, 4U, 5U}) {
        FailingCall const alreadyClosed(CLOSE, EBADF, IN_CHILD, number);
        UnixCommand command("exit 5");
        EXPECT_EQ(child::exitStatusOf(command), 5);
    }
}

TEST(UnixCommandStart, throwsTheSystemsErrnoWhenThereAreNoTerminals)
{
    testkit::DescriptorGuard const guard;
    child::MissingFile const terminals("/dev/ptmx");
    EXPECT_EQ(failureOf(start), Failure(dovrel::REASON_PSEUDO_TERMINAL, ENOENT));
}

TEST(UnixCommandStart, succeedsAfterAFailedStart)
{
    {
        FailingCall const failing(ISATTY, ENOTTY, IN_CHILD);
        EXPECT_NE(failureOf(start), NO_FAILURE);
    }
    EXPECT_EQ(failureOf(start), NO_FAILURE);
}
