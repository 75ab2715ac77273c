// How recovery --watch ends, and what it survives.

#include "app/exit_status.h"
#include "tests/app/WatchedProgram.h"
#include "tests/app/watched_recovery.h"
#include "tests/support/Json.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <ctime>
#include <regex>
#include <thread>
#include <tuple>

using app_test::engineTime;
using app_test::linesOf;
using app_test::Outcome;
using app_test::RecoveryMachine;
using app_test::screenAfter;
using app_test::WatchedProgram;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;
using testkit::Json;
namespace watched = app_test::watched;

namespace {

/** @return seconds since 1970 of a time in UTC. @param form as of strptime(3). */
std::time_t momentOf(std::string const& text, char const* form)
{
    std::tm time{};
    EXPECT_NE(strptime(text.c_str(), form, &time), nullptr) << text;
    return timegm(&time);
}

auto fieldsOf(termios const& modes)
{
    return std::make_tuple(modes.c_iflag, modes.c_oflag, modes.c_cflag, modes.c_lflag,
        std::string(std::begin(modes.c_cc), std::end(modes.c_cc)));
}

}

TEST(RecoveryWatch, showsARecoveryThatIsOverAlready)
{
    RecoveryMachine const machine;
    machine.status(watched::ended(200, 1000));

    Outcome const outcome = machine.program({"recovery", "--watch", "60"}).run();

    EXPECT_EQ(outcome.status, app::EXIT_STATUS_OK);
    EXPECT_THAT(linesOf(outcome.out),
        ElementsAre(
            "restoring  100 %  200 of 200 files  1000 of 1000 MB  20 MB/s", watched::FINISHED));
}

TEST(RecoveryWatch, endsWhenTheEndOfTheRecoveryIsWritten)
{
    RecoveryMachine const machine;
    machine.status(watched::restore(50, 500));
    WatchedProgram program(machine.program({"recovery", "--watch", "0.1"}));
    program.waitFor("37 %");
    machine.status(watched::restore(60, 500, "RecoverEnd=" + engineTime(-1) + "\n"));

    EXPECT_EQ(program.waitForEnd(), app::EXIT_STATUS_RECOVERY_FAILED);
    EXPECT_THAT(linesOf(program.output()),
        ElementsAre(HasSubstr("  50 of 200 files  "), HasSubstr("  60 of 200 files  "),
            MatchesRegex("failed: 60 of 200 files and 500 of 1000 MB in 0:01:.., at .*")));
}

TEST(RecoveryWatch, ofAFailedRecoveryHasAStatusOfItsOwn)
{
    RecoveryMachine const machine;
    std::string const end = "RecoverEnd=" + engineTime(-1) + "\n";
    machine.status(watched::restore(60, 500, end));
    for (std::vector<std::string> const& arguments :
        {std::vector<std::string>{"recovery", "--watch"}, {"recovery", "--watch", "--json"}})
        EXPECT_EQ(machine.program(arguments).run().status, app::EXIT_STATUS_RECOVERY_FAILED);
    EXPECT_EQ(machine.program({"recovery"}).run().status, app::EXIT_STATUS_OK)
        << "everything could be read";
    machine.status(watched::restore(200, 1000, end));
    EXPECT_EQ(machine.program({"recovery", "--watch"}).run().status, app::EXIT_STATUS_OK);
}

TEST(RecoveryWatch, endsWhenTheStatusIsGone)
{
    RecoveryMachine const machine;
    std::string const start = engineTime(-100);
    machine.status(RecoveryMachine::restore("5000", "RestoreStart=" + start + "\n", 50, 500));
    WatchedProgram people(machine.program({"recovery", "--watch", "0.1"}));
    WatchedProgram scripts(machine.program({"recovery", "--json", "--watch", "0.1"}));
    people.waitFor("37 %");
    scripts.waitFor("}\n");
    machine.removeStatus();

    EXPECT_EQ(people.waitForEnd(), app::EXIT_STATUS_OK);
    EXPECT_EQ(scripts.waitForEnd(), app::EXIT_STATUS_OK);
    auto const lines = linesOf(people.output());
    ASSERT_THAT(lines, ElementsAre(HasSubstr("  50 of 200 files  "), testing::_));
    std::smatch parts;
    ASSERT_TRUE(std::regex_match(lines[1], parts,
        std::regex("ended, result unknown; last seen: 50 of 200 files and 500 of 1000 MB in "
                   "([0-9]+):([0-5][0-9]):([0-5][0-9]), at (.*)")));
    EXPECT_EQ((std::stol(parts[1]) * 60 + std::stol(parts[2])) * 60 + std::stol(parts[3]),
        momentOf(parts[4], "%Y-%m-%d %H:%M:%S") - momentOf(start, "%d-%m-%Y %H:%M:%S"));
    EXPECT_EQ(Json::parse(linesOf(scripts.output()).back()).at("recovery").at("state"), "none");
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
    machine.status(watched::IDLE);

    EXPECT_EQ(program.waitForEnd(), app::EXIT_STATUS_OK);
}

TEST(RecoveryWatch, followsTheOperationsBehindTheRestore)
{
    RecoveryMachine const machine;
    machine.status(watched::restore(50, 500));
    WatchedProgram program(machine.program({"recovery", "--watch", "0.1"}));
    program.waitFor("37 %");
    std::string const times =
        "RestoreStart=" + engineTime(-100) + "\nRestoreEnd=" + engineTime(-1) + "\n";
    machine.status(RecoveryMachine::restore("5000", times, 200, 1000));
    program.waitFor("100 %");
    machine.status(RecoveryMachine::restore("6000", times, 200, 1000));
    program.waitFor("after the restore (operation 6000)");
    machine.status(watched::IDLE);

    EXPECT_EQ(program.waitForEnd(), app::EXIT_STATUS_OK);
}

TEST(RecoveryWatch, survivesAFileThatIsAwayForAMoment)
{
    RecoveryMachine const machine;
    machine.status(watched::restore(50, 500));
    WatchedProgram program(machine.program({"recovery", "--watch", "0.1", "--trace", "1"}), 80);
    program.waitFor("37 %");
    machine.removeStatus();
    program.waitFor("trace 1: Failed to open");
    std::this_thread::sleep_for(std::chrono::milliseconds(400));
    machine.status(watched::restore(60, 600));
    program.waitFor("45 %");
    machine.status(watched::IDLE);

    EXPECT_EQ(program.waitForEnd(), app::EXIT_STATUS_OK);
}

TEST(RecoveryWatch, survivesAFileThatIsHalfWritten)
{
    RecoveryMachine const machine;
    machine.status(watched::restore(50, 500));
    WatchedProgram program(machine.program({"recovery", "--watch", "0.2", "--trace", "1"}), 80);
    program.waitFor("37 %");
    machine.status("[Main]\n");
    program.waitFor("trace 1: Failed to read");
    machine.status(watched::ended(200, 1000));
    program.waitFor("100 %");

    EXPECT_EQ(program.waitForEnd(), app::EXIT_STATUS_OK);
}

TEST(RecoveryWatch, isEndedByCtrlCAndLeavesTheTerminalAsItWas)
{
    RecoveryMachine const machine;
    machine.status(watched::restore(50, 500));
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
        program.waitFor(watched::WAITING);

        program.signal(number);

        EXPECT_EQ(program.waitForEnd(), app::EXIT_STATUS_INTERRUPTED) << number;
        EXPECT_EQ(program.output(), std::string(watched::WAITING) + "\n");
    }
}

TEST(RecoveryWatch, isNotEndedByASignalThatItsCallerIgnores)
{
    RecoveryMachine const machine;
    machine.status(watched::restore(50, 500));
    auto ignoring = machine.program({"recovery", "--watch", "0.1"});
    ignoring.prepare = [] { std::signal(SIGHUP, SIG_IGN); }; // nohup(1)
    WatchedProgram program(ignoring);
    program.waitFor("37 %");

    program.signal(SIGHUP);
    machine.status(watched::ended(200, 1000));

    EXPECT_EQ(program.waitForEnd(), app::EXIT_STATUS_OK);
    EXPECT_EQ(linesOf(program.output()).back(), watched::FINISHED);
}
