#include "app/exit_status.h"
#include "tests/app/RecoveryMachine.h"
#include "tests/app/WatchedProgram.h"
#include "tests/app/schema_errors.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <thread>
#include <tuple>

using app_test::engineTime;
using app_test::linesOf;
using app_test::Outcome;
using app_test::RecoveryMachine;
using app_test::screenAfter;
using app_test::WatchedProgram;
using nlohmann::json;

using testing::ElementsAre;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;

namespace {

/** A restore that has run for 100 seconds. */
std::string restore(unsigned filesDone, unsigned megabytesDone, std::string const& end = "")
{
    static std::string const START = "RestoreStart=" + engineTime(-100) + "\n";
    return RecoveryMachine::restore("5000", START + end, filesDone, megabytesDone);
}

/** A restore that has ended after 50 seconds. */
std::string ended(unsigned filesDone, unsigned megabytesDone)
{
    return RecoveryMachine::restore("5000",
        "RestoreStart=24-03-2026 14:05:00\nRestoreEnd=24-03-2026 14:05:50\n", filesDone,
        megabytesDone);
}

constexpr char const* WAITING = "waiting for a recovery to start";
constexpr char const* EARLY = "[Main]\nStatus=4000\n";
constexpr char const* IDLE = "[Main]\nStatus=1000\n";

/** The last line of a watch of `ended(200, 1000)`. */
constexpr char const* FINISHED =
    "finished: 200 of 200 files and 1000 of 1000 MB in 0:00:50, at 2026-03-24 14:05:50";

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

auto fieldsOf(termios const& modes)
{
    return std::make_tuple(modes.c_iflag, modes.c_oflag, modes.c_cflag, modes.c_lflag,
        std::string(std::begin(modes.c_cc), std::end(modes.c_cc)));
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
    machine.status(restore(50, 500));
    WatchedProgram program(machine.program({"recovery", "--watch", "0.1"}), columns);
    program.waitFor(" 37 %");
    machine.status(ended(200, 1000));
    EXPECT_EQ(program.waitForEnd(), app::EXIT_STATUS_OK);
    EXPECT_THAT(program.output(), testing::EndsWith("\r\n"));
    return barsOf(program, FINISHED);
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
    machine.status(ended(200, 1000));
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
        machine.status(ended(200, 1000));
        WatchedProgram program(machine.program({"recovery", "--watch", "0.1"}), columns);

        EXPECT_EQ(program.waitForEnd(), app::EXIT_STATUS_OK);
        std::string const bars = barsOf(program, FINISHED);
        EXPECT_LE(widestOf(bars), columns);
        EXPECT_EQ(screenAfter(bars, columns).size(), 2U) << columns;
    }
}

TEST(RecoveryWatch, takesATerminalOfNoKnownWidthForOneOf80Columns)
{
    RecoveryMachine const machine;
    machine.status(ended(200, 1000));
    WatchedProgram program(machine.program({"recovery", "--watch", "0.1"}), 0);

    EXPECT_EQ(program.waitForEnd(), app::EXIT_STATUS_OK);
    EXPECT_EQ(widestOf(barsOf(program, FINISHED)), 77U);
}

TEST(RecoveryWatch, followsTheWidthOfItsTerminal)
{
    RecoveryMachine const machine;
    machine.status(restore(50, 500));
    WatchedProgram program(machine.program({"recovery", "--watch", "0.1"}), 200);
    program.waitFor("files");

    program.resize(40);
    program.waitFor("\r[####");
    program.waitFor("\r[####"); // The first may have come before its end.
    size_t const narrow = program.output().rfind('\r');
    program.waitFor("\r[####");
    machine.status(IDLE);

    EXPECT_EQ(program.waitForEnd(), app::EXIT_STATUS_OK);
    EXPECT_LE(
        widestOf(barsOf(program, "ended, result unknown; last seen: 50 of 200").substr(narrow)),
        37U);
}

TEST(RecoveryWatch, goesThroughARecoveryFromBeforeItsStartToItsEnd)
{
    RecoveryMachine const machine;
    WatchedProgram program(machine.program({"recovery", "--watch", "0.1"}), 80);
    program.waitFor(WAITING);
    machine.status(IDLE);
    program.waitFor("\rwaiting");
    program.waitFor("\rwaiting"); // The first may have come before.
    machine.status(EARLY);
    program.waitFor("\rbefore the restore (operation 4000)");
    machine.status(restore(0, 0));
    program.waitFor("    0 %  0/1000 MB  0 MB/s  - left");
    machine.status(restore(100, 500));
    program.waitFor("   50 %  500/1000 MB");
    machine.status(restore(200, 1000));
    program.waitFor("  100 %  1000/1000 MB");
    machine.status(RecoveryMachine::restore("5001", "", 200, 1000));
    program.waitFor("after the restore  [#");
    machine.status(IDLE);

    EXPECT_EQ(program.waitForEnd(), app::EXIT_STATUS_OK);
    EXPECT_THAT(
        screenAfter(
            barsOf(program, "ended, result unknown; last seen: 200 of 200 files and 1000 of"), 80),
        ElementsAre(HasSubstr("after the restore  [#"), ""));
    EXPECT_THAT(program.output(), Not(HasSubstr("idle")));
    EXPECT_THAT(program.output(), Not(HasSubstr("\x1B"))) << "escape sequences";
}

TEST(RecoveryWatch, writesALineAChangeIntoAPipe)
{
    RecoveryMachine const machine;
    WatchedProgram program(machine.program({"recovery", "--watch", "0.1"}));
    program.waitFor(std::string(WAITING) + "\n");
    machine.status(EARLY);
    program.waitFor("before the restore (operation 4000)\n");
    machine.status(RecoveryMachine::restore("5000", "", 50, 500));
    program.waitFor("- MB/s\n");
    machine.status(RecoveryMachine::restore("5500", "", 100, 600));
    program.waitFor("- MB/s\n");
    machine.status(ended(200, 1000));

    EXPECT_EQ(program.waitForEnd(), app::EXIT_STATUS_OK);
    EXPECT_THAT(linesOf(program.output()),
        ElementsAre(WAITING, "before the restore (operation 4000)",
            "restoring  37 %  50 of 200 files  500 of 1000 MB (50 %)  - MB/s",
            "final sync  55 %  100 of 200 files  600 of 1000 MB (60 %)  - MB/s",
            "restoring  100 %  200 of 200 files  1000 of 1000 MB  20 MB/s", FINISHED));
}

TEST(RecoveryWatch, writesAnObjectAChangeForScripts)
{
    RecoveryMachine const machine;
    WatchedProgram program(machine.program({"recovery", "--json", "--watch", "0.1"}));
    program.waitFor("]}\n");
    machine.status(EARLY);
    program.waitFor("4000");
    machine.status(ended(50, 500));
    program.waitFor("restoring");
    machine.status(ended(200, 1000));

    EXPECT_EQ(program.waitForEnd(), app::EXIT_STATUS_OK);
    std::vector<std::string> const lines = linesOf(program.output());
    ASSERT_EQ(lines.size(), 4U) << program.output();
    EXPECT_EQ(app_test::schemaErrors(program.output()), "");
    EXPECT_EQ(json::parse(lines[0]).at("recovery").at("state"), "none");
    EXPECT_EQ(json::parse(lines[1]).at("recovery").at("state"), "early");
    EXPECT_EQ(json::parse(lines[2]).at("recovery").at("done_ratio"), 0.37);
    json once = json::parse(machine.program({"recovery", "--json"}).run().out);
    json last = json::parse(lines[3]);
    once["time"] = last["time"];
    EXPECT_EQ(last, once) << "the same document";
}

TEST(RecoveryWatch, writesTheLibrarysOtherValuesForScripts)
{
    RecoveryMachine const machine;
    machine.status(RecoveryMachine::restore("5000", "", 50, 500));
    WatchedProgram program(machine.program({"recovery", "--json", "--watch", "0.1"}));
    program.waitFor("]}\n");
    json const once = json::parse(machine.program({"recovery", "--json"}).run().out);
    std::this_thread::sleep_for(std::chrono::milliseconds(1200)); // The clock goes on.
    machine.status(IDLE);

    EXPECT_EQ(program.waitForEnd(), app::EXIT_STATUS_OK);
    std::vector<std::string> const lines = linesOf(program.output());
    ASSERT_EQ(lines.size(), 2U) << "the present time as the end of the restore is no change";
    auto const factsOf = [](json const& document) {
        std::vector<json> facts;
        for (json const& difference : document.at("differences"))
            facts.push_back({difference.at("fact"), difference.at("reason")});
        return facts;
    };
    EXPECT_THAT(factsOf(json::parse(lines[0])), testing::ElementsAreArray(factsOf(once)));
    EXPECT_EQ(factsOf(once).size(), 5U) << "four times and the rate";
}

TEST(RecoveryWatch, writesObjectsToATerminalToo)
{
    RecoveryMachine const machine;
    machine.status(ended(200, 1000));
    WatchedProgram program(machine.program({"recovery", "--json", "--watch", "0.1"}), 80);

    EXPECT_EQ(program.waitForEnd(), app::EXIT_STATUS_OK);
    EXPECT_EQ(json::parse(program.output()).at("recovery").at("done_ratio"), 1.0);
}

TEST(RecoveryWatch, looksEverySecondWhereNotToldOtherwise)
{
    RecoveryMachine const machine;
    machine.status(EARLY);
    auto const start = std::chrono::steady_clock::now();
    WatchedProgram program(machine.program({"recovery", "--watch"}));
    program.waitFor("before");
    machine.status(IDLE);

    EXPECT_EQ(program.waitForEnd(), app::EXIT_STATUS_OK);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(990));
}

TEST(RecoveryWatch, showsARecoveryThatIsOverAlready)
{
    RecoveryMachine const machine;
    machine.status(ended(200, 1000));

    Outcome const outcome = machine.program({"recovery", "--watch", "60"}).run();

    EXPECT_EQ(outcome.status, app::EXIT_STATUS_OK);
    EXPECT_THAT(linesOf(outcome.out),
        ElementsAre("restoring  100 %  200 of 200 files  1000 of 1000 MB  20 MB/s", FINISHED));
}

TEST(RecoveryWatch, endsWhenTheEndOfTheRecoveryIsWritten)
{
    RecoveryMachine const machine;
    machine.status(restore(50, 500));
    WatchedProgram program(machine.program({"recovery", "--watch", "0.1"}));
    program.waitFor("37 %");
    machine.status(restore(60, 500, "RecoverEnd=" + engineTime(-1) + "\n"));

    EXPECT_EQ(program.waitForEnd(), app::EXIT_STATUS_RECOVERY_FAILED);
    EXPECT_THAT(linesOf(program.output()),
        ElementsAre(HasSubstr("  50 of 200 files  "), HasSubstr("  60 of 200 files  "),
            MatchesRegex("failed: 60 of 200 files and 500 of 1000 MB in 0:01:.., at .*")));
}

TEST(RecoveryWatch, ofAFailedRecoveryHasAStatusOfItsOwn)
{
    RecoveryMachine const machine;
    std::string const end = "RecoverEnd=" + engineTime(-1) + "\n";
    machine.status(restore(60, 500, end));
    for (std::vector<std::string> const& arguments :
        {std::vector<std::string>{"recovery", "--watch"}, {"recovery", "--watch", "--json"}})
        EXPECT_EQ(machine.program(arguments).run().status, app::EXIT_STATUS_RECOVERY_FAILED);
    EXPECT_EQ(machine.program({"recovery"}).run().status, app::EXIT_STATUS_OK)
        << "everything could be read";
    machine.status(restore(200, 1000, end));
    EXPECT_EQ(machine.program({"recovery", "--watch"}).run().status, app::EXIT_STATUS_OK);
}

TEST(RecoveryWatch, doesNotTakeAFallingRateForAChange)
{
    // 1000, 500, 333 ... MB/s.
    std::string const text =
        RecoveryMachine::restore("5000", "RestoreStart=" + engineTime(-1) + "\n", 50, 1000);
    RecoveryMachine const machine;
    machine.status(text);
    WatchedProgram people(machine.program({"recovery", "--watch", "0.1"}));
    WatchedProgram scripts(machine.program({"recovery", "--json", "--watch", "0.1"}));
    people.waitFor("62 %");
    scripts.waitFor("}\n");
    std::this_thread::sleep_for(std::chrono::milliseconds(2500));
    machine.status(IDLE);

    EXPECT_EQ(people.waitForEnd(), app::EXIT_STATUS_OK);
    EXPECT_EQ(scripts.waitForEnd(), app::EXIT_STATUS_OK);
    EXPECT_THAT(linesOf(people.output()),
        ElementsAre(HasSubstr("restoring  62 %"), HasSubstr("ended, result unknown")));
    EXPECT_THAT(
        linesOf(scripts.output()), ElementsAre(HasSubstr("\"restoring\""), HasSubstr("\"idle\"")));
}

TEST(RecoveryWatch, endsWhenTheStatusIsGone)
{
    RecoveryMachine const machine;
    machine.status(restore(50, 500));
    WatchedProgram people(machine.program({"recovery", "--watch", "0.1"}));
    WatchedProgram scripts(machine.program({"recovery", "--json", "--watch", "0.1"}));
    people.waitFor("37 %");
    scripts.waitFor("}\n");
    machine.removeStatus();

    EXPECT_EQ(people.waitForEnd(), app::EXIT_STATUS_OK);
    EXPECT_EQ(scripts.waitForEnd(), app::EXIT_STATUS_OK);
    EXPECT_THAT(linesOf(people.output()),
        ElementsAre(HasSubstr("  50 of 200 files  "),
            MatchesRegex("ended, result unknown; last seen: 50 of 200 files and 500 of 1000 MB in "
                         "0:0[12]:.., at .*")));
    EXPECT_EQ(json::parse(linesOf(scripts.output()).back()).at("recovery").at("state"), "none");
}

TEST(RecoveryWatch, goesOnAfterTheEndOfAnEarlierOne)
{
    RecoveryMachine const machine;
    std::string const times = "RecoverStart=24-03-2026 14:00:00\nRestoreStart=24-03-2026 14:00:00\n"
                              "RecoverEnd=23-03-2026 14:00:00\nRestoreEnd=23-03-2026 14:00:00\n";
    machine.status(RecoveryMachine::restore("5000", times, 200, 1000));
    WatchedProgram program(machine.program({"recovery", "--watch", "0.1"}));
    program.waitFor("100 %");
    machine.status(RecoveryMachine::restore("5001", times, 200, 1000));
    program.waitFor("after");
    machine.status(IDLE);

    EXPECT_EQ(program.waitForEnd(), app::EXIT_STATUS_OK);
}

TEST(RecoveryWatch, followsTheOperationsBehindTheRestore)
{
    RecoveryMachine const machine;
    machine.status(restore(50, 500));
    WatchedProgram program(machine.program({"recovery", "--watch", "0.1"}));
    program.waitFor("37 %");
    std::string const times =
        "RestoreStart=" + engineTime(-100) + "\nRestoreEnd=" + engineTime(-1) + "\n";
    machine.status(RecoveryMachine::restore("5000", times, 200, 1000));
    program.waitFor("100 %");
    machine.status(RecoveryMachine::restore("6000", times, 200, 1000));
    program.waitFor("after the restore (operation 6000)");
    machine.status(IDLE);

    EXPECT_EQ(program.waitForEnd(), app::EXIT_STATUS_OK);
}

TEST(RecoveryWatch, survivesAFileThatIsAwayForAMoment)
{
    RecoveryMachine const machine;
    machine.status(restore(50, 500));
    WatchedProgram program(machine.program({"recovery", "--watch", "0.1", "--trace", "1"}), 80);
    program.waitFor("37 %");
    machine.removeStatus();
    program.waitFor("trace 1: Failed to open");
    std::this_thread::sleep_for(std::chrono::milliseconds(400));
    machine.status(restore(60, 600));
    program.waitFor("45 %");
    machine.status(IDLE);

    EXPECT_EQ(program.waitForEnd(), app::EXIT_STATUS_OK);
}

TEST(RecoveryWatch, survivesAFileThatIsHalfWritten)
{
    RecoveryMachine const machine;
    machine.status(restore(50, 500));
    WatchedProgram program(machine.program({"recovery", "--watch", "0.2", "--trace", "1"}), 80);
    program.waitFor("37 %");
    machine.status("[Main]\n");
    program.waitFor("trace 1: Failed to read");
    machine.status(ended(200, 1000));
    program.waitFor("100 %");

    EXPECT_EQ(program.waitForEnd(), app::EXIT_STATUS_OK);
}

TEST(RecoveryWatch, isEndedByCtrlCAndLeavesTheTerminalAsItWas)
{
    RecoveryMachine const machine;
    machine.status(restore(50, 500));
    WatchedProgram program(machine.program({"recovery", "--watch", "60"}), 80);
    auto const modes = fieldsOf(program.modes());
    program.waitFor("left");

    program.type('\x03');

    EXPECT_EQ(program.waitForEnd(), app::EXIT_STATUS_INTERRUPTED);
    EXPECT_EQ(fieldsOf(program.modes()), modes);
    EXPECT_THAT(screenAfter(program.output(), 80),
        ElementsAre(MatchesRegex("restoring .* left( .*)?\\^C"), ""));
    EXPECT_THAT(program.output(), Not(HasSubstr("\x1B"))) << "the cursor may be hidden";
}

TEST(RecoveryWatch, isEndedBySignalsInThePipeToo)
{
    for (int const number : {SIGINT, SIGTERM, SIGHUP}) {
        RecoveryMachine const machine;
        WatchedProgram program(machine.program({"recovery", "--watch", "60"}));
        program.waitFor(WAITING);

        program.signal(number);

        EXPECT_EQ(program.waitForEnd(), app::EXIT_STATUS_INTERRUPTED) << number;
        EXPECT_EQ(program.output(), std::string(WAITING) + "\n");
    }
}

TEST(RecoveryWatch, ofAFullDeviceIsAnOutputError)
{
    RecoveryMachine const machine;
    app_test::Program program = machine.program({"recovery", "--watch", "60"});
    program.outputFile = "/dev/full";

    Outcome const outcome = program.run();

    EXPECT_EQ(outcome.status, app::EXIT_STATUS_OUTPUT);
    EXPECT_EQ(
        outcome.err, "dovrel-sysinfo: cannot write to standard output: No space left on device\n");
}
