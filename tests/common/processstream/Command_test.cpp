#include "tests/common/processstream/FakeChild.h"
#include "tests/common/processstream/ProcessCalls.h"
#include "tests/common/processstream/ThrownFailure.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>

using processcalls::RecordedSleeps;
using Milliseconds = std::vector<unsigned>;

namespace {

FakeResult const RUNNING = thrown(dovrel::REASON_NOT_EXITED);

class CommandExitCode : public testing::Test {
protected:
    /** @return the reason that it throws, or -1. */
    int reasonOfExitCode(unsigned totalMs, unsigned stepMs)
    {
        return reasonOf([&] { m_command.exitCode(totalMs, stepMs); });
    }

    FakeCommand m_command;
    RecordedSleeps m_sleeps;
};

}

TEST_F(CommandExitCode, isCachedOnceItIsKnown)
{
    m_command.states.set({{7}, {8}});
    EXPECT_EQ(m_command.exitCode(10, 10), 7);
    EXPECT_EQ(m_command.exitCode(1000, 10), 7);
    EXPECT_EQ(m_command.exitCode(0, 0), 7);
    EXPECT_EQ(m_command.checks, 1U);
    EXPECT_EQ(m_sleeps.milliseconds(), Milliseconds{});
}

TEST_F(CommandExitCode, isCachedWhenItIsZero)
{
    m_command.states.set({{0}, {8}});
    EXPECT_EQ(m_command.exitCode(10, 10), 0);
    EXPECT_EQ(m_command.exitCode(10, 10), 0);
    EXPECT_EQ(m_command.checks, 1U);
}

TEST_F(CommandExitCode, checksTheChildAgainAfterEachStep)
{
    m_command.states.set({RUNNING, RUNNING, {3}});
    EXPECT_EQ(m_command.exitCode(1000, 25), 3);
    EXPECT_EQ(m_command.checks, 3U);
    EXPECT_EQ(m_sleeps.milliseconds(), (Milliseconds{25, 25}));
}

TEST(CommandTimeOut, comesWhenAtMostOneStepIsLeft)
{
    struct Case {
        unsigned totalMs;
        unsigned stepMs;
        size_t sleeps;
        unsigned sleepMs;
    };
    constexpr Case CASES[] = {
        {10, 10, 1, 10},
        {30, 10, 2, 10},
        {31, 10, 3, 10},
        {1000, 10, 99, 10},
        {5, 10, 1, 10}, // A total below the step does not wrap.
        {0, 10, 1, 10},
        {4, 0, 3, 1}, // A step of 0 counts as 1.
        {0, 0, 1, 1},
        {UINT_MAX, UINT_MAX, 1, UINT_MAX},
    };
    for (auto const& [totalMs, stepMs, sleeps, sleepMs] : CASES) {
        SCOPED_TRACE(std::to_string(totalMs) + " ms in steps of " + std::to_string(stepMs));
        FakeCommand command;
        RecordedSleeps const recorded;
        auto const exception =
            exceptionOf([&, total = totalMs, step = stepMs] { command.exitCode(total, step); });
        ASSERT_TRUE(exception);
        EXPECT_EQ(exception->reason(), dovrel::REASON_NOT_EXITED);
        EXPECT_NE(exception->line(), 0U);
        EXPECT_EQ(command.checks, sleeps);
        EXPECT_EQ(recorded.milliseconds(), Milliseconds(sleeps, sleepMs));
    }
}

TEST_F(CommandExitCode, throwsOtherReasonsAtOnceAndDoesNotCacheThem)
{
    m_command.states.set({RUNNING, thrown(dovrel::REASON_EXIT_STATUS), {4}});
    EXPECT_EQ(reasonOfExitCode(1000, 10), dovrel::REASON_EXIT_STATUS);
    EXPECT_EQ(m_sleeps.milliseconds(), Milliseconds{10});
    EXPECT_EQ(m_command.exitCode(10, 10), 4);
}

TEST_F(CommandExitCode, isFoundByALaterCallAfterATimeOut)
{
    m_command.states.set({RUNNING, {5}});
    EXPECT_EQ(reasonOfExitCode(10, 10), dovrel::REASON_NOT_EXITED);
    EXPECT_EQ(m_command.exitCode(10, 10), 5);
}
