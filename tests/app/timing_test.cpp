#include "app/exit_status.h"
#include "app/write/timing.h"
#include "tests/app/WholeMachine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <regex>

using app::Machine;
using app::Subject;
using app_test::linesOf;
using app_test::Outcome;
using app_test::WholeMachine;
using testing::ElementsAre;
using testing::MatchesRegex;

TEST(Timing, showsMillisecondsForEachSubjectThatWasAskedFor)
{
    Machine machine;
    machine.subjects = {Subject::DISKS, Subject::NETWORKS, Subject::RECOVERY};
    machine.readSeconds = {{Subject::DISKS, 0.0123}, {Subject::NETWORKS, 2}};
    machine.library[Subject::DISKS].query = "getPhysicalDisksInternal";
    machine.library[Subject::DISKS].seconds = 0.25;
    machine.seconds = 2.5;

    EXPECT_THAT(linesOf(app::timingText(machine, {})),
        ElementsAre("SUBJECT           READ-MS  QUERY                     QUERY-MS",
            "disks                12.3  getPhysicalDisksInternal     250.0",
            "network adapters   2000.0  -                                -",
            "recovery                -  -                                -",
            "all                2500.0"));
}

namespace {

/** Two runs may not be in the same second. */
std::string withoutTime(std::string const& document)
{
    return std::regex_replace(document, std::regex("\"time\": \"[^\"]*\""), "");
}

}

TEST(Timing, goesToStandardErrorBesideEveryOutput)
{
    WholeMachine const machine;
    for (std::vector<std::string> arguments :
        {std::vector<std::string>{"memory"}, {"memory", "--json"}}) {
        std::string const without = withoutTime(machine.program(arguments).run().out);
        arguments.push_back("--timing");
        Outcome const outcome = machine.program(arguments).run();

        EXPECT_EQ(outcome.status, app::EXIT_STATUS_OK);
        EXPECT_EQ(withoutTime(outcome.out), without);
        EXPECT_THAT(linesOf(outcome.err),
            ElementsAre(MatchesRegex("SUBJECT +READ-MS +QUERY +QUERY-MS"),
                MatchesRegex("memory +[0-9.]+ +getMemoryInfo +[0-9.]+"),
                MatchesRegex("all +[0-9.]+")));
    }
}
