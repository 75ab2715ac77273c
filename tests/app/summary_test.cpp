#include "app/exit_status.h"
#include "tests/app/WholeMachine.h"
#include "tests/app/known_machine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <chrono>
#include <map>
#include <unistd.h>

using app::Subject;
using app_test::knownMachine;
using app_test::linesBehind;
using app_test::linesOf;
using app_test::Outcome;
using app_test::Program;
using app_test::summaryOf;
using app_test::WholeMachine;
using nlohmann::json;
using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::ElementsAre;
using testing::HasSubstr;
using Clock = std::chrono::steady_clock;

namespace {

constexpr char const* COMMANDS[] = {
    "system", "cpus", "memory", "disks", "mounts", "networks", "recovery"};

constexpr char const* COMPLAINT = "dovrel-sysinfo: cannot read ";

std::vector<std::string> linesBehind(std::string const& label, Outcome const& outcome)
{
    return app_test::linesBehind(label, linesOf(outcome.out));
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

/** The time that a run of the program takes. */
Clock::duration timeOf(Program const& program)
{
    auto const start = Clock::now();
    EXPECT_EQ(program.run().status, app::EXIT_STATUS_OK);
    return Clock::now() - start;
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

TEST(Summary, takesTheSecondOfTheLoadsAndLittleMore)
{
    Clock::duration const time = timeOf(WholeMachine().program({}));

    EXPECT_GE(time, seconds(1));
    EXPECT_LT(time, milliseconds(1900));
}

TEST(Summary, readsTheOtherSubjectsDuringThatSecond)
{
    WholeMachine machine;
    machine.script("cat", "sleep 0.7\n");

    Clock::duration const withoutLoads = timeOf(machine.program({"--no-usage"}));
    Clock::duration const withLoads = timeOf(machine.program({}));

    EXPECT_GE(withoutLoads, milliseconds(700));
    EXPECT_GE(withLoads, seconds(1));
    // One after the other would take 1.7 s and the rest.
    EXPECT_LT(withLoads, withoutLoads + milliseconds(900));
}

TEST(Summary, doesNotWaitWithoutUsage)
{
    EXPECT_LT(timeOf(WholeMachine().program({"--no-usage"})), milliseconds(900));
}

TEST(Summary, hasTheAverageLoad)
{
    WholeMachine machine;
    machine.counters("cpu0 0 0 0 0 0 0 0\ncpu1 0 0 0 0 0 0 0\n");
    machine.countersDuringMeasurement("cpu0 10 0 0 10 0 0 0\ncpu1 0 0 0 9 0 0 0\n");

    EXPECT_THAT(linesBehind("Processors", machine.program({}).run()),
        ElementsAre("2, up to 3500 MHz", "load 25.0 %  ###......."));
}

TEST(Summary, countsTheProcessorsWhoseLoadIsKnown)
{
    app::Machine machine = knownMachine({Subject::PROCESSORS});
    EXPECT_THAT(linesBehind("Processors", summaryOf(machine)),
        ElementsAre(
            "2, up to 10400 MHz", "load 25.0 %  ###.......  (of 1, the others are unknown)"));

    machine.processors->at(0).loadPercent = std::nullopt;
    EXPECT_THAT(linesBehind("Processors", summaryOf(machine)).back(), "load unknown");
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
    EXPECT_THAT(lines.err, HasSubstr(app_test::KERNEL_REPORTS_NO_MEMORY));
    EXPECT_THAT(linesOf(lines.err), testing::SizeIs(5));
    EXPECT_THAT(linesOf(lines.err), testing::Each(testing::StartsWith(COMPLAINT)));
    EXPECT_EQ(document.err, lines.err);
    EXPECT_THAT(linesBehind("System", lines), ElementsAre(HasSubstr("Acme Rocket, ")));
    for (char const* const label : {"Processors", "Memory", "Disks", "Mounts", "Networks"})
        EXPECT_THAT(linesBehind(label, lines), ElementsAre("could not be read")) << label;
    EXPECT_EQ(document.status, app::EXIT_STATUS_QUERY_FAILED);
    json const told = json::parse(document.out);
    EXPECT_EQ(told.at("system").at("vendor"), "Acme");
    for (char const* const key : {"processors", "memory", "disks", "mounts", "networks"})
        EXPECT_TRUE(told.at(key).is_null()) << key;
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
    auto const lines = summaryOf(knownMachine());

    EXPECT_THAT(linesBehind("System", lines), ElementsAre("Acme?[2J Rocket 9000, under KVM"));
    EXPECT_THAT(linesBehind("Disks", lines),
        ElementsAre("sda         931.5 GiB  MODEL_1", "cciss/c0d0    4.0 KiB",
            "sd?[2Jb             -  EVIL????"));
    EXPECT_THAT(linesBehind("Mounts", lines),
        ElementsAre("/               1000.0 GiB   used 75.0 %  ########..",
            "/gone                    -        used -",
            "/media/my disk     2.0 GiB  used 100.0 %  ##########",
            "/odd?[2J           1.0 KiB        used -"));
    EXPECT_THAT(linesBehind("Networks", lines),
        ElementsAre("eth0    10.0.0.5, fe80::1, 10.0.0.6", "ib?[2J  <invalid>, 10.1.0.1",
            "tun0    -", "host name file?server", "name servers 10.0.0.1, <invalid>"));
    EXPECT_THAT(linesBehind("Recovery", lines), ElementsAre("restoring, 37 %"));
}

TEST(Summary, saysThatAListIsNotComplete)
{
    for (auto const& [subject, label] : std::map<Subject, std::string>{{Subject::DISKS, "Disks"},
             {Subject::MOUNTS, "Mounts"}, {Subject::NETWORKS, "Networks"}}) {
        app::Machine machine = knownMachine();
        machine.disks->resize(1);
        machine.mounts->resize(1);
        machine.networks->adapters.resize(1);
        machine.problems = {app_test::failureOf(subject)};

        EXPECT_THAT(linesBehind(label, summaryOf(machine)).at(1), "the rest could not be read");
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
