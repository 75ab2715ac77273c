#pragma once

#include <gtest/gtest.h>

#include <vector>

namespace testkit {

/**
 * Compares each three neighbours of @p values with `isLess` and `isEqual`.
 *
 * @param isTied whether two values must be equivalent in the order.
 */
template <class Value, class Tied>
void expectStrictWeakOrder(std::vector<Value> const& values, Tied isTied)
{
    auto const isEquivalent = [](Value const& x, Value const& y) {
        return !x.isLess(y) && !y.isLess(x);
    };
    for (size_t i = 0; i + 2 < values.size(); ++i) {
        Value const& a = values[i];
        Value const& b = values[i + 1];
        Value const& c = values[i + 2];
        EXPECT_FALSE(a.isLess(a));
        EXPECT_FALSE(a.isLess(b) && b.isLess(a));
        EXPECT_FALSE(a.isLess(b) && b.isLess(c) && !a.isLess(c));
        EXPECT_FALSE(isEquivalent(a, b) && isEquivalent(b, c) && !isEquivalent(a, c));
        EXPECT_EQ(isEquivalent(a, b), isTied(a, b));
        EXPECT_FALSE(a.isEqual(b) && !isEquivalent(a, b));
        EXPECT_EQ(a.isEqual(b), b.isEqual(a));
    }
}

}
