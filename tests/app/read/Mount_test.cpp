#include "app/model/Mount.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using app::Mount;
using testing::DoubleEq;
using testing::Optional;

TEST(Mount, showsTheUsedShareOfWhatOrdinaryUsersCanUse)
{
    Mount mount;
    mount.size = 1000; // 200 of them reserved.
    mount.used = 200;
    mount.available = 600;
    EXPECT_THAT(mount.usedPercent(), Optional(DoubleEq(25)));
}

TEST(Mount, countsSharesOfSizesThatTogetherPass64Bits)
{
    Mount mount;
    mount.used = UINT64_MAX;
    mount.available = UINT64_MAX;
    EXPECT_THAT(mount.usedPercent(), Optional(DoubleEq(50)));
    mount.available = 1;
    EXPECT_THAT(mount.usedPercent(), Optional(DoubleEq(100))) << "the sum is 0 in 64 bits";
}

TEST(Mount, hasNoUsedShareWithoutBothSizes)
{
    Mount mount;
    mount.used = 0;
    EXPECT_EQ(mount.usedPercent(), std::nullopt);
    mount.available = 0;
    EXPECT_EQ(mount.usedPercent(), std::nullopt);
}
