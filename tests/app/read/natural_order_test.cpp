#include "app/model/natural_order.h"

#include <gtest/gtest.h>

using app::naturallyBefore;

TEST(NaturalOrder, comparesNumbersByTheirValue)
{
    EXPECT_TRUE(naturallyBefore("disk2", "disk10"));
    EXPECT_FALSE(naturallyBefore("disk10", "disk2"));
    EXPECT_TRUE(naturallyBefore("nvme0n1p9", "nvme0n1p10"));
}

TEST(NaturalOrder, comparesNumbersOfAnyLength)
{
    EXPECT_TRUE(naturallyBefore("x99999999999999999999998", "x99999999999999999999999"));
    EXPECT_TRUE(naturallyBefore("x99999999999999999999999", "x100000000000000000000000"));
}

TEST(NaturalOrder, putsABeginningBeforeTheWholeName)
{
    EXPECT_TRUE(naturallyBefore("sda", "sda1"));
    EXPECT_FALSE(naturallyBefore("sda1", "sda"));
    EXPECT_TRUE(naturallyBefore("", "a"));
}

TEST(NaturalOrder, putsNoNameBeforeItself)
{
    for (char const* const name : {"", "sda", "sda01"})
        EXPECT_FALSE(naturallyBefore(name, name)) << name;
}

TEST(NaturalOrder, comparesLeadingZerosOnlyOfNamesThatAreTheSameOtherwise)
{
    EXPECT_TRUE(naturallyBefore("a01", "a1"));
    EXPECT_FALSE(naturallyBefore("a1", "a01"));
    EXPECT_TRUE(naturallyBefore("a1x", "a01y"));
}

TEST(NaturalOrder, comparesBytesWithoutASign)
{
    EXPECT_TRUE(naturallyBefore("z", "\xC3\xA4"));
}
