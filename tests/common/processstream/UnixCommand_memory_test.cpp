#include "common/basic/processstream/src/UnixCommand.h"
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
 * Runs @p work again and again. Each time another of its allocations fails, until none does.
 *
 * Expects that no run leaves a child or a descriptor and that each ends within four seconds.
 * @return the number of allocations that failed.
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
            struct AtTheEnd {
                FailingAllocation const& failing;
                bool& happened;
                ~AtTheEnd() { happened = failing.hasHappened(); }
            } const atTheEnd{failing, happened};
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

/** Expects that the library waits for a child while this object lives, without an allocation and
 * without an exception. */
class WaitWithoutAllocation : dovrel::noncopyable_::noncopyable {
public:
    WaitWithoutAllocation() { forgetCalls(); }
    ~WaitWithoutAllocation()
    {
        EXPECT_EQ(m_counter.calls(), 0U);
        EXPECT_EQ(callsMade(THROW), 0U);
        EXPECT_GT(callsMade(WAITPID), 5U);
    }

private:
    AllocationCounter const m_counter;
};

}

TEST(UnixCommandOutOfMemory, reapsTheChildInTheDestructor)
{
    std::string const text = "/testkit/bin/sleep 0.2";
    EXPECT_GT(failEachAllocationOf([&] { UnixCommand const command(text); }), 0U);
}

TEST(UnixCommandOutOfMemory, destructorWaitsWithoutAllocatingOrThrowing)
{
    std::optional<UnixCommand> command(std::in_place, "/testkit/bin/sleep 0.2");
    {
        WaitWithoutAllocation const wait;
        command.reset();
    }
    testkit::expectNoChildren();
}

TEST(UnixCommandOutOfMemory, streamWaitsWithoutAllocatingOrThrowing)
{
    ChildStream stream("/testkit/bin/sleep 0.2; printf x");
    stream.outBuf().setTimeout(5000);
    WaitWithoutAllocation const wait;
    EXPECT_EQ(stream.get(), 'x');
    EXPECT_EQ(stream.get(), std::char_traits<char>::eof());
}

TEST(UnixCommandOutOfMemory, exitCodeWaitsWithoutAllocatingOrThrowing)
{
    UnixCommand command("/testkit/bin/sleep 0.2; exit 3");
    WaitWithoutAllocation const wait;
    EXPECT_EQ(command.exitCode(10000, 10), 3);
}

TEST(UnixCommandOutOfMemory, leavesNoChildWhenAStreamIsRead)
{
    std::string const text = "printf 'one\\ntwo\\n'; /testkit/bin/sleep 0.1; printf three";
    EXPECT_GT(failEachAllocationOf([&] {
        ChildStream stream(text);
        stream.outBuf().setTimeout(2000);
        for (std::string line; std::getline(stream, line);)
            line += " is too long for a string without an allocation";
        stream.command().exitCode(2000, 10);
    }),
        0U);
}

TEST(UnixCommandOutOfMemory, leavesNoChildWhenAStreamIsAbandoned)
{
    std::string const text = "printf 'one\\ntwo\\n'; /testkit/bin/sleep 0.2";
    EXPECT_GT(failEachAllocationOf([&] {
        ChildStream stream(text);
        stream.get();
    }),
        0U);
}

TEST(UnixCommandOutOfMemory, leavesNoChildWhenAStartFails)
{
    EXPECT_GT(failEachAllocationOf([] {
        FailingCall const failing(POLL, ENOMEM);
        SlowChild const slow(100);
        UnixCommand const command("exit 0");
    }),
        0U);
}

TEST(UnixCommandOutOfMemory, leavesNoChildWhenTheChildSendsAFailure)
{
    EXPECT_GT(failEachAllocationOf([] {
        FailingCall const failing(ISATTY, ENOTTY, IN_CHILD);
        UnixCommand const command("exit 0");
    }),
        0U);
}
