// recovery --watch on a terminal: the bar, its width, and the lines that take its place.

#include "app/exit_status.h"
#include "tests/app/WatchedProgram.h"
#include "tests/app/watched_recovery.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>

using app_test::linesOf;
using app_test::RecoveryMachine;
using app_test::screenAfter;
using app_test::WatchedProgram;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;
namespace watched = app_test::watched;

namespace {

/** Everything between two moves of the cursor to the beginning of a line. */
std::vector<std::string> piecesOf(std::string output)
{
    std::replace(output.begin(), output.end(), '\r', '\n');
    return linesOf(output);
}

size_t widestOf(std::string const& output)
{
    size_t widest = 0;
    for (std::string const& piece : piecesOf(output))
        widest = std::max(widest, piece.size());
    return widest;
}

std::string withoutBlanks(std::string text)
{
    std::erase_if(text, [](char c) { return c == ' ' || c == '\r' || c == '\n'; });
    return text;
}

/** @return the output on a terminal before the lines that say how the recovery ended, which may be
 * broken anywhere. */
std::string barsOf(WatchedProgram const& program, std::string const& outcome)
{
    std::string const& output = program.output();
    std::string const expected = withoutBlanks(outcome);
    for (size_t begin = output.size(); begin-- > 0;)
        if (output[begin] == expected.front()
            && withoutBlanks(output.substr(begin)).starts_with(expected))
            return output.substr(0, begin);
    ADD_FAILURE() << output;
    return output;
}

/** Follows half of a restore, and its end, on a terminal. */
std::string barsOfARestore(unsigned short columns)
{
    RecoveryMachine const machine;
    machine.status(watched::restore(50, 500));
    WatchedProgram program(machine.program({"recovery", "--watch", "0.1"}), columns);
    program.waitFor(" 37 %");
    machine.status(watched::ended(200, 1000));
    EXPECT_EQ(program.waitForEnd(), app::EXIT_STATUS_OK);
    EXPECT_THAT(program.output(), testing::EndsWith("\r\n"));
    return barsOf(program, watched::FINISHED);
}

}

TEST(RecoveryWatch, drawsItsBarOver40Columns)
{
    std::string const bars = barsOfARestore(40);

    EXPECT_THAT(piecesOf(bars).at(1), MatchesRegex("\\[####+\\.+\\]   37 %  0:01:[0-9][0-9] left"));
    EXPECT_THAT(screenAfter(bars, 40), ElementsAre(MatchesRegex("\\[#+\\]  100 %  - left"), ""));
    EXPECT_LT(widestOf(bars), 40U);
}

TEST(RecoveryWatch, drawsItsBarOver80Columns)
{
    std::string const bars = barsOfARestore(80);

    EXPECT_THAT(piecesOf(bars).at(1),
        MatchesRegex(
            "restoring  \\[####+\\.+\\]   37 %  500/1000 MB \\(50 %\\)  [45] MB/s  0:01:.. left"));
    EXPECT_THAT(screenAfter(bars, 80),
        ElementsAre(
            MatchesRegex("restoring  \\[#+\\]  100 %  1000/1000 MB  20 MB/s  - left.*"), ""));
    EXPECT_LT(widestOf(bars), 80U);
}

TEST(RecoveryWatch, drawsItsBarOver200Columns)
{
    std::string const bars = barsOfARestore(200);

    std::string const first = piecesOf(bars).at(1);
    EXPECT_THAT(first,
        MatchesRegex(
            "restoring  \\[#+\\.+\\]   37 %  500/1000 MB \\(50 %\\)  [45] MB/s  0:01:.. left"
            "  50/200 files"));
    EXPECT_EQ(first.size(), 197U);
    EXPECT_THAT(screenAfter(bars, 200), ElementsAre(HasSubstr("200/200 files"), ""));
    EXPECT_LT(widestOf(bars), 200U);
}

TEST(RecoveryWatch, breaksItsLastLineWhereTheTerminalEnds)
{
    RecoveryMachine const machine;
    machine.status(watched::ended(200, 1000));
    WatchedProgram program(machine.program({"recovery", "--watch", "0.1"}), 40);

    EXPECT_EQ(program.waitForEnd(), app::EXIT_STATUS_OK);
    EXPECT_THAT(program.output(),
        testing::EndsWith("finished: 200 of 200 files and 1000 of\r\n"
                          "1000 MB in 0:00:50, at 2026-03-24\r\n14:05:50\r\n"));
}

TEST(RecoveryWatch, needsNoMoreThanASingleColumn)
{
    for (unsigned short const columns : std::array<unsigned short, 5>{1, 3, 5, 9, 17}) {
        RecoveryMachine const machine;
        machine.status(watched::ended(200, 1000));
        WatchedProgram program(machine.program({"recovery", "--watch", "0.1"}), columns);

        EXPECT_EQ(program.waitForEnd(), app::EXIT_STATUS_OK);
        std::string const bars = barsOf(program, watched::FINISHED);
        EXPECT_LE(widestOf(bars), columns);
        EXPECT_EQ(screenAfter(bars, columns).size(), 2U) << columns;
    }
}

TEST(RecoveryWatch, takesATerminalOfNoKnownWidthForOneOf80Columns)
{
    RecoveryMachine const machine;
    machine.status(watched::ended(200, 1000));
    WatchedProgram program(machine.program({"recovery", "--watch", "0.1"}), 0);

    EXPECT_EQ(program.waitForEnd(), app::EXIT_STATUS_OK);
    EXPECT_EQ(widestOf(barsOf(program, watched::FINISHED)), 77U);
}

TEST(RecoveryWatch, followsTheWidthOfItsTerminal)
{
    RecoveryMachine const machine;
    machine.status(watched::restore(50, 500));
    WatchedProgram program(machine.program({"recovery", "--watch", "0.1"}), 200);
    program.waitFor("files");

    program.resize(40);
    program.waitFor("\r[####");
    program.waitFor("\r[####"); // The first may have come before its end.
    size_t const narrow = program.output().rfind('\r');
    program.waitFor("\r[####");
    machine.status(watched::IDLE);

    EXPECT_EQ(program.waitForEnd(), app::EXIT_STATUS_OK);
    EXPECT_LE(
        widestOf(barsOf(program, "ended, result unknown; last seen: 50 of 200").substr(narrow)),
        37U);
}

TEST(RecoveryWatch, leavesNothingOfAWiderBarBehindANarrowerOne)
{
    RecoveryMachine const machine;
    machine.status(watched::restore(50, 500));
    WatchedProgram program(machine.program({"recovery", "--watch", "0.1"}), 80);
    program.waitFor(" 37 %");
    machine.status(watched::EARLY);
    program.waitFor("\rbefore the restore (operation 4000)");
    program.waitFor("\rbefore the restore (operation 4000)"); // The first may miss its blanks.

    EXPECT_THAT(screenAfter(program.output(), 80),
        ElementsAre(MatchesRegex("before the restore \\(operation 4000\\) *")));
}

TEST(RecoveryWatch, endsWithoutALineOfARecoveryThatCouldNeverBeRead)
{
    RecoveryMachine const machine;
    machine.status(watched::restore(50, 500));
    machine.hideStatus();
    WatchedProgram program(machine.program({"recovery", "--watch", "0.1"}), 80);

    EXPECT_EQ(program.waitForEnd(), app::EXIT_STATUS_QUERY_FAILED);
    EXPECT_EQ(linesOf(program.output()).size(), 2U);
    EXPECT_THAT(program.output(), testing::StartsWith("dovrel-sysinfo: cannot read the recovery"));
}

TEST(RecoveryWatch, goesThroughARecoveryFromBeforeItsStartToItsEnd)
{
    RecoveryMachine const machine;
    WatchedProgram program(machine.program({"recovery", "--watch", "0.1"}), 80);
    program.waitFor(watched::WAITING);
    machine.status(watched::IDLE);
    program.waitFor("\rwaiting");
    program.waitFor("\rwaiting"); // The first may have come before.
    machine.status(watched::EARLY);
    program.waitFor("\rbefore the restore (operation 4000)");
    machine.status(watched::restore(0, 0));
    program.waitFor("    0 %  0/1000 MB  0 MB/s  - left");
    machine.status(watched::restore(100, 500));
    program.waitFor("   50 %  500/1000 MB");
    machine.status(watched::restore(200, 1000));
    program.waitFor("  100 %  1000/1000 MB");
    machine.status(RecoveryMachine::restore("5001", "", 200, 1000));
    program.waitFor("after the restore  [#");
    machine.status(watched::IDLE);

    EXPECT_EQ(program.waitForEnd(), app::EXIT_STATUS_OK);
    EXPECT_THAT(
        screenAfter(
            barsOf(program, "ended, result unknown; last seen: 200 of 200 files and 1000 of"), 80),
        ElementsAre(HasSubstr("after the restore  [#"), ""));
    EXPECT_THAT(program.output(), Not(HasSubstr("idle")));
    EXPECT_THAT(program.output(), Not(HasSubstr("\x1B"))) << "escape sequences";
}
