#include "tests/common/processstream/FakeChild.h"
#include "tests/common/processstream/ProcessCalls.h"

#include <gtest/gtest.h>

#include <climits>

using dovrel::ProcessException;
using processcalls::RecordedSleeps;
using Milliseconds = std::vector<unsigned>;

namespace {

Answer const RUNNING = thrown(dovrel::REASON_NOT_EXITED);

class CommandExitCode : public testing::Test {
protected:
    /** The reason that it throws with; -1 where it does not. */
    int reasonOf(unsigned totalMs, unsigned stepMs)
    {
        try {
            m_command.exitCode(totalMs, stepMs);
        } catch (ProcessException const& exception) {
            return static_cast<int>(exception.reason());
        }
        return -1;
    }

    FakeCommand m_command;
    RecordedSleeps m_sleeps;
};

}

TEST_F(CommandExitCode, isRememberedFromTheFirstLookThatFoundOne)
{
    m_command.states.set({{7}, {8}});
    EXPECT_EQ(m_command.exitCode(10, 10), 7);
    EXPECT_EQ(m_command.exitCode(1000, 10), 7);
    EXPECT_EQ(m_command.exitCode(0, 0), 7);
    EXPECT_EQ(m_command.looks, 1U);
    EXPECT_EQ(m_sleeps.milliseconds(), Milliseconds{});
}

TEST_F(CommandExitCode, isRememberedWhereItIsZero)
{
    m_command.states.set({{0}, {8}});
    EXPECT_EQ(m_command.exitCode(10, 10), 0);
    EXPECT_EQ(m_command.exitCode(10, 10), 0);
    EXPECT_EQ(m_command.looks, 1U);
}

TEST_F(CommandExitCode, looksAgainAfterEachStep)
{
    m_command.states.set({RUNNING, RUNNING, {3}});
    EXPECT_EQ(m_command.exitCode(1000, 25), 3);
    EXPECT_EQ(m_command.looks, 3U);
    EXPECT_EQ(m_sleeps.milliseconds(), (Milliseconds{25, 25}));
}

TEST_F(CommandExitCode, looksOnceAndSleepsOnceWithinOneStep)
{
    EXPECT_EQ(reasonOf(10, 10), dovrel::REASON_NOT_EXITED);
    EXPECT_EQ(m_command.looks, 1U);
    EXPECT_EQ(m_sleeps.milliseconds(), Milliseconds{10});
}

TEST_F(CommandExitCode, givesUpWhereNoMoreThanAStepIsLeft)
{
    EXPECT_EQ(reasonOf(30, 10), dovrel::REASON_NOT_EXITED);
    EXPECT_EQ(m_sleeps.milliseconds(), Milliseconds(2, 10));
    EXPECT_EQ(reasonOf(31, 10), dovrel::REASON_NOT_EXITED);
    EXPECT_EQ(m_sleeps.milliseconds(), Milliseconds(5, 10));
    EXPECT_EQ(m_command.looks, 5U);
    EXPECT_EQ(reasonOf(1000, 10), dovrel::REASON_NOT_EXITED);
    EXPECT_EQ(m_sleeps.milliseconds(), Milliseconds(5 + 99, 10));
}

TEST_F(CommandExitCode, neverCountsBelowZeroWhereTheTotalIsBelowTheStep)
{
    EXPECT_EQ(reasonOf(5, 10), dovrel::REASON_NOT_EXITED);
    EXPECT_EQ(reasonOf(0, 10), dovrel::REASON_NOT_EXITED);
    EXPECT_EQ(m_command.looks, 2U);
    EXPECT_EQ(m_sleeps.milliseconds(), Milliseconds(2, 10));
}

TEST_F(CommandExitCode, takesAStepOfZeroForOne)
{
    EXPECT_EQ(reasonOf(4, 0), dovrel::REASON_NOT_EXITED);
    EXPECT_EQ(m_sleeps.milliseconds(), Milliseconds(3, 1));
    EXPECT_EQ(reasonOf(0, 0), dovrel::REASON_NOT_EXITED);
    EXPECT_EQ(m_sleeps.milliseconds(), Milliseconds(4, 1));
}

TEST_F(CommandExitCode, endsWithTheLargestStep)
{
    EXPECT_EQ(reasonOf(UINT_MAX, UINT_MAX), dovrel::REASON_NOT_EXITED);
    EXPECT_EQ(m_sleeps.milliseconds(), Milliseconds{UINT_MAX});
}

TEST_F(CommandExitCode, passesOtherReasonsOnAtOnce)
{
    m_command.states.set({RUNNING, thrown(dovrel::REASON_EXIT_STATUS), {4}});
    EXPECT_EQ(reasonOf(1000, 10), dovrel::REASON_EXIT_STATUS);
    EXPECT_EQ(m_sleeps.milliseconds(), Milliseconds{10});
    EXPECT_EQ(m_command.exitCode(10, 10), 4) << "a failure is not remembered";
}

TEST_F(CommandExitCode, isLookedForAgainAfterTheTimeWasUsedUp)
{
    m_command.states.set({RUNNING, {5}});
    EXPECT_EQ(reasonOf(10, 10), dovrel::REASON_NOT_EXITED);
    EXPECT_EQ(m_command.exitCode(10, 10), 5);
}

TEST_F(CommandExitCode, saysWhereItGaveUp)
{
    try {
        m_command.exitCode(10, 10);
        ADD_FAILURE() << "it is to throw";
    } catch (ProcessException const& exception) {
        EXPECT_NE(exception.line(), 0U);
    }
}
