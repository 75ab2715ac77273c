#include "app/exit_status.h"
#include "tests/app/WholeMachine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <map>
#include <unistd.h>

using app_test::knownMachine;
using app_test::linesOf;
using app_test::Outcome;
using app_test::Program;
using app_test::WholeMachine;
using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

namespace {

constexpr char const* COMMANDS[] = {
    "system", "cpus", "memory", "disks", "mounts", "networks", "recovery"};

/** The lines of the summary from a label to the next one, without the label. */
std::vector<std::string> linesBehind(std::string const& label, Outcome const& outcome)
{
    auto const lines = linesOf(outcome.out);
    auto const first = std::find_if(lines.begin(), lines.end(),
        [&](std::string const& line) { return line.starts_with(label + " "); });
    EXPECT_NE(first, lines.end()) << outcome.out;
    std::vector<std::string> found;
    constexpr size_t LABEL_COLUMNS = 12;
    for (auto line = first; line != lines.end(); ++line) {
        if (line != first && !line->starts_with(' '))
            break;
        found.push_back(line->substr(LABEL_COLUMNS));
    }
    return found;
}

/** The labels of the summary, from its first to its last line. */
std::vector<std::string> labelsOf(Outcome const& outcome)
{
    std::vector<std::string> labels;
    for (std::string const& line : linesOf(outcome.out))
        if (!line.starts_with(' '))
            labels.push_back(line.substr(0, line.find(' ')));
    return labels;
}

/** A summary of the known machine, without what its library has from the real one. */
Outcome summarizeKnown(std::string const& failing = "")
{
    Program program = knownMachine({"--no-usage"});
    program.environment["KNOWN_FAILS"] = failing;
    return program.run();
}

}

TEST(Summary, isOneScreenOfEverything)
{
    Outcome const outcome = WholeMachine().program({"--no-usage"}).run();

    EXPECT_EQ(outcome.status, app::EXIT_STATUS_OK);
    EXPECT_EQ(outcome.err, "");
    EXPECT_THAT(labelsOf(outcome),
        ElementsAre("System", "Processors", "Memory", "Disks", "Mounts", "Networks", "Recovery"));
    char host[256] = "";
    ASSERT_EQ(gethostname(host, sizeof host - 1), 0);
    EXPECT_THAT(linesBehind("System", outcome), ElementsAre("Acme Rocket, under Azure"));
    EXPECT_THAT(linesBehind("Processors", outcome), ElementsAre("2, up to 3500 MHz"));
    EXPECT_THAT(linesBehind("Memory", outcome),
        ElementsAre("2.0 GiB of the installed modules, 1.0 GiB free", "used 50.0 %  #####....."));
    EXPECT_THAT(linesBehind("Disks", outcome), ElementsAre("sdzz  1000.0 KiB"));
    EXPECT_THAT(linesBehind("Mounts", outcome), ElementsAre("none"));
    EXPECT_THAT(linesBehind("Networks", outcome),
        ElementsAre("eth0  10.0.0.5", "host name " + std::string(host), "name servers 10.0.0.1"));
}

TEST(Summary, forScriptsIsEveryCommandsDocumentInOne)
{
    WholeMachine const machine;

    Outcome const outcome = machine.program({"--no-usage", "--json"}).run();

    EXPECT_EQ(outcome.status, app::EXIT_STATUS_OK);
    json expected = json::object();
    for (std::string const command : COMMANDS) {
        Program program = machine.program({command, "--json"});
        if (command == "cpus")
            program.arguments.emplace_back("--no-usage");
        expected.update(json::parse(program.run().out));
    }
    EXPECT_EQ(json::parse(outcome.out), expected);
    EXPECT_EQ(expected.size(), std::size(COMMANDS));
}

TEST(Summary, honoursTheLongestWait)
{
    Outcome const outcome = WholeMachine().program({"--max-wait", "1"}).run();

    EXPECT_EQ(outcome.status, app::EXIT_STATUS_OK);
    EXPECT_THAT(outcome.out, HasSubstr("load unknown: no answer within 1 s"));
}

TEST(Summary, goesOnAfterWhatCannotBeRead)
{
    WholeMachine machine;
    for (char const* const file : {"stat", "partitions", "mounts"})
        machine.hide(file);
    machine.hideKernel();
    machine.modules("");
    machine.removeTool("ifconfig");

    Outcome const lines = machine.program({}).run();
    Outcome const document = machine.program({"--json"}).run();

    EXPECT_EQ(lines.status, app::EXIT_STATUS_QUERY_FAILED);
    EXPECT_EQ(labelsOf(lines).size(), std::size(COMMANDS));
    EXPECT_THAT(lines.err, HasSubstr(app_test::KERNEL_TELLS_NO_MEMORY));
    EXPECT_THAT(linesBehind("System", lines), ElementsAre(HasSubstr("Acme Rocket, ")));
    for (char const* const label : {"Processors", "Memory", "Disks", "Mounts", "Networks"})
        EXPECT_THAT(linesBehind(label, lines), ElementsAre("could not be read")) << label;
    EXPECT_EQ(document.status, app::EXIT_STATUS_QUERY_FAILED);
    json const told = json::parse(document.out);
    EXPECT_EQ(told.at("system").at("vendor"), "Acme");
    for (char const* const key : {"processors", "memory", "disks", "mounts", "networks"})
        EXPECT_TRUE(told.at(key).is_null()) << key;
}

TEST(Summary, ofTheSystemMayFailToo)
{
    // Its vendor is known by then, and is told.
    Outcome const outcome = summarizeKnown("system");

    EXPECT_EQ(outcome.status, app::EXIT_STATUS_QUERY_FAILED);
    EXPECT_THAT(linesBehind("System", outcome), ElementsAre("Acme?[2J, hypervisor unknown"));
    EXPECT_THAT(linesBehind("Disks", outcome).size(), 3U);
}

TEST(Summary, tellsWhatIsKnownOfTheMemory)
{
    WholeMachine machine;
    machine.kernel("MemTotal: 2048 kB\n");
    machine.modules("");

    Outcome const outcome = machine.program({"--no-usage"}).run();

    EXPECT_EQ(outcome.status, app::EXIT_STATUS_QUERY_FAILED);
    EXPECT_THAT(
        linesBehind("Memory", outcome), ElementsAre("2.0 MiB as the kernel counts, free unknown"));
}

TEST(Summary, hasAColumnForEachFactOfAList)
{
    Outcome const outcome = summarizeKnown();

    EXPECT_THAT(linesBehind("System", outcome), ElementsAre("Acme?[2J Rocket 9000, under KVM"));
    EXPECT_THAT(linesBehind("Disks", outcome),
        ElementsAre(testing::MatchesRegex("sda         .* MODEL_1"), HasSubstr("cciss/c0d0  "),
            HasSubstr("EVIL???")));
    EXPECT_THAT(linesBehind("Mounts", outcome),
        ElementsAre("/               1000.0 GiB   used 75.0 %  ########..",
            "/gone                    -        used -",
            "/media/my disk     2.0 GiB  used 100.0 %  ##########",
            "/odd?[2J           1.0 KiB        used -"));
    EXPECT_THAT(linesBehind("Networks", outcome),
        ElementsAre("eth0    10.0.0.5, fe80::1, 10.0.0.6", "ib?[2J  <invalid>, 10.1.0.1",
            "tun0    -", "host name file?server", "name servers 10.0.0.1, <invalid>"));
}

TEST(Summary, tellsThatAListIsNotTheWholeOne)
{
    for (auto const& [query, label] : std::map<std::string, std::string>{
             {"disks", "Disks"}, {"mounts", "Mounts"}, {"networks", "Networks"}}) {
        Outcome const outcome = summarizeKnown(query);

        EXPECT_EQ(outcome.status, app::EXIT_STATUS_QUERY_FAILED);
        EXPECT_THAT(linesBehind(label, outcome).at(1), "the rest could not be read");
    }
}

TEST(Summary, showsTheFirstOfManyAndTheirNumber)
{
    constexpr int MOST = 6;
    for (int const count : {MOST, MOST + 1}) {
        std::string mounts;
        for (int i = 0; i < count; ++i)
            mounts += "/dev/sdzz1 /nowhere/" + std::to_string(i) + " ext4 rw 0 0\n";
        WholeMachine machine;
        machine.mounts(mounts);

        auto const lines = linesBehind("Mounts", machine.program({"--no-usage"}).run());

        ASSERT_EQ(lines.size(), size_t{MOST});
        EXPECT_THAT(lines.at(MOST - 2), HasSubstr("/nowhere/4"));
        if (count == MOST)
            EXPECT_THAT(lines.back(), HasSubstr("/nowhere/5"));
        else
            EXPECT_EQ(lines.back(), "and 2 more: dovrel-sysinfo mounts");
    }
}
