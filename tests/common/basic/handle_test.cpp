#include "common/basic/handle.h"
#include "tests/common/basic/failing_allocations.h"
#include "tests/support/DescriptorGuard.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <fcntl.h>
#include <memory>
#include <stdexcept>
#include <type_traits>
#include <unistd.h>
#include <vector>

using dovrel::autohandle;
using dovrel::handle;

namespace {

/** The arguments of the closing function; reserved, because some tests make allocations fail. */
std::vector<int> closed;

int noteClosing(int value)
{
    closed.push_back(value);
    return -1; // The handle ignores it.
}

int otherClosing(int value)
{
    closed.push_back(-1000 - value);
    return 0;
}

class Handle : public testing::Test {
protected:
    Handle()
    {
        closed.clear();
        closed.reserve(100);
    }
};

bool isOpen(int fd)
{
    return ::fcntl(fd, F_GETFD) != -1;
}

}

TEST_F(Handle, closesItsDescriptorOnceWhenDestroyed)
{
    {
        handle<int> const owner = autohandle(7, noteClosing);
        EXPECT_TRUE(closed.empty());
    }
    EXPECT_EQ(closed, std::vector<int>{7});
}

TEST_F(Handle, closesWhenTheLastCopyIsDestroyed)
{
    auto first = std::make_unique<handle<int>>(autohandle(7, noteClosing));
    auto second = std::make_unique<handle<int>>(*first);
    auto third = std::make_unique<handle<int>>(*second);
    second.reset();
    first.reset();
    EXPECT_TRUE(closed.empty());
    third.reset();
    EXPECT_EQ(closed, std::vector<int>{7});
}

TEST_F(Handle, closesOnceInEitherOrderOfDestruction)
{
    for (unsigned order = 0; order < 2; ++order) {
        closed.clear();
        auto original = std::make_unique<handle<int>>(autohandle(8, noteClosing));
        auto copy = std::make_unique<handle<int>>(*original);
        (order == 0 ? original : copy).reset();
        EXPECT_TRUE(closed.empty());
        (order == 0 ? copy : original).reset();
        EXPECT_EQ(closed, std::vector<int>{8});
    }
}

TEST_F(Handle, closesOnceForAThousandCopies)
{
    {
        std::vector<handle<int>> const owners(1'000, autohandle(9, noteClosing));
        EXPECT_TRUE(closed.empty());
    }
    EXPECT_EQ(closed, std::vector<int>{9});
}

TEST_F(Handle, callsItsOwnClosingFunction)
{
    {
        handle<int> const one = autohandle(1, noteClosing);
        handle<int> const other = autohandle(1, otherClosing);
    }
    EXPECT_EQ(closed, (std::vector<int>{-1001, 1}));
}

TEST_F(Handle, callsTheClosingFunctionWithMinusOneTooKept)
{
    // Callers of open test for -1 themselves, and to close it does no harm.
    for (int const value : {-1, 0, -2147483647 - 1})
        autohandle(value, noteClosing);
    EXPECT_EQ(closed, (std::vector<int>{-1, 0, -2147483647 - 1}));
}

TEST_F(Handle, ignoresAFailedClose)
{
    errno = 0;
    EXPECT_NO_THROW(autohandle(-1, ::close));
    EXPECT_EQ(errno, EBADF) << "close was not called";
}

TEST_F(Handle, closesWhenAnExceptionLeavesItsScope)
{
    EXPECT_THROW(
        {
            handle<int> const owner = autohandle(7, noteClosing);
            handle<int> const copy = owner;
            throw std::runtime_error("on the way out");
        },
        std::runtime_error);
    EXPECT_EQ(closed, std::vector<int>{7});
}

TEST_F(Handle, keepsADescriptorOpenUntilTheLastCopyIsDestroyed)
{
    int ends[2];
    ASSERT_EQ(::pipe2(ends, O_CLOEXEC), 0);
    {
        handle<int> const reading = autohandle(ends[0], ::close);
        auto writing = std::make_unique<handle<int>>(autohandle(ends[1], ::close));
        {
            handle<int> const copy = *writing;
            writing.reset();
            EXPECT_TRUE(isOpen(ends[1]));
        }
        EXPECT_FALSE(isOpen(ends[1]));
        EXPECT_TRUE(isOpen(ends[0]));
    }
    EXPECT_FALSE(isOpen(ends[0]));
}

TEST_F(Handle, allocatesTheHolderAndTheCountAndFreesBoth)
{
    testkit::AllocationCounter const counter;
    {
        handle<int> const owner = autohandle(7, noteClosing);
        EXPECT_EQ(counter.calls(), 2U);
        EXPECT_EQ(counter.liveBlocks(), 2);
        {
            handle<int> const copy = owner;
            EXPECT_EQ(counter.calls(), 2U) << "a copy allocated memory";
        }
        EXPECT_EQ(counter.liveBlocks(), 2);
    }
    EXPECT_EQ(counter.liveBlocks(), 0);
}

TEST_F(Handle, closesTheDescriptorWhenAnAllocationFails)
{
    size_t const runs = testkit::failEachAllocation([] { autohandle(7, noteClosing); },
        [](bool failed, bool thrown) {
            EXPECT_EQ(thrown, failed);
            EXPECT_EQ(closed, std::vector<int>{7});
            closed.clear();
        });
    EXPECT_EQ(runs, 3U) << "two allocations fail, the third run succeeds";
}

TEST_F(Handle, isCopiedWithoutThrowingAndCannotBeAssigned)
{
    static_assert(std::is_nothrow_copy_constructible_v<handle<int>>);
    static_assert(!std::is_copy_assignable_v<handle<int>>);
    static_assert(std::has_virtual_destructor_v<handle<int>>);
    handle<int> source = autohandle(7, noteClosing);
    {
        // There is no move constructor: the source remains an owner.
        handle<int> const moved(std::move(source));
    }
    EXPECT_TRUE(closed.empty());
}

TEST_F(Handle, canBeDeletedThroughItsBaseClass)
{
    std::unique_ptr<handle<int>> owner =
        std::make_unique<dovrel::handles0<int, int (*)(int)>>(7, noteClosing);
    handle<int> const copy = *owner;
    owner.reset();
    EXPECT_TRUE(closed.empty());
}

TEST_F(Handle, leaksNoDescriptorInTenThousandRounds)
{
    testkit::DescriptorGuard const guard;
    for (unsigned i = 0; i < 10'000; ++i) {
        handle<int> const owner = autohandle(::open("/dev/null", O_RDONLY | O_CLOEXEC), ::close);
        handle<int> const copy = owner;
    }
}

TEST(CheckedDelete, ignoresNull)
{
    testkit::AllocationCounter const counter;
    dovrel::checked_delete(static_cast<int*>(nullptr));
    dovrel::checked_delete(new int(1));
    EXPECT_EQ(counter.liveBlocks(), 0);
}
