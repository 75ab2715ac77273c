#include "app/exit_status.h"
#include "tests/app/Program.h"
#include "tests/app/WatchedProgram.h"
#include "tests/app/WholeMachine.h"
#include "tests/support/Json.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <regex>
#include <set>
#include <sstream>

using app_test::linesOf;
using app_test::Outcome;
using app_test::Program;
using app_test::WatchedProgram;
using app_test::WholeMachine;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

std::string complaintAbout(std::vector<std::string> const& arguments)
{
    Outcome const outcome = Program(arguments).run();
    EXPECT_EQ(outcome.status, app::EXIT_STATUS_USAGE);
    return linesOf(outcome.err).front();
}

}

TEST(CommandLine, hasAShortNameForTheNetworks)
{
    WholeMachine const machine;

    EXPECT_EQ(machine.program({"net"}).run().out, machine.program({"networks"}).run().out);
    EXPECT_THAT(machine.program({"net"}).run().out, HasSubstr("kit0"));
}

TEST(CommandLine, showsAllTablesOneBelowTheOther)
{
    WholeMachine const machine;
    Outcome const outcome = machine.program({"all", "--no-usage"}).run();

    EXPECT_EQ(outcome.status, app::EXIT_STATUS_OK);
    std::string::size_type place = 0;
    for (char const* const command :
        {"system", "cpus", "memory", "disks", "mounts", "networks", "recovery"}) {
        std::string const heading =
            linesOf(machine.program({command}).run().out).front().substr(0, 10);
        place = outcome.out.find(heading, place);
        ASSERT_NE(place, std::string::npos) << command << ": " << heading;
    }
}

TEST(CommandLine, writesTheSameJsonForAllAsForTheSummary)
{
    WholeMachine const machine;
    auto const keysOf = [&machine](std::vector<std::string> const& arguments) {
        std::vector<std::string> keys;
        auto const document = testkit::Json::parse(machine.program(arguments).run().out);
        for (auto const& [key, value] : document.items())
            keys.push_back(key);
        return keys;
    };

    EXPECT_EQ(keysOf({"all", "--json", "--no-usage"}), keysOf({"--json", "--no-usage"}));
}

TEST(CommandLine, namesFurtherCommandsBelowTheSummaryOnATerminalAlone)
{
    WholeMachine const machine;
    std::string const further = "More: dovrel-sysinfo all, disks --tree, library, --help";
    constexpr unsigned short COLUMNS = 80;
    auto const lastLine = [&](std::vector<std::string> const& arguments) {
        WatchedProgram run(machine.program(arguments), COLUMNS);
        EXPECT_EQ(run.waitForEnd(), app::EXIT_STATUS_OK);
        auto rows = app_test::screenAfter(run.output(), COLUMNS);
        rows.pop_back(); // The cursor's.
        EXPECT_THAT(rows, testing::SizeIs(testing::Le(24U)));
        return rows.back();
    };

    EXPECT_EQ(lastLine({"--no-usage"}), further);
    EXPECT_NE(lastLine({"--no-usage", "--no-headings"}), further);
    EXPECT_THAT(machine.program({"--no-usage"}).run().out, Not(HasSubstr("More: ")));
}

TEST(CommandLine, suggestsASimilarName)
{
    EXPECT_EQ(
        complaintAbout({"disk"}), "dovrel-sysinfo: unknown command 'disk'; did you mean 'disks'?");
    EXPECT_EQ(complaintAbout({"disks", "--tre"}),
        "dovrel-sysinfo: unexpected argument '--tre'; did you mean '--tree'?");
    EXPECT_EQ(complaintAbout({"--colour=never"}),
        "dovrel-sysinfo: unexpected argument '--colour=never'; did you mean '--color'?");
    EXPECT_EQ(
        complaintAbout({"mem"}), "dovrel-sysinfo: unknown command 'mem'; did you mean 'memory'?");
    EXPECT_EQ(complaintAbout({"disks", "tree"}),
        "dovrel-sysinfo: unexpected argument 'tree'; did you mean '--tree'?");
}

TEST(CommandLine, namesTheCommandsThatHaveAnOption)
{
    EXPECT_EQ(complaintAbout({"memory", "--tree"}), "dovrel-sysinfo: --tree is an option of disks");
    EXPECT_EQ(complaintAbout({"--tree"}), "dovrel-sysinfo: --tree is an option of disks");
    EXPECT_EQ(complaintAbout({"system", "--columns=NAME"}),
        "dovrel-sysinfo: --columns is an option of cpus, disks, mounts, networks");
    EXPECT_EQ(complaintAbout({"disks", "--no-usage"}),
        "dovrel-sysinfo: --no-usage is an option of the summary, cpus, all");
    EXPECT_EQ(complaintAbout({"memory", "--tre"}),
        "dovrel-sysinfo: unexpected argument '--tre'; did you mean '--tree', an option of disks?");
    EXPECT_EQ(
        complaintAbout({"--bytes", "memory"}), "dovrel-sysinfo: --bytes must stand after 'memory'");
    for (std::vector<std::string> const& arguments :
        {std::vector<std::string>{"library", "--openmetrics"}, {"--openmetrics", "library"}})
        EXPECT_EQ(complaintAbout(arguments),
            "dovrel-sysinfo: --openmetrics is an option of all commands but library");
}

TEST(CommandLine, suggestsNothingWhereNoNameIsSimilar)
{
    EXPECT_EQ(complaintAbout({"firmware"}), "dovrel-sysinfo: unknown command 'firmware'");
    EXPECT_EQ(complaintAbout({"memory", "-x"}), "dovrel-sysinfo: unexpected argument '-x'");
    EXPECT_EQ(complaintAbout({"disks", "--describe"}),
        "dovrel-sysinfo: unexpected argument '--describe'");
    EXPECT_EQ(complaintAbout({"--describ"}), "dovrel-sysinfo: unexpected argument '--describ'")
        << "nobody is shown this option";
}

TEST(CommandLine, wantsOneFileForARecording)
{
    for (std::string const command : {"record", "replay"}) {
        EXPECT_EQ(complaintAbout({command}), "dovrel-sysinfo: " + command + " needs a FILE");
        EXPECT_EQ(complaintAbout({command, ""}),
            "dovrel-sysinfo: " + command + ": the name of the file is empty");
        EXPECT_EQ(
            complaintAbout({command, "--bogus"}), "dovrel-sysinfo: unexpected argument '--bogus'");
    }
    EXPECT_EQ(complaintAbout({"record", "one.tar.gz", "other.tar.gz"}),
        "dovrel-sysinfo: unexpected argument 'other.tar.gz'");
    EXPECT_EQ(complaintAbout({"replay", "--check", "one.tar.gz", "other.tar.gz"}),
        "dovrel-sysinfo: unexpected argument 'other.tar.gz'");
    EXPECT_EQ(complaintAbout({"record", "one.tar.gz", "--redakt"}),
        "dovrel-sysinfo: unexpected argument '--redakt'; did you mean '--redact'?");
}

TEST(CommandLine, namesThePlaceOfAnOptionAroundRecordAndReplay)
{
    EXPECT_EQ(complaintAbout({"record", "--json", "one.tar.gz"}),
        "dovrel-sysinfo: --json is an option of all commands that show the machine");
    EXPECT_EQ(complaintAbout({"--json", "record", "one.tar.gz"}),
        "dovrel-sysinfo: --json has no use with record");
    EXPECT_EQ(complaintAbout({"--tool-limit", "3", "record", "one.tar.gz"}),
        "dovrel-sysinfo: --tool-limit must stand after 'record'");
    EXPECT_EQ(complaintAbout({"record", "--check", "one.tar.gz"}),
        "dovrel-sysinfo: --check is an option of replay");
    EXPECT_EQ(complaintAbout({"replay", "--force", "one.tar.gz"}),
        "dovrel-sysinfo: --force is an option of record");
    EXPECT_EQ(complaintAbout({"replay", "--bogus", "one.tar.gz"}),
        "dovrel-sysinfo: unexpected argument '--bogus'");
    for (std::vector<std::string> const& arguments :
        {std::vector<std::string>{"--color=never", "replay", "one.tar.gz"},
            {"replay", "--color=never", "one.tar.gz"},
            {"replay", "--color", "never", "one.tar.gz", "disks"}})
        EXPECT_EQ(complaintAbout(arguments),
            "dovrel-sysinfo: --color must stand after the FILE of replay");
}

TEST(CommandLine, refusesWhatCannotBeReplayed)
{
    EXPECT_EQ(complaintAbout({"replay", "one.tar.gz", "record", "other.tar.gz"}),
        "dovrel-sysinfo: replay takes a command that shows a machine");
    EXPECT_EQ(complaintAbout({"replay", "one.tar.gz", "recovery", "--watch"}),
        "dovrel-sysinfo: --watch has no use with replay, where nothing changes");
    EXPECT_EQ(complaintAbout({"replay", "one.tar.gz", "disk"}),
        "dovrel-sysinfo: unknown command 'disk'; did you mean 'disks'?");
}

TEST(CommandLine, helpShowsWhereTheFileOfARecordingStands)
{
    std::string const record = Program({"record", "--help"}).run().out;
    EXPECT_THAT(record, HasSubstr("\nUsage: dovrel-sysinfo record [OPTIONS] FILE\n"));
    EXPECT_THAT(record, HasSubstr("\nArguments:\n  FILE          "));
    EXPECT_THAT(Program({"replay", "--help"}).run().out,
        HasSubstr("\nUsage: dovrel-sysinfo replay [OPTIONS] FILE [COMMAND ...]\n"));
}

TEST(CommandLine, showsHelpAndVersionBehindTheFileOfReplay)
{
    EXPECT_EQ(Program({"replay", "missing.tar.gz", "disks", "--help"}).run().out,
        Program({"disks", "--help"}).run().out);
    EXPECT_EQ(Program({"replay", "missing.tar.gz", "--version"}).run().out,
        Program({"--version"}).run().out);
}

TEST(CommandLine, helpCallsACommandACommand)
{
    EXPECT_THAT(
        Program({"--help"}).run().out, HasSubstr("Usage: dovrel-sysinfo [OPTIONS] [COMMAND]\n"));
}

TEST(CommandLine, helpHasOneBlankLineBetweenTwoGroups)
{
    for (char const* const command : {"disks", "all"}) {
        std::string const help = Program({command, "--help"}).run().out;
        EXPECT_THAT(help, HasSubstr(".\n\nGeneral:\n"));
        EXPECT_THAT(help, Not(HasSubstr("\n\n\n")));
    }
    EXPECT_THAT(Program({"--help"}).run().out, Not(HasSubstr("\n\n\n")));
}

TEST(CommandLine, saysThatAnOptionNeedsAValue)
{
    EXPECT_EQ(complaintAbout({"--color"}), "dovrel-sysinfo: --color needs a value");
    EXPECT_EQ(complaintAbout({"--output="}), "dovrel-sysinfo: --output needs a value");
    EXPECT_EQ(complaintAbout({"disks", "-o", ""}),
        "dovrel-sysinfo: --columns: the list of columns is empty");
}

TEST(CommandLine, refusesAValueOfAnOptionThatHasNone)
{
    EXPECT_EQ(complaintAbout({"--json=false"}), "dovrel-sysinfo: --json takes no value");
    EXPECT_EQ(complaintAbout({"disks", "--tree=1"}), "dovrel-sysinfo: --tree takes no value");
}

TEST(CommandLine, refusesTwoValuesOfOneOption)
{
    EXPECT_EQ(complaintAbout({"--color=never", "--color", "always"}),
        "dovrel-sysinfo: --color is given more than once");
}

TEST(CommandLine, refusesTwoDashesBeforeACommand)
{
    EXPECT_EQ(complaintAbout({"--", "disks"}), "dovrel-sysinfo: unexpected argument '--'");
}

TEST(CommandLine, refusesOptionsThatHaveNoUseTogether)
{
    for (char const* const option : {"--output=facts", "--timing"})
        EXPECT_THAT(complaintAbout({"recovery", "--watch", option}), HasSubstr("with --watch"));
}

TEST(CommandLine, helpHasExamplesThatTheProgramAccepts)
{
    std::string const help = Program({"--help"}).run().out;
    auto const description = testkit::Json::parse(Program({"--describe"}).run().out);

    EXPECT_THAT(description["examples"], testing::SizeIs(testing::Ge(3U)));
    for (auto const& example : description["examples"]) {
        std::string const name = example["name"];
        EXPECT_THAT(help, HasSubstr("\n  " + name + "  "));
        // Nothing is run: the one argument that is wrong is the last.
        std::istringstream stream(name.substr(0, name.find('|')) + " --bogus");
        std::vector<std::string> words;
        for (std::string word; stream >> word;)
            words.push_back(word);
        words.erase(words.begin());
        EXPECT_EQ(complaintAbout(words), "dovrel-sysinfo: unexpected argument '--bogus'") << name;
    }
}

TEST(CommandLine, describesEveryOptionOfItsHelp)
{
    auto const description = testkit::Json::parse(Program({"--describe"}).run().out);
    std::string const help = Program({"--help"}).run().out;
    EXPECT_THAT(help, Not(HasSubstr("--describe")));
    for (auto const& command : description["commands"]) {
        std::string const name = command["name"];
        std::string const text = name.empty() ? help : Program({name, "--help"}).run().out;
        std::set<std::string> described;
        for (auto const& option : description["options"])
            if (option["commands"].dump().find('"' + name + '"') != std::string::npos)
                described.insert(option["names"].back());
        std::set<std::string> shown;
        for (std::string const& line : linesOf(text)) {
            std::smatch match;
            if (std::regex_search(line, match, std::regex("^  (?:-[a-z],)?(--[a-z-]+)")))
                shown.insert(match[1]);
        }
        EXPECT_EQ(described, shown) << name;
    }
}
