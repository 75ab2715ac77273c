#include "app/exit_status.h"
#include "tests/app/WholeMachine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using app_test::linesOf;
using app_test::Outcome;
using app_test::Program;
using app_test::WholeMachine;
using testing::HasSubstr;
using testing::Not;
using testkit::contentsOf;

namespace {

/** A run on a machine where the tool cat takes so many seconds. */
Outcome runWithCatTaking(
    std::string const& seconds, std::vector<std::string> arguments, bool terminal = true)
{
    WholeMachine const machine;
    machine.tool("cat", "sleep " + seconds + "\n");
    Program program = machine.program(std::move(arguments));
    program.errorIsTerminal = terminal;
    Outcome outcome = program.run();
    EXPECT_EQ(outcome.status, app::EXIT_STATUS_OK);
    EXPECT_THAT(outcome.out, HasSubstr("kit0"));
    return outcome;
}

}

TEST(ProgressLine, namesTheSubjectOnATerminalAndIsCleared)
{
    std::string const line = "\rreading the network adapters ...";

    EXPECT_EQ(runWithCatTaking("2", {"networks"}).err,
        line + "\r" + std::string(line.size() - 1, ' ') + "\r");
}

// A lock that another thread holds would stay locked in the children, which go on without exec.
TEST(ProgressLine, isDrawnWithoutAThreadInTheProgram)
{
    WholeMachine const machine;
    std::string const threads = machine.folder().path() / "threads";
    machine.tool("cat",
        R"(sleep 2
        name= program=$PPID # Becomes the parent of the child that runs the query.
        until [ "$name" = '(dovrel-sysinfo)' ]; do
            read -r _ name _ program _ </proc/$program/stat
        done
        for thread in /proc/$program/task/*; do echo "$thread"; done >)"
            + threads + "\n");
    Program program = machine.program({"networks"});
    program.errorIsTerminal = true;

    EXPECT_THAT(program.run().err, HasSubstr("\rreading"));
    EXPECT_EQ(linesOf(contentsOf(threads)).size(), 1U);
}

TEST(ProgressLine, isDrawnBesideJsonToo)
{
    EXPECT_THAT(runWithCatTaking("2", {"networks", "--json"}).err, HasSubstr("\rreading"));
}

TEST(ProgressLine, isNotDrawnBeforeASecondAndAHalf)
{
    EXPECT_EQ(runWithCatTaking("0.7", {"networks"}).err, "");
}

TEST(ProgressLine, isNotDrawnIntoAPipe)
{
    EXPECT_EQ(runWithCatTaking("2", {"networks"}, false).err, "");
}

TEST(ProgressLine, isNotDrawnBesideATrace)
{
    EXPECT_THAT(runWithCatTaking("2", {"networks", "--trace", "1"}).err,
        Not(HasSubstr("reading the network")));
}
