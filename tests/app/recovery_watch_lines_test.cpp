// recovery --watch in a pipe, and with --json: a line for each change.

#include "app/exit_status.h"
#include "tests/app/WatchedProgram.h"
#include "tests/app/schema_errors.h"
#include "tests/app/watched_recovery.h"
#include "tests/support/Json.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <thread>

using app_test::engineTime;
using app_test::linesOf;
using app_test::Outcome;
using app_test::RecoveryMachine;
using app_test::WatchedProgram;
using testing::ElementsAre;
using testing::HasSubstr;
using testkit::Json;
namespace watched = app_test::watched;

TEST(RecoveryWatch, writesALineAChangeIntoAPipe)
{
    RecoveryMachine const machine;
    WatchedProgram program(machine.program({"recovery", "--watch", "0.1"}));
    program.waitFor(std::string(watched::WAITING) + "\n");
    machine.status(watched::EARLY);
    program.waitFor("before the restore (operation 4000)\n");
    machine.status(RecoveryMachine::restore("5000", "", 50, 500));
    program.waitFor("- MB/s\n");
    machine.status(RecoveryMachine::restore("5500", "", 100, 600));
    program.waitFor("- MB/s\n");
    machine.status(watched::ended(200, 1000));

    EXPECT_EQ(program.waitForEnd(), app::EXIT_STATUS_OK);
    EXPECT_THAT(linesOf(program.output()),
        ElementsAre(watched::WAITING, "before the restore (operation 4000)",
            "restoring  37 %  50 of 200 files  500 of 1000 MB (50 %)  - MB/s",
            "final sync  55 %  100 of 200 files  600 of 1000 MB (60 %)  - MB/s",
            "restoring  100 %  200 of 200 files  1000 of 1000 MB  20 MB/s", watched::FINISHED));
}

TEST(RecoveryWatch, writesAnObjectAChangeForScripts)
{
    RecoveryMachine const machine;
    WatchedProgram program(machine.program({"recovery", "--json", "--watch", "0.1"}));
    program.waitFor("]}\n");
    machine.status(watched::EARLY);
    program.waitFor("4000");
    machine.status(watched::ended(50, 500));
    program.waitFor("restoring");
    machine.status(watched::ended(200, 1000));

    EXPECT_EQ(program.waitForEnd(), app::EXIT_STATUS_OK);
    std::vector<std::string> const lines = linesOf(program.output());
    ASSERT_EQ(lines.size(), 4U) << program.output();
    EXPECT_EQ(app_test::schemaErrors(program.output()), "");
    EXPECT_EQ(Json::parse(lines[0]).at("recovery").at("state"), "none");
    EXPECT_EQ(Json::parse(lines[1]).at("recovery").at("state"), "early");
    EXPECT_EQ(Json::parse(lines[2]).at("recovery").at("done_ratio"), 0.37);
    Json once = Json::parse(machine.program({"recovery", "--json"}).run().out);
    Json last = Json::parse(lines[3]);
    once.erase("time");
    last.erase("time");
    EXPECT_EQ(last, once) << "the same document";
}

TEST(RecoveryWatch, writesTheLibrarysOtherValuesForScripts)
{
    RecoveryMachine const machine;
    machine.status(RecoveryMachine::restore("5000", "", 50, 500));
    WatchedProgram program(machine.program({"recovery", "--json", "--watch", "0.1"}));
    program.waitFor("]}\n");
    Json const once = Json::parse(machine.program({"recovery", "--json"}).run().out);
    std::this_thread::sleep_for(std::chrono::milliseconds(1200)); // The clock goes on.
    machine.status(watched::IDLE);

    EXPECT_EQ(program.waitForEnd(), app::EXIT_STATUS_OK);
    std::vector<std::string> const lines = linesOf(program.output());
    ASSERT_EQ(lines.size(), 2U) << "the present time as the end of the restore is no change";
    auto const factsOf = [](Json const& document) {
        std::vector<Json> facts;
        for (Json const& difference : document.at("differences"))
            facts.push_back(Json::array({difference.at("fact"), difference.at("reason")}));
        return facts;
    };
    EXPECT_THAT(factsOf(Json::parse(lines[0])), testing::ElementsAreArray(factsOf(once)));
    EXPECT_EQ(factsOf(once).size(), 5U) << "four times and the rate";
}

TEST(RecoveryWatch, writesObjectsToATerminalToo)
{
    RecoveryMachine const machine;
    machine.status(watched::ended(200, 1000));
    WatchedProgram program(machine.program({"recovery", "--json", "--watch", "0.1"}), 80);

    EXPECT_EQ(program.waitForEnd(), app::EXIT_STATUS_OK);
    EXPECT_EQ(Json::parse(program.output()).at("recovery").at("done_ratio"), 1.0);
}

TEST(RecoveryWatch, looksEverySecondWhereNotToldOtherwise)
{
    RecoveryMachine const machine;
    machine.status(watched::EARLY);
    auto const start = std::chrono::steady_clock::now();
    WatchedProgram program(machine.program({"recovery", "--watch"}));
    program.waitFor("before");
    machine.status(watched::IDLE);

    EXPECT_EQ(program.waitForEnd(), app::EXIT_STATUS_OK);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(990));
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
    machine.status(watched::IDLE);

    EXPECT_EQ(people.waitForEnd(), app::EXIT_STATUS_OK);
    EXPECT_EQ(scripts.waitForEnd(), app::EXIT_STATUS_OK);
    EXPECT_THAT(linesOf(people.output()),
        ElementsAre(HasSubstr("restoring  62 %"), HasSubstr("ended, result unknown")));
    EXPECT_THAT(
        linesOf(scripts.output()), ElementsAre(HasSubstr("\"restoring\""), HasSubstr("\"idle\"")));
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
