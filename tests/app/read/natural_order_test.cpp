#include "app/model/natural_order.h"

#include <gtest/gtest.h>

using app::diskBefore;
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

TEST(DiskOrder, countsTheLettersOfADiskAsTheKernelDoes)
{
    for (char const* const prefix : {"sd", "hd", "vd", "xvd", "dasd"}) {
        std::string const name = prefix;
        EXPECT_TRUE(diskBefore(name + "b", name + "aa")) << prefix;
        EXPECT_TRUE(diskBefore(name + "z1", name + "aa")) << prefix;
        EXPECT_FALSE(diskBefore(name + "aaa", name + "zz9")) << prefix;
        EXPECT_TRUE(diskBefore(name + "a2", name + "a10")) << prefix;
    }
}

TEST(DiskOrder, isTheNaturalOneOfOtherNames)
{
    EXPECT_TRUE(diskBefore("nvme2n1", "nvme10n1"));
    EXPECT_TRUE(diskBefore("rdaa", "rdb"));
    EXPECT_TRUE(diskBefore("sdaa", "vda"));
    EXPECT_FALSE(diskBefore("sda", "sda"));
}
