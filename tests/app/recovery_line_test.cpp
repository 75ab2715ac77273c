#include "app/write/display.h"
#include "app/write/recovery_line.h"
#include "tests/app/LocaleFor.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using app::displayWidth;
using app::Recovery;
using app::recoveryBar;
using app::RecoveryOutcome;
using std::chrono::seconds;
using testing::MatchesRegex;
using testing::Optional;
using testing::StartsWith;

namespace {

constexpr int64_t START = 1'000'000;

/** After 100 seconds half of the MB and a quarter of the files are there. */
Recovery halfRestored()
{
    Recovery recovery;
    recovery.operation = 5000;
    recovery.percent = 37;
    recovery.filesDone = 50;
    recovery.filesTotal = 200;
    recovery.megabytesDone = 500;
    recovery.megabytesTotal = 1000;
    recovery.megabytesPerSecond = 5;
    recovery.restoreStart = START;
    return recovery;
}

std::string barOf(Recovery const& recovery, size_t columns)
{
    return recoveryBar(recovery, columns, START + 100, false);
}

}

TEST(RecoveryBar, dropsWhatIsLeastMissed)
{
    std::string const withRate = "[####......]   37 %  500/1000 MB (50 %)  5 MB/s  0:01:40 left";
    Recovery const recovery = halfRestored();

    EXPECT_EQ(barOf(recovery, 86), "restoring  " + withRate + "  50/200 files");
    EXPECT_THAT(barOf(recovery, 85), MatchesRegex("restoring  .*  0:01:40 left"));
    EXPECT_EQ(barOf(recovery, 72), "restoring  " + withRate);
    EXPECT_THAT(barOf(recovery, 71),
        MatchesRegex("\\[#+\\.+\\]   37 %  500/1000 MB \\(50 %\\)  5 MB/s  .*"));
    EXPECT_EQ(barOf(recovery, 61), withRate);
    EXPECT_EQ(barOf(recovery, 53), "[####......]   37 %  500/1000 MB (50 %)  0:01:40 left");
    EXPECT_EQ(barOf(recovery, 33), "[####......]   37 %  0:01:40 left");
    EXPECT_EQ(barOf(recovery, 19), "[####......]   37 %");
    EXPECT_EQ(barOf(recovery, 18), " 37 %");
    EXPECT_EQ(barOf(recovery, 3), " 37");
}

TEST(RecoveryBar, isNeverWiderThanItMayBe)
{
    for (size_t columns = 1; columns <= 200; ++columns)
        EXPECT_LE(barOf(halfRestored(), columns).size(), columns);
}

TEST(RecoveryBar, fillsTheLineWhereItHasPlace)
{
    for (size_t columns = 19; columns <= 200; ++columns)
        EXPECT_EQ(barOf(halfRestored(), columns).size(), columns) << columns;
}

TEST(RecoveryBar, isAsWideInBlocks)
{
    app_test::LocaleFor const utf8("C.UTF-8");
    for (size_t const columns : {19, 40, 80, 200})
        EXPECT_EQ(displayWidth(recoveryBar(halfRestored(), columns, START + 100, true)), columns);
    EXPECT_EQ(recoveryBar(halfRestored(), 19, START + 100, true), "[████░░░░░░]   37 %");
}

TEST(RecoveryBar, showsWhatIsUnknownAsSuch)
{
    Recovery recovery;
    recovery.operation = 5000;

    EXPECT_EQ(barOf(recovery, 54), "restoring  [..........]      -  -/- MB  - MB/s  - left");
}

TEST(RecoveryBar, keepsThePhaseBehindTheRestoreInWordsAlone)
{
    Recovery recovery = halfRestored();
    recovery.operation = 6000;
    recovery.percent = 100;
    recovery.megabytesDone = 1000;

    EXPECT_THAT(barOf(recovery, 77),
        MatchesRegex("after the restore  \\[#+\\]  100 %  1000/1000 MB  5 MB/s  .* left"));
}

TEST(RecoveryLine, hasBothSharesWhereTheyDiffer)
{
    Recovery recovery = halfRestored();
    recovery.percent = 5;
    recovery.megabytesDone = 4096;
    recovery.megabytesTotal = 40960;

    EXPECT_EQ(app::recoveryLine(recovery),
        "restoring  5 %  50 of 200 files  4096 of 40960 MB (10 %)  5 MB/s");
    EXPECT_THAT(barOf(recovery, 77), MatchesRegex(".*    5 %  4096/40960 MB \\(10 %\\)  .*"));
}

TEST(RecoveryLine, namesTheOperationsWithoutANameByTheirNumber)
{
    Recovery recovery;
    recovery.operation = 2000;
    EXPECT_EQ(app::recoveryLine(recovery), "before the restore (operation 2000)");
    EXPECT_EQ(barOf(recovery, 20), "before the restore (");
    recovery.operation = 0;
    EXPECT_EQ(app::recoveryLine(recovery), "before the restore") << "none is written";
    recovery.operation = 6000;
    EXPECT_THAT(app::recoveryLine(recovery), StartsWith("after the restore (operation 6000)  "));
}

TEST(RecoveryOutcome, needsAnEndAndAPercentage)
{
    Recovery recovery = halfRestored();
    EXPECT_EQ(recovery.outcome(), RecoveryOutcome::UNWRITTEN);
    recovery.restoreEnd = START + 50;
    EXPECT_EQ(recovery.outcome(), RecoveryOutcome::FAILED);
    recovery.percent = 100;
    EXPECT_EQ(recovery.outcome(), RecoveryOutcome::FINISHED);
    recovery.percent = std::nullopt;
    EXPECT_EQ(recovery.outcome(), RecoveryOutcome::UNWRITTEN);
}

TEST(RecoveryStateText, agreesWithTheOutcome)
{
    Recovery recovery = halfRestored();
    EXPECT_EQ(app::stateText(recovery, START + 100), "restoring");
    recovery.recoverEnd = START + 50;
    EXPECT_EQ(app::stateText(recovery, START + 100), "failed, last state: restoring");
    recovery.percent = 100;
    EXPECT_EQ(app::stateText(recovery, START + 100), "finished");
    recovery.percent = std::nullopt;
    EXPECT_EQ(
        app::stateText(recovery, START + 100), "ended, result unknown, last state: restoring");
}

TEST(RecoveryOutcome, isNotThatOfAnEarlierRecovery)
{
    Recovery recovery = halfRestored();
    recovery.recoverStart = START;
    recovery.recoverEnd = START - 50;
    recovery.restoreEnd = START - 60;

    EXPECT_EQ(recovery.outcome(), RecoveryOutcome::UNWRITTEN);
    EXPECT_EQ(recovery.end(), std::nullopt);
    EXPECT_THAT(app::recoveryOutcome(recovery, START + 100),
        StartsWith(
            "ended, result unknown; last seen: 50 of 200 files and 500 of 1000 MB in 0:01:40"));
}

TEST(RecoveryTimeLeft, isThatOfTheMegabytes)
{
    EXPECT_THAT(halfRestored().timeLeft(START + 100), Optional(seconds(100)));
}

TEST(RecoveryTimeLeft, isThatOfThePercentageWhereNoMegabytesAreKnown)
{
    Recovery recovery = halfRestored();
    recovery.megabytesDone = std::nullopt;
    recovery.percent = 20;

    EXPECT_THAT(recovery.timeLeft(START + 100), Optional(seconds(400)));
}

TEST(RecoveryTimeLeft, isUnknownBeforeAnythingIsThereAndAfterTheEnd)
{
    Recovery fresh = halfRestored();
    fresh.megabytesDone = 0;
    fresh.percent = 0;
    Recovery ended = halfRestored();
    ended.restoreEnd = START + 50;
    Recovery timeless = halfRestored();
    timeless.restoreStart = std::nullopt;

    for (Recovery const& recovery : {fresh, ended, timeless})
        EXPECT_EQ(recovery.timeLeft(START + 100), std::nullopt);
    EXPECT_EQ(halfRestored().timeLeft(START - 5), std::nullopt) << "the clock was set back";
}

TEST(RecoveryTimeLeft, doesNotOverflow)
{
    Recovery recovery = halfRestored();
    recovery.megabytesDone = 1;
    recovery.megabytesTotal = 4'000'000'000U;
    recovery.restoreStart = 1;

    EXPECT_THAT(recovery.timeLeft(2'000'000'001), Optional(seconds(7'999'999'998'000'000'000)));
}

TEST(RecoveryTimeLeft, isUnknownWhereMoreIsDoneThanThereWas)
{
    Recovery recovery = halfRestored();
    recovery.megabytesDone = *recovery.megabytesTotal + 1;
    recovery.percent = 104;

    EXPECT_EQ(recovery.timeLeft(START + 100), std::nullopt);
}

TEST(RecoveryEnd, isTheEndOfTheRestoreOnlyWhenAllIsThere)
{
    constexpr int64_t LATER = START + 100;
    Recovery recovery = halfRestored();
    recovery.restoreEnd = START + 50;
    EXPECT_FALSE(recovery.isOver(LATER));
    recovery.percent = 100;
    EXPECT_TRUE(recovery.isOver(LATER));
    recovery.percent = 104;
    EXPECT_TRUE(recovery.isOver(LATER));
    recovery.percent = std::nullopt;
    EXPECT_TRUE(recovery.isOver(LATER));
    recovery.restoreEnd = std::nullopt;
    EXPECT_FALSE(recovery.isOver(LATER));
}

TEST(RecoveryEnd, isNotTheEndOfARestoreThatALaterOperationFollows)
{
    Recovery recovery = halfRestored();
    recovery.percent = 100;
    recovery.restoreEnd = START + 50;
    recovery.operation = 6000;
    EXPECT_FALSE(recovery.isOver(START + 1000));
    recovery.recoverEnd = START + 900;
    EXPECT_TRUE(recovery.isOver(START + 1000));
}

TEST(RecoveryEnd, leavesTheEngineTimeToGoOnAfterTheRestore)
{
    Recovery recovery = halfRestored();
    recovery.percent = 100;
    recovery.restoreEnd = START + 50;
    EXPECT_FALSE(recovery.isOver(START + 50));
    EXPECT_FALSE(recovery.isOver(START + 52));
    EXPECT_TRUE(recovery.isOver(START + 53));
    EXPECT_TRUE(recovery.isOver(START + 49)) << "the clock was set back";
}
