#include "app/exit_status.h"
#include "tests/app/RecoveryMachine.h"
#include "tests/support/Json.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <set>

using app_test::engineTime;
using app_test::linesOf;
using app_test::Outcome;
using app_test::Program;
using app_test::RecoveryMachine;
using testing::ElementsAre;
using testing::HasSubstr;
using testkit::Json;

namespace {

constexpr uint64_t MIB = 1'048'576;

constexpr char const* TIMES = "RecoverStart=24-03-2026 14:00:00\n"
                              "RecoverEnd=24-03-2026 14:12:00\n"
                              "RestoreStart=24-03-2026 14:05:00\n"
                              "RestoreEnd=24-03-2026 14:05:50\n";

/** The recovery in the output of `recovery --json`. */
Json recoveryOn(RecoveryMachine const& machine)
{
    Outcome const outcome = machine.program({"recovery", "--json"}).run();
    EXPECT_EQ(outcome.status, app::EXIT_STATUS_OK);
    EXPECT_EQ(outcome.err, "");
    return Json::parse(outcome.out).at("recovery");
}

std::string stateLine(RecoveryMachine const& machine)
{
    return linesOf(machine.program({"recovery"}).run().out).at(1);
}

}

TEST(Recovery, isShownInFullWithItsOutcome)
{
    RecoveryMachine machine;
    machine.status(RecoveryMachine::restore("5000", TIMES, 50, 500));

    Outcome const table = machine.program({"recovery"}).run();

    EXPECT_EQ(table.status, app::EXIT_STATUS_OK);
    EXPECT_EQ(table.err, "");
    EXPECT_THAT(linesOf(table.out),
        ElementsAre("RECOVERY", //
            "State             failed, last state: restoring", //
            "Progress          37 %  (50 % of the MB)", //
            "Files             50 of 200", //
            "MB                500 of 1000", //
            "Rate              10 MB/s", //
            "Recovery started  2026-03-24 14:00:00", //
            "Recovery ended    2026-03-24 14:12:00", //
            "Restore started   2026-03-24 14:05:00", //
            "Restore ended     2026-03-24 14:05:50", //
            "", //
            "failed: 50 of 200 files and 500 of 1000 MB in 0:12:00, at 2026-03-24 14:12:00"));
}

TEST(Recovery, showsTheShareOfTheMegabytesWhereThePercentageIsAnother)
{
    RecoveryMachine machine;
    std::string const text = "[Main]\nStatus=5000\n[RestoreStatus]\nTotalFiles=1000\nFilesDone=0\n"
                             "TotalBytes=42949672960\nBytesDone=4294967296\n";
    machine.status(text);
    EXPECT_EQ(linesOf(machine.program({"recovery"}).run().out).at(2),
        "Progress          5 %  (10 % of the MB)");
    machine.status(
        std::string(text).erase(text.find("TotalFiles"), std::string("TotalFiles=1000\n").size()));
    EXPECT_EQ(linesOf(machine.program({"recovery"}).run().out).at(2),
        "Progress          -  (10 % of the MB)");
}

TEST(Recovery, isWrittenForScriptsInFull)
{
    RecoveryMachine machine;
    machine.status(RecoveryMachine::restore("5000", TIMES, 50, 500));

    EXPECT_EQ(recoveryOn(machine),
        Json::object(
            {{"state", "restoring"}, {"operation", 5000}, {"done_ratio", 0.37}, {"files_done", 50},
                {"files_total", 200}, {"bytes_done", 500 * MIB}, {"bytes_total", 1000 * MIB},
                {"bytes_per_second", 10 * MIB}, {"recover_start", "2026-03-24T14:00:00+00:00"},
                {"recover_end", "2026-03-24T14:12:00+00:00"},
                {"restore_start", "2026-03-24T14:05:00+00:00"},
                {"restore_end", "2026-03-24T14:05:50+00:00"}}));
}

TEST(Recovery, hasItsTimesInTheZoneOfTheMachine)
{
    RecoveryMachine machine;
    machine.status(RecoveryMachine::restore("5000", TIMES, 50, 500));
    Program program = machine.program({"recovery", "--json"});
    program.environment["TZ"] = "IST-5:30";

    Json const recovery = Json::parse(program.run().out).at("recovery");
    program.arguments = {"recovery"};

    EXPECT_EQ(recovery.at("restore_start"), "2026-03-24T14:05:00+05:30");
    EXPECT_THAT(program.run().out, HasSubstr("Restore started   2026-03-24 14:05:00\n"));
}

TEST(Recovery, thatRunsHasNoEnd)
{
    RecoveryMachine machine;
    for (char const* const line : {"", "RestoreEnd=\n", "RestoreEnd=  \n"}) {
        machine.status(RecoveryMachine::restore(
            "5000", "RestoreStart=" + engineTime(-100) + "\n" + line, 50, 500));

        Json const recovery = recoveryOn(machine);

        EXPECT_FALSE(recovery.at("restore_start").is_null());
        EXPECT_TRUE(recovery.at("restore_end").is_null()) << recovery;
        EXPECT_THAT(recovery.at("bytes_per_second"), testing::AnyOf(Json(5 * MIB), Json(4 * MIB)));
        EXPECT_THAT(machine.program({"recovery"}).run().out, HasSubstr("Restore ended     -\n"));
    }
}

TEST(Recovery, hasThePercentageOfTheEngine)
{
    RecoveryMachine machine;
    machine.percent("73\n");
    machine.status(RecoveryMachine::restore("5000", TIMES, 50, 500));
    EXPECT_EQ(recoveryOn(machine).at("done_ratio"), 0.73);
    machine.status("[Main]\nStatus=5000\n");
    EXPECT_EQ(recoveryOn(machine).at("done_ratio"), 0.73) << "without counters too";
    machine.percent("100\n");
    EXPECT_EQ(recoveryOn(machine).at("done_ratio"), 1.0);
}

struct RecoveryState : testing::TestWithParam<std::array<char const*, 3>> { };

TEST_P(RecoveryState, isNamedWithItsOperation)
{
    auto const& [status, name, shown] = GetParam();
    RecoveryMachine machine;
    machine.status(RecoveryMachine::restore(status, TIMES, 50, 500));

    Json const recovery = recoveryOn(machine);

    EXPECT_EQ(recovery.at("state"), name);
    EXPECT_EQ(recovery.at("operation"), Json::parse(status));
    EXPECT_EQ(stateLine(machine), std::string("State             ") + shown);
}

INSTANTIATE_TEST_SUITE_P(Recovery, RecoveryState,
    testing::Values(
        std::array{"1000", "idle", "idle, the last recovery ended at 2026-03-24 14:12:00"}, //
        std::array{"0", "early", "ended, result unknown, last state: before the restore"}, //
        std::array{"-5", "early",
            "ended, result unknown, last state: before the restore (operation -5)"}, //
        std::array{"999", "early",
            "ended, result unknown, last state: before the restore (operation 999)"}, //
        std::array{"1001", "early",
            "ended, result unknown, last state: before the restore (operation 1001)"}, //
        std::array{"4999", "early",
            "ended, result unknown, last state: before the restore (operation 4999)"}, //
        std::array{"5000", "restoring", "failed, last state: restoring"}, //
        std::array{"5001", "later", "failed, last state: after the restore (operation 5001)"}, //
        std::array{"5500", "final_sync", "failed, last state: final sync"}, //
        std::array{"7000", "later", "failed, last state: after the restore (operation 7000)"}));

TEST(Recovery, isAFinalSyncWhereTheOperatorHasAskedForOne)
{
    RecoveryMachine machine;
    machine.status(RecoveryMachine::restore("5000", TIMES, 50, 500));
    machine.answers("[AdvancedOptions]\nFinalSync=1\n");

    Json const recovery = recoveryOn(machine);

    EXPECT_EQ(recovery.at("state"), "final_sync");
    EXPECT_EQ(recovery.at("operation"), 5500);
    EXPECT_EQ(recovery.at("done_ratio"), 0.37);
}

TEST(Recovery, hasNoFiguresBeforeTheRestore)
{
    RecoveryMachine machine;
    for (char const* const status : {"1000", "4000"}) {
        machine.status(RecoveryMachine::restore(
            status, "RecoverStart=24-03-2026 14:00:00\nRestoreStart=24-03-2026 14:05:00\n", 5, 5));

        Json const recovery = recoveryOn(machine);

        EXPECT_EQ(recovery.at("recover_start"), "2026-03-24T14:00:00+00:00");
        for (char const* const unknown : {"done_ratio", "files_done", "files_total", "bytes_done",
                 "bytes_total", "bytes_per_second", "recover_end", "restore_start", "restore_end"})
            EXPECT_TRUE(recovery.at(unknown).is_null()) << unknown << " " << recovery;
    }
}

TEST(Recovery, withoutCountersAndTimesIsAllUnknown)
{
    RecoveryMachine machine;
    machine.status("[Main]\nStatus=5000\nRecoverStart=yesterday\n");

    Outcome const table = machine.program({"recovery"}).run();

    EXPECT_EQ(table.status, app::EXIT_STATUS_OK);
    auto lines = linesOf(table.out);
    ASSERT_EQ(lines.size(), 13U) << "one note has all of the library's values";
    EXPECT_EQ(lines[11], "The library reports to its host:");
    EXPECT_THAT(lines[12],
        testing::MatchesRegex(
            "1 recover start .*, recover end .*, restore start .*, restore end .*, done .*, files "
            "done 4294967295, files total .*, bytes done .*, bytes total .*, bytes per second .*: "
            "the engine's file has no valid value for them\\."));
    lines.resize(10);
    EXPECT_THAT(lines,
        ElementsAre("RECOVERY", //
            "State             restoring", //
            "Progress          -", //
            "Files             - of -", //
            "MB                - of -", //
            "Rate              -", //
            "Recovery started  -", //
            "Recovery ended    -", //
            "Restore started   -", //
            "Restore ended     -"));
    Json const recovery = recoveryOn(machine);
    for (auto const& [key, value] : recovery.items())
        EXPECT_EQ(value.is_null(), key != "state" && key != "operation") << key;
}

TEST(Recovery, isDifferentWhereTheLibraryReportsATotalOf0As1)
{
    RecoveryMachine machine;
    machine.status("[Main]\nStatus=5000\n[RestoreStatus]\nTotalFiles=00\n");
    auto const differences = [&machine](std::string const& fact) {
        Json const document = Json::parse(machine.program({"recovery", "--json"}).run().out);
        for (Json const& difference : document.at("differences"))
            if (difference.at("fact") == fact)
                return difference;
        return Json();
    };
    EXPECT_EQ(differences("files_total"),
        Json::object(
            {{"subject", "recovery"}, {"item", nullptr}, {"fact", "files_total"}, {"library", 1},
                {"reason", "the engine's file has 0, which the library reports as 1"}}));
    machine.status("[Main]\nStatus=5000\n[RestoreStatus]\nTotalFiles=7\n");
    EXPECT_EQ(differences("files_total"), Json());
}

TEST(Recovery, withAnEmptyTimeIsUnknownWestAndEastOfGreenwich)
{
    RecoveryMachine machine;
    machine.status(RecoveryMachine::restore("5000", "RestoreStart=\nRestoreEnd=x\n", 50, 500));
    for (char const* const zone : {"UTC0", "NZST-12", "HST10"}) {
        Program program = machine.program({"recovery", "--json"});
        program.environment["TZ"] = zone;

        Json const recovery = Json::parse(program.run().out).at("recovery");

        for (char const* const unknown :
            {"recover_start", "recover_end", "restore_start", "restore_end", "bytes_per_second"})
            EXPECT_TRUE(recovery.at(unknown).is_null()) << zone << " " << recovery;
        EXPECT_EQ(recovery.at("bytes_done"), 500 * MIB);
    }
}

/** A counter of the engine, and the facts that cannot be known without it. */
struct Counter {
    char const* name;
    std::set<std::string> facts;
};

struct RecoveryCounter : testing::TestWithParam<Counter> { };

TEST_P(RecoveryCounter, leavesItsFactsUnknownWhereItIsNoCount)
{
    auto const& [name, facts] = GetParam();
    std::string const whole = RecoveryMachine::restore("5000", TIMES, 50, 500);
    size_t const line = whole.find(name);
    size_t const end = whole.find('\n', line) + 1;
    // Missing, empty, no number, the library's number for "missing", and another negative one.
    for (std::string const value : {"", "=\n", "=x\n", "=-1\n", "=-7\n"}) {
        RecoveryMachine machine;
        machine.status(
            std::string(whole).replace(line, end - line, value.empty() ? "" : name + value));

        Json const recovery = recoveryOn(machine);

        for (auto const& [key, fact] : recovery.items())
            EXPECT_EQ(fact.is_null(), facts.count(key) == 1) << value << key << " " << recovery;
        machine.percent("73\n");
        EXPECT_EQ(recoveryOn(machine).at("done_ratio"), 0.73) << "the engine's own";
    }
}

INSTANTIATE_TEST_SUITE_P(Recovery, RecoveryCounter,
    testing::Values(Counter{"TotalFiles", {"files_total", "done_ratio"}},
        Counter{"FilesDone", {"files_done", "done_ratio"}},
        Counter{"TotalBytes", {"bytes_total", "done_ratio"}},
        Counter{"BytesDone", {"bytes_done", "bytes_per_second", "done_ratio"}}));

TEST(Recovery, ofNoBytesIsKnownToHaveNone)
{
    RecoveryMachine machine;
    machine.status(std::string("[Main]\nStatus=5000\n") + TIMES
        + "[RestoreStatus]\nTotalFiles=4\nFilesDone=1\nTotalBytes=0\nBytesDone=0\n");

    Json const recovery = recoveryOn(machine);

    EXPECT_EQ(recovery.at("bytes_total"), 0);
    EXPECT_EQ(recovery.at("bytes_per_second"), 0);
    EXPECT_EQ(recovery.at("done_ratio"), 0.12);
}

TEST(Recovery, ofMoreThanAllHasMoreThan100Percent)
{
    RecoveryMachine machine;
    machine.status(RecoveryMachine::restore("5000", TIMES, 300, 1500));

    EXPECT_EQ(recoveryOn(machine).at("done_ratio"), 1.5);
}

TEST(Recovery, thatHasNotBeenStartedIsASentenceAndAStatusOfItsOwn)
{
    RecoveryMachine const machine;

    Outcome const table = machine.program({"recovery"}).run();
    Outcome const document = machine.program({"recovery", "--json"}).run();

    EXPECT_EQ(table.status, app::EXIT_STATUS_NO_RECOVERY);
    EXPECT_EQ(table.out, "no recovery has been started on this machine\n");
    EXPECT_EQ(table.err, "");
    EXPECT_EQ(document.status, app::EXIT_STATUS_NO_RECOVERY);
    EXPECT_EQ(Json::parse(document.out).at("recovery").at("state"), "none");
    EXPECT_EQ(document.err, "");
}

TEST(Recovery, whoseStatusCannotBeReadHasFailed)
{
    RecoveryMachine const machine;
    machine.status("[Main]\nStatus=5000\n");
    machine.hideStatus();

    for (std::vector<std::string> const& arguments :
        {std::vector<std::string>{"recovery"}, {"recovery", "--watch", "0.1"}}) {
        Outcome const outcome = machine.program(arguments).run();

        EXPECT_EQ(outcome.status, app::EXIT_STATUS_QUERY_FAILED);
        EXPECT_EQ(outcome.out, "");
        EXPECT_EQ(outcome.err,
            "dovrel-sysinfo: cannot read the recovery from /etc/dovrel/status.ini: "
            "Permission denied\n");
    }
}

TEST(Recovery, withoutAStateHasFailed)
{
    RecoveryMachine const machine;
    machine.status("[Main]\nStatus=\n");

    Outcome const outcome = machine.program({"recovery", "--json"}).run();

    EXPECT_EQ(outcome.status, app::EXIT_STATUS_QUERY_FAILED);
    EXPECT_TRUE(Json::parse(outcome.out).at("recovery").is_null());
    EXPECT_EQ(Json::parse(outcome.out).at("problems").size(), 1U);
    EXPECT_EQ(machine.program({"recovery"}).run().out, "");
    EXPECT_EQ(outcome.err,
        "dovrel-sysinfo: cannot read the recovery from /etc/dovrel/status.ini: "
        "Failed to read \"Status\" from status.ini\n");
}

TEST(Recovery, hasALineInTheSummary)
{
    RecoveryMachine const machine;
    auto const line = [&machine] {
        auto const lines = linesOf(machine.program({"--no-usage"}).run().out);
        auto const found = std::find_if(lines.begin(), lines.end(),
            [](std::string const& text) { return text.starts_with("Recovery "); });
        return found == lines.end() ? "" : *found;
    };

    EXPECT_EQ(line(), "Recovery    none");
    machine.status("[Main]\nStatus=1000\n");
    EXPECT_EQ(line(), "Recovery    idle");
    machine.status("[Main]\nStatus=1000\nRecoverEnd=24-03-2026 14:12:00\n");
    EXPECT_EQ(line(), "Recovery    idle, the last recovery ended at 2026-03-24 14:12:00");
    machine.status(
        RecoveryMachine::restore("5000", "RestoreStart=" + engineTime(-100) + "\n", 50, 500));
    EXPECT_EQ(line(), "Recovery    restoring, 37 % (50 % of the MB)");
    machine.status(RecoveryMachine::restore("5000", TIMES, 200, 1000));
    EXPECT_EQ(line(),
        "Recovery    finished: 200 of 200 files and 1000 of 1000 MB in 0:12:00, at "
        "2026-03-24 14:12:00");
    machine.hideStatus();
    EXPECT_EQ(line(), "Recovery    could not be read");
}

TEST(Recovery, hasThePlaceOfItsOwnDocumentInThatOfTheSummary)
{
    RecoveryMachine const machine;
    auto const inSummary = [&machine] {
        return Json::parse(machine.program({"--no-usage", "--json"}).run().out).at("recovery");
    };

    EXPECT_EQ(inSummary().at("state"), "none");
    machine.status(RecoveryMachine::restore("5000", TIMES, 50, 500));
    EXPECT_EQ(inSummary(), recoveryOn(machine));
}

TEST(Recovery, isNotWatchedAtOddIntervals)
{
    for (char const* const wrong : {"0", "0.05", "-1", "86401", "soon", "nan"}) {
        Outcome const outcome = Program({"recovery", std::string("--watch=") + wrong}).run();

        EXPECT_EQ(outcome.status, app::EXIT_STATUS_USAGE) << wrong;
        EXPECT_THAT(outcome.err, HasSubstr("from 0.1 to 86400")) << wrong;
    }
}
