#include "app/exit_status.h"
#include "tests/app/Program.h"
#include "tests/app/WholeMachine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unistd.h>

using app_test::linesOf;
using app_test::Outcome;
using app_test::Program;
using app_test::WholeMachine;
using testing::HasSubstr;
using testing::StartsWith;

TEST(Program, helpNamesEveryCommandAndEveryExitStatus)
{
    Outcome const outcome = Program({"--help"}).run();

    EXPECT_EQ(outcome.status, app::EXIT_STATUS_OK);
    EXPECT_EQ(outcome.err, "");
    for (char const* const expected : {"system", "cpus", "memory", "disks", "mounts", "networks",
             "recovery", "library", "--json", "--openmetrics", "--no-usage", "--no-headings",
             "--color", "--tool-limit", "--trace", "--version", "\n   0  ", "\n   1  ", "\n   2  ",
             "\n  64  ", "\n  70  ", "\n  74  ", "\n 130  "})
        EXPECT_THAT(outcome.out, HasSubstr(expected));
}

TEST(Program, helpOfACommandNamesItsOwnAndTheGeneralOptions)
{
    Outcome const outcome = Program({"cpus", "--help"}).run();

    EXPECT_EQ(outcome.status, app::EXIT_STATUS_OK);
    for (char const* const expected :
        {"--json", "--openmetrics", "--output", "--no-usage", "--trace", "--columns",
            "--list-columns", "--no-headings", "--color", "--tool-limit", "Exit status"})
        EXPECT_THAT(outcome.out, HasSubstr(expected));
}

TEST(Program, helpOfTheRecoveryNamesTheEndsOfItsWatch)
{
    Outcome const outcome = Program({"recovery", "--help"}).run();

    for (char const* const expected : {"--watch [SECONDS]", "status 130", "\n 130  "})
        EXPECT_THAT(outcome.out, HasSubstr(expected));
}

TEST(Program, versionIsOneLine)
{
    for (std::vector<std::string> const& arguments :
        {std::vector<std::string>{"--version"}, {"cpus", "--version"}}) {
        Outcome const outcome = Program(arguments).run();

        EXPECT_EQ(outcome.status, app::EXIT_STATUS_OK);
        EXPECT_THAT(linesOf(outcome.out),
            testing::ElementsAre(testing::MatchesRegex("dovrel-sysinfo [0-9]+[.][0-9.]+")));
    }
}

struct WrongArguments : testing::TestWithParam<std::vector<std::string>> { };

TEST_P(WrongArguments, areRefusedWithTheUsageStatus)
{
    Outcome const outcome = Program(GetParam()).run();

    EXPECT_EQ(outcome.status, app::EXIT_STATUS_USAGE);
    EXPECT_EQ(outcome.out, "");
    EXPECT_THAT(outcome.err, StartsWith("dovrel-sysinfo: "));
    EXPECT_THAT(outcome.err, HasSubstr("--help"));
}

INSTANTIATE_TEST_SUITE_P(Program, WrongArguments,
    testing::Values(std::vector<std::string>{"nonsense"},
        std::vector<std::string>{"cpus", "--bogus"}, std::vector<std::string>{"cpus", "more"},
        std::vector<std::string>{"memory", "--no-usage"},
        std::vector<std::string>{"cpus", "--bytes"}, std::vector<std::string>{"mounts", "--tree"},
        std::vector<std::string>{"memory", "-o", "SIZE"},
        std::vector<std::string>{"system", "--list-columns"},
        std::vector<std::string>{"--color", "sometimes"}, std::vector<std::string>{"--color"},
        std::vector<std::string>{"--tool-limit", "0"},
        std::vector<std::string>{"--tool-limit", "soon"},
        std::vector<std::string>{"library", "--bytes"}, std::vector<std::string>{"cpus", "--watch"},
        std::vector<std::string>{"--bytes"}, std::vector<std::string>{"--trace", "6"},
        std::vector<std::string>{"--trace", "-1"}, std::vector<std::string>{"--library", "x"},
        std::vector<std::string>{"--max-wait", "2"}));

TEST(Program, aFullDeviceIsAnOutputError)
{
    for (std::vector<std::string> const& arguments :
        {std::vector<std::string>{"cpus", "--no-usage"}, {"--no-usage"}, {"--help"}}) {
        Program program(arguments);
        program.outputFile = "/dev/full";
        Outcome const outcome = program.run();

        EXPECT_EQ(outcome.status, app::EXIT_STATUS_OUTPUT) << arguments.front();
        EXPECT_THAT(
            outcome.err, HasSubstr("cannot write to standard output: No space left on device"));
    }
}

TEST(Program, aClosedOutputIsAnOutputError)
{
    Program program({"cpus", "--no-usage"});
    program.closeOutput = true;
    Outcome const outcome = program.run();

    EXPECT_EQ(outcome.status, app::EXIT_STATUS_OUTPUT);
    EXPECT_THAT(outcome.err, HasSubstr("cannot write to standard output: Bad file descriptor"));
}

TEST(Program, givesToolsAStandardErrorWhereItHasNone)
{
    WholeMachine const machine;
    auto const file = (machine.folder().path() / "result").string();
    machine.tool("ifconfig",
        "[ /proc/self/fd/2 -ef /dev/null ] && echo error >&2 && echo written >'" + file + "'\n");
    Program program = machine.program({"networks", "--trace", "1"});
    program.prepare = [] { close(STDERR_FILENO); };

    EXPECT_EQ(program.run().status, app::EXIT_STATUS_OK);
    EXPECT_EQ(testkit::contentsOf(file), "written\n");
}

namespace {

/** @return the variables of a tool that the library runs, as `export -p` writes them. */
std::string environmentOfATool(std::map<std::string, std::string> const& environment)
{
    WholeMachine const machine;
    auto const file = (machine.folder().path() / "environment").string();
    machine.tool("ifconfig", "export -p >'" + file + "'\n");
    Program program = machine.program({"networks"});
    program.environment.erase("LC_ALL");
    program.environment.insert(environment.begin(), environment.end());
    EXPECT_EQ(program.run().status, app::EXIT_STATUS_OK);
    return testkit::contentsOf(file);
}

}

TEST(Program, hasItsToolsPrintUntranslatedOutputInTheUsersCharacterSet)
{
    std::string const environment = environmentOfATool({{"LC_ALL", "C.UTF-8"}, {"LANG", "de_DE"},
        {"LANGUAGE", "fr:de"}, {"LC_MESSAGES", "de_DE.UTF-8"}});

    EXPECT_THAT(environment, HasSubstr("LANG='C'\n"));
    EXPECT_THAT(environment, HasSubstr("LC_CTYPE='C.UTF-8'\n"));
    for (char const* const variable : {"LC_ALL", "LC_MESSAGES", "LANGUAGE"})
        EXPECT_THAT(environment, testing::Not(HasSubstr(variable)));
}

TEST(Program, hasItsToolsPrintPlainBytesWhereTheUsersLocaleIsNotInstalled)
{
    EXPECT_THAT(environmentOfATool({{"LC_ALL", "xx_XX.UTF-8"}}), HasSubstr("LC_CTYPE='C'\n"));
}
