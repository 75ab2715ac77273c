#pragma once

#include "tests/support/allocation_counter.h"

#include <gtest/gtest.h>

#include <new>
#include <string>

namespace testkit {

/**
 * Runs @p action with its first allocation failing, then with its second, and so on until none
 * fails. Expects no run to leak memory, and only std::bad_alloc to leave @p action.
 *
 * @param action must not use GoogleTest: an expectation that fails allocates memory too.
 * @param check called after each run as `check(failed, thrown)`: whether an allocation failed, and
 * whether std::bad_alloc left @p action.
 * @return the number of runs.
 */
template <class Action, class Check> size_t failEachAllocation(Action action, Check check)
{
    for (size_t n = 1; n < 1000; ++n) {
        SCOPED_TRACE("allocation " + std::to_string(n));
        bool failed = false;
        bool thrown = false;
        AllocationCounter const counter;
        {
            FailingAllocation const failing(n);
            try {
                action();
            } catch (std::bad_alloc const&) {
                thrown = true;
            }
            failed = failing.hasHappened();
        }
        long const lost = counter.liveBlocks();
        EXPECT_EQ(lost, 0);
        EXPECT_TRUE(failed || !thrown);
        check(failed, thrown);
        if (!failed)
            return n;
    }
    ADD_FAILURE() << "an allocation failed in each of a thousand runs";
    return 0;
}

}
