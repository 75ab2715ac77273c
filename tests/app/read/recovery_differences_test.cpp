#include "tests/app/read/FoundDifferences.h"

using app::Difference;
using app::LibraryValue;
using app::Machine;
using app::Recovery;
using app::Subject;
using app_read_test::answer;
using app_read_test::differenceOf;
using app_read_test::expectNoDifference;

namespace {

/** A restore with all facts, and the library's record of it. */
Machine withRestore()
{
    Machine machine;
    Recovery& recovery = machine.recovery.emplace();
    recovery.operation = app::OPERATION_RESTORE;
    recovery.percent = 37;
    recovery.filesDone = 50;
    recovery.filesTotal = 200;
    recovery.megabytesDone = 500;
    recovery.megabytesTotal = 1000;
    recovery.megabytesPerSecond = 10;
    recovery.recoverStart = 1000;
    recovery.recoverEnd = 2000;
    recovery.restoreStart = 1100;
    recovery.restoreEnd = 1900;
    answer(machine, Subject::RECOVERY,
        {{"",
            {{"getOperationProgress", uint64_t{37}}, {"getFilesDone", uint64_t{UINT32_MAX}},
                {"getTotalFiles", uint64_t{1}}, {"getMBytesDone", uint64_t{500}},
                {"getTotalMBytes", uint64_t{1000}}, {"getThroughput", 10.0},
                {"getRecoverStartTime", int64_t{1000}}, {"getRecoverEndTime", int64_t{-1}},
                {"getRestoreStartTime", int64_t{1100}}, {"getRestoreEndTime", int64_t{1950}}}}});
    return machine;
}

}

TEST(RecoveryDifference, isNoneWhereTheEngineHasWrittenAllFacts)
{
    expectNoDifference(withRestore());
}

TEST(RecoveryDifference, isACounterThatTheEngineHasNotWritten)
{
    Machine machine = withRestore();
    machine.recovery->filesDone.reset();
    Difference const difference = differenceOf(machine);
    EXPECT_EQ(difference.subject, Subject::RECOVERY);
    EXPECT_EQ(difference.item, "");
    EXPECT_EQ(difference.fact, "files_done");
    EXPECT_EQ(difference.library, LibraryValue(uint64_t{UINT32_MAX}));
    EXPECT_EQ(difference.reason, "the engine's file has no valid number for it");
}

TEST(RecoveryDifference, hasOneReasonForAllFactsWithoutCounters)
{
    Machine machine = withRestore();
    Recovery without;
    without.operation = app::OPERATION_RESTORE;
    without.recoverStart = 1000;
    machine.recovery = without;
    auto const differences = app::differencesOf(machine);
    ASSERT_EQ(differences.size(), 9U) << "all but the time that is written";
    for (Difference const& difference : differences)
        EXPECT_EQ(difference.reason, "the engine's file has no valid value for it");
}

TEST(RecoveryDifference, isAPercentageWithoutItsCounters)
{
    Machine machine = withRestore();
    machine.recovery->percent.reset();
    EXPECT_EQ(differenceOf(machine).fact, "done_ratio");
    EXPECT_EQ(differenceOf(machine).library, LibraryValue(0.37));
}

TEST(RecoveryDifference, isARateWithoutAStart)
{
    Machine machine = withRestore();
    machine.recovery->megabytesPerSecond.reset();
    EXPECT_EQ(differenceOf(machine).fact, "bytes_per_second");
    EXPECT_EQ(differenceOf(machine).reason, "");
    machine.recovery->restoreStart.reset();
    auto const differences = app::differencesOf(machine);
    ASSERT_EQ(differences.size(), 2U);
    EXPECT_EQ(differences[0].fact, "restore_start");
    EXPECT_EQ(differences[1].reason, "the engine's file has no valid time for the restore's start");
}

TEST(RecoveryDifference, isATotalOf0)
{
    Machine machine = withRestore();
    machine.library[Subject::RECOVERY].source = "TotalFiles=0";
    Difference const difference = differenceOf(machine);
    EXPECT_EQ(difference.fact, "files_total");
    EXPECT_EQ(difference.library, LibraryValue(uint64_t{1}));
    EXPECT_EQ(difference.reason, "the engine's file has 0, which the library reports as 1");
}

TEST(RecoveryDifference, isATimeThatTheEngineHasNotWritten)
{
    Machine machine = withRestore();
    machine.recovery->recoverEnd.reset();
    Difference const end = differenceOf(machine);
    EXPECT_EQ(end.fact, "recover_end");
    EXPECT_EQ(end.library, LibraryValue(int64_t{-1}));
    EXPECT_EQ(end.reason, "the engine's file has no valid time for it");
    machine = withRestore();
    machine.recovery->restoreEnd.reset();
    EXPECT_EQ(differenceOf(machine).fact, "restore_end");
    EXPECT_EQ(differenceOf(machine).library, LibraryValue(int64_t{1950}));
}

TEST(RecoveryDifference, isOneForAllFiguresBeforeARestore)
{
    Machine machine = withRestore();
    Recovery early;
    early.operation = app::OPERATION_IDLE;
    early.recoverStart = 1000;
    early.recoverEnd = 2000;
    machine.recovery = early;
    Difference const difference = differenceOf(machine);
    EXPECT_EQ(difference.fact, "done_ratio");
    EXPECT_EQ(
        difference.reason, "before a restore the library reports all counters and rates as 0");
}

TEST(RecoveryDifference, isNoneWhereNoRecoveryWasStarted)
{
    Machine machine;
    answer(machine, Subject::RECOVERY, {}).outcome = app::LibraryAnswer::RETURNED_FALSE;
    expectNoDifference(machine);
}
