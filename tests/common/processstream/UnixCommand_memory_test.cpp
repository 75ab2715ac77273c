#include "common/basic/processstream/src/UnixCommand.h"
#include "tests/common/processstream/Child.h"
#include "tests/common/processstream/ProcessCalls.h"
#include "tests/support/DescriptorGuard.h"
#include "tests/support/allocation_counter.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <functional>
#include <new>
#include <optional>
#include <string>

using namespace processcalls;
using dovrel::ProcessException;
using dovrel::UnixCommand;
using testkit::AllocationCounter;
using testkit::FailingAllocation;
using ChildStream = pstream_wrapper<UnixCommand, void>;
using Clock = std::chrono::steady_clock;

namespace {

/**
 * Runs @p work again and again; each time another of its allocations fails, until none does.
 *
 * Expects that no round leaves a child or a descriptor and that each ends within four seconds.
 * @return the allocations that failed.
 */
unsigned failEachAllocationOf(std::function<void()> const& work)
{
    testkit::DescriptorGuard const guard;
    for (unsigned n = 1;; ++n) {
        SCOPED_TRACE("allocation " + std::to_string(n));
        auto const start = Clock::now();
        bool happened = false;
        try {
            FailingAllocation const failing(n);
            struct Note {
                FailingAllocation const& of;
                bool& happened;
                ~Note() { happened = of.hasHappened(); }
            } const note{failing, happened};
            work();
        } catch (std::bad_alloc const&) {
        } catch (ProcessException const&) {
        }
        testkit::expectNoChildren();
        EXPECT_LE(Clock::now() - start, std::chrono::seconds(4));
        if (!happened)
            return n - 1;
    }
}

}

TEST(UnixCommandWithoutMemory, reapsItsChildInTheDestructor)
{
    std::string const text = "/testkit/bin/sleep 0.2";
    EXPECT_GT(failEachAllocationOf([&] { UnixCommand const command(text); }), 0U);
}

TEST(UnixCommandWithoutMemory, neitherAllocatesNorThrowsWhileTheDestructorWaits)
{
    std::optional<UnixCommand> command(std::in_place, "/testkit/bin/sleep 0.2");
    forgetCalls();
    AllocationCounter const counter;
    command.reset();
    EXPECT_EQ(counter.calls(), 0U);
    EXPECT_EQ(callsMade(THROW), 0U);
    EXPECT_GT(callsMade(WAITPID), 5U);
    testkit::expectNoChildren();
}

TEST(UnixCommandWithoutMemory, neitherAllocatesNorThrowsWhileAReaderWaits)
{
    ChildStream stream("/testkit/bin/sleep 0.2; printf x");
    stream.outBuf().setTimeout(5000);
    forgetCalls();
    AllocationCounter const counter;
    EXPECT_EQ(stream.get(), 'x');
    EXPECT_EQ(stream.get(), std::char_traits<char>::eof());
    EXPECT_EQ(counter.calls(), 0U);
    EXPECT_EQ(callsMade(THROW), 0U);
    EXPECT_GT(callsMade(WAITPID), 5U);
}

TEST(UnixCommandWithoutMemory, neitherAllocatesNorThrowsWhileExitCodeFindsTheEnd)
{
    UnixCommand command("/testkit/bin/sleep 0.2; exit 3");
    forgetCalls();
    AllocationCounter const counter;
    EXPECT_EQ(command.exitCode(10000, 10), 3);
    EXPECT_EQ(counter.calls(), 0U);
    EXPECT_EQ(callsMade(THROW), 0U);
    EXPECT_GT(callsMade(WAITPID), 5U);
}

TEST(UnixCommandWithoutMemory, leavesNoChildOfAStreamThatIsRead)
{
    std::string const text = "printf 'one\\ntwo\\n'; /testkit/bin/sleep 0.1; printf three";
    EXPECT_GT(failEachAllocationOf([&] {
        ChildStream stream(text);
        stream.outBuf().setTimeout(2000);
        for (std::string line; std::getline(stream, line);)
            line += " is longer than a string that needs no block of memory";
        stream.command().exitCode(2000, 10);
    }),
        0U);
}

TEST(UnixCommandWithoutMemory, leavesNoChildOfAStreamThatIsAbandoned)
{
    std::string const text = "printf 'one\\ntwo\\n'; /testkit/bin/sleep 0.2";
    EXPECT_GT(failEachAllocationOf([&] {
        ChildStream stream(text);
        stream.get();
    }),
        0U);
}

TEST(UnixCommandWithoutMemory, leavesNoChildOfAStartThatFails)
{
    EXPECT_GT(failEachAllocationOf([] {
        FailingCall const failing(POLL, ENOMEM);
        SlowChild const slow(100);
        UnixCommand const command("exit 0");
    }),
        0U);
}

TEST(UnixCommandWithoutMemory, leavesNoChildThatSendsItsFailure)
{
    EXPECT_GT(failEachAllocationOf([] {
        FailingCall const failing(ISATTY, ENOTTY, IN_CHILD);
        UnixCommand const command("exit 0");
    }),
        0U);
}
