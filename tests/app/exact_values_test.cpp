#include "app/write/exact_values.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ctime>
#include <limits>

using app::transfersPerSecond;

TEST(ExactValues, haveTheSpeedOfAModuleAsANumber)
{
    EXPECT_EQ(transfersPerSecond("3200 MT/s"), 3'200'000'000U);
    EXPECT_EQ(transfersPerSecond("667 MHz"), 667'000'000U) << "as dmidecode 3.1 writes it";
    EXPECT_EQ(transfersPerSecond("533 MHz (1.9 ns)"), 533'000'000U) << "as dmidecode 2 writes it";
    for (char const* const odd : {"", "fast", "3200", "3200 GT/s", " 3200 MT/s", "-1 MT/s", "MT/s",
             "3200 MT/s and more", "99999999999999999999 MT/s"})
        EXPECT_EQ(transfersPerSecond(odd), std::nullopt) << odd;
    EXPECT_EQ(transfersPerSecond(std::nullopt), std::nullopt);
}

TEST(ExactValues, haveNoTimeAfterTheYear9999)
{
    constexpr int64_t LAST_YEAR = 253'402'214'400;
    constexpr int64_t NEXT_YEAR = LAST_YEAR + 259'200;
    // A time_t of 32 bits ends in 2038.
    int64_t const last = sizeof(std::time_t) == sizeof(int64_t) ? LAST_YEAR : INT32_MAX;
    ASSERT_TRUE(app::timestamp(last));
    EXPECT_THAT(*app::timestamp(last), testing::ContainsRegex("^(9999-12|2038-01)-"));
    EXPECT_EQ(app::timestamp(NEXT_YEAR), std::nullopt);
    EXPECT_EQ(app::timestamp(std::numeric_limits<int64_t>::max()), std::nullopt);
    EXPECT_EQ(app::timestamp(std::nullopt), std::nullopt);
}

TEST(ExactValues, haveWordsInLowerCaseWithoutBlanks)
{
    EXPECT_EQ(app::wordOf("no carrier"), "no_carrier");
    EXPECT_EQ(app::wordOf("HDD"), "hdd");
    EXPECT_EQ(app::wordOf("unknown"), std::nullopt);
    EXPECT_EQ(app::wordOf(std::nullopt), std::nullopt);
}

TEST(ExactValues, haveRatiosInStepsOfAHundredthOfAPercent)
{
    EXPECT_EQ(app::ratioOf(12.345678), 0.1235);
    EXPECT_EQ(app::ratioOf(150), 1.5);
    EXPECT_EQ(app::ratioOf(std::nullopt), std::nullopt);
}

TEST(ExactValues, keepUnitsOfMoreThan32Bits)
{
    EXPECT_EQ(app::times(app::MEGA, 10'400), 10'400'000'000U);
    EXPECT_EQ(app::times(app::MIB, std::numeric_limits<uint32_t>::max()), 4'503'599'626'321'920U);
    EXPECT_EQ(app::times(app::MIB, std::nullopt), std::nullopt);
}
