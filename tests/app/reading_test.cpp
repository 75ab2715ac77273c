// The whole program on a fake machine: what it reads, how long it takes, what it says of failures.

#include "app/exit_status.h"
#include "tests/app/SyscallFilter.h"
#include "tests/app/WatchedProgram.h"
#include "tests/app/WholeMachine.h"
#include "tests/app/known_machine.h"
#include "tests/support/Json.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <sys/syscall.h>

using app_test::linesBehind;
using app_test::linesOf;
using app_test::Outcome;
using app_test::Program;
using app_test::WatchedProgram;
using app_test::WholeMachine;
using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;
using testkit::Json;
using Clock = std::chrono::steady_clock;

namespace {

constexpr char const* COMMANDS[] = {
    "system", "cpus", "memory", "disks", "mounts", "networks", "recovery"};

constexpr char const* ESCAPE = "\x1B[";

/** The labels of the summary, from its first to its last line. */
std::vector<std::string> labelsOf(Outcome const& outcome)
{
    std::vector<std::string> labels;
    for (std::string const& line : linesOf(outcome.out))
        if (!line.starts_with(' '))
            labels.push_back(line.substr(0, line.find(' ')));
    return labels;
}

/** The shortest time of runs of the program: a busy machine makes one take longer than the program
 * needs. A run that takes less than @p limit is the last one, and so is the fifth. */
Clock::duration timeOf(Program const& program, Clock::duration limit)
{
    auto shortest = Clock::duration::max();
    for (int run = 0; run < 5 && shortest >= limit; ++run) {
        auto const start = Clock::now();
        EXPECT_EQ(program.run().status, app::EXIT_STATUS_OK);
        shortest = std::min(shortest, Clock::now() - start);
    }
    return shortest;
}

/** The output on a terminal of 80 columns. */
std::string screenOf(Program const& program)
{
    WatchedProgram run(program, 80);
    EXPECT_EQ(run.waitForEnd(), app::EXIT_STATUS_OK);
    return run.output();
}

}

TEST(Reading, showsEverySubjectInTheSummary)
{
    Outcome const outcome = WholeMachine().program({"--no-usage"}).run();

    EXPECT_EQ(outcome.status, app::EXIT_STATUS_OK);
    EXPECT_EQ(outcome.err, "");
    auto const lines = linesOf(outcome.out);
    EXPECT_THAT(linesBehind("System", lines).front(), HasSubstr(", Acme Rocket"));
    EXPECT_THAT(linesBehind("Processors", lines).back(), "up to 3500 MHz");
    EXPECT_THAT(linesBehind("Memory", lines).front(), "2.0 GiB, used 1.0 GiB (50.0 %)");
    EXPECT_THAT(linesBehind("Disks", lines), ElementsAre("sdzz  1000.0 KiB"));
    EXPECT_THAT(linesBehind("Mounts", lines), ElementsAre("none"));
    EXPECT_THAT(linesBehind("Networks", lines), Not(testing::IsEmpty()));
    EXPECT_THAT(linesBehind("Recovery", lines), SizeIs(1));
}

TEST(Reading, writesEveryCommandsDocumentInThatOfTheSummary)
{
    WholeMachine const machine;

    Outcome const outcome = machine.program({"--no-usage", "--json"}).run();

    EXPECT_EQ(outcome.status, app::EXIT_STATUS_OK);
    Json const all = Json::parse(outcome.out);
    size_t subjects = 0;
    for (std::string const command : COMMANDS) {
        Program program = machine.program({command, "--json"});
        if (command == "cpus")
            program.arguments.emplace_back("--no-usage");
        Json const own = Json::parse(program.run().out);
        for (auto const& [key, value] : own.items()) {
            if (own.at("subjects") != Json::array({key}))
                continue;
            ++subjects;
            if (key == "system") // Its uptime goes on.
                EXPECT_EQ(all.at(key).at("vendor"), value.at("vendor"));
            else
                EXPECT_EQ(all.at(key), value);
        }
    }
    EXPECT_EQ(subjects, std::size(COMMANDS));
}

TEST(Reading, takesTheSecondOfTheLoadsAndLittleMore)
{
    constexpr Clock::duration LIMIT = milliseconds(1900);

    Clock::duration const time = timeOf(WholeMachine().program({}), LIMIT);

    EXPECT_GE(time, seconds(1));
    EXPECT_LT(time, LIMIT);
}

TEST(Reading, readsTheOtherSubjectsDuringThatSecond)
{
    WholeMachine const machine;
    machine.tool("cat", "sleep 0.7\n");

    // One after the other would take 1.7 s and the rest.
    constexpr Clock::duration LIMIT = milliseconds(1600);

    Clock::duration const withoutLoads =
        timeOf(machine.program({"--no-usage"}), Clock::duration::max());
    Clock::duration const withLoads = timeOf(machine.program({}), LIMIT);

    EXPECT_GE(withoutLoads, milliseconds(700));
    EXPECT_GE(withLoads, seconds(1));
    EXPECT_LT(withLoads, LIMIT);
}

TEST(Reading, doesNotWaitWithoutUsage)
{
    constexpr Clock::duration LIMIT = milliseconds(900);

    EXPECT_LT(timeOf(WholeMachine().program({"--no-usage"}), LIMIT), LIMIT);
}

TEST(Reading, goesOnAfterWhatCannotBeRead)
{
    WholeMachine const machine;
    for (char const* const file : {"stat", "meminfo", "mountinfo", "sys/block", "partitions"})
        machine.hide(file);

    Outcome const lines = machine.program({"--no-usage"}).run();
    Outcome const document = machine.program({"--no-usage", "--json"}).run();

    EXPECT_EQ(lines.status, app::EXIT_STATUS_QUERY_FAILED);
    auto complaints = linesOf(lines.err);
    complaints.erase(std::unique(complaints.begin(), complaints.end()), complaints.end());
    EXPECT_THAT(complaints,
        ElementsAre("dovrel-sysinfo: cannot read the processors from /proc/stat: Permission denied",
            "dovrel-sysinfo: cannot read the memory from /proc/meminfo: Permission denied",
            "dovrel-sysinfo: cannot read the disks from /sys/block: Permission denied",
            "dovrel-sysinfo: cannot read the mounted filesystems from /proc/self/mountinfo: "
            "Permission denied",
            "dovrel-sysinfo: cannot read the boot time from /proc/stat: Permission denied"));
    EXPECT_THAT(labelsOf(lines),
        ElementsAre("System", "Processors", "Memory", "Disks", "Mounts", "Networks", "Recovery",
            "Library"));
    for (char const* const label : {"Memory", "Disks", "Mounts"})
        EXPECT_THAT(linesBehind(label, linesOf(lines.out)), ElementsAre("could not be read"))
            << label;
    EXPECT_EQ(document.status, app::EXIT_STATUS_QUERY_FAILED);
    EXPECT_EQ(document.err, lines.err);
    Json const reported = Json::parse(document.out);
    EXPECT_EQ(reported.at("system").at("vendor"), "Acme");
    EXPECT_THAT(reported.at("problems"), SizeIs(linesOf(lines.err).size()));
    for (char const* const key : {"memory", "disks", "mounts"})
        EXPECT_TRUE(reported.at(key).is_null()) << key;
}

/** As on a machine with as many processes as it may have, fork(2). */
TEST(Reading, hasTheKernelsFactsWhereNoProcessCanBeStarted)
{
    WholeMachine const machine;
    machine.mounts({"/"});
    Program program = machine.program({"all", "--no-usage"});
    program.prepare = [] { app_test::filterSyscalls({{SYS_clone, SECCOMP_RET_ERRNO | EAGAIN}}); };
    // The search for leaks would wait for a thread that cannot be started.
    program.environment["ASAN_OPTIONS"] = "detect_leaks=0";

    Outcome const outcome = program.run();

    EXPECT_EQ(outcome.status, app::EXIT_STATUS_QUERY_FAILED);
    EXPECT_THAT(outcome.err,
        HasSubstr("no process can be started for it: Resource temporarily unavailable\n"));
    EXPECT_THAT(outcome.out, HasSubstr("Product           Rocket\n"));
    EXPECT_THAT(outcome.out,
        HasSubstr("as the query failed: no process can be started for the query: Resource "
                  "temporarily unavailable.\n"));
    EXPECT_THAT(outcome.out,
        HasSubstr("as dmidecode cannot be started: Resource temporarily unavailable.\n"));
}

TEST(Reading, showsNoTableWhereNothingCouldBeRead)
{
    WholeMachine const machine;
    machine.hide("meminfo");

    Outcome const table = machine.program({"memory"}).run();
    Outcome const document = machine.program({"memory", "--json"}).run();

    EXPECT_EQ(table.status, app::EXIT_STATUS_QUERY_FAILED);
    EXPECT_EQ(table.out, "");
    EXPECT_THAT(linesOf(table.err), SizeIs(1));
    EXPECT_EQ(document.status, app::EXIT_STATUS_QUERY_FAILED);
    EXPECT_TRUE(Json::parse(document.out).at("memory").is_null());
}

TEST(Reading, keepsTheFactsThatWereFoundBeforeAFailure)
{
    WholeMachine const machine;
    machine.memory("MemTotal: 2048 kB\n");

    Outcome const outcome = machine.program({"memory"}).run();

    EXPECT_EQ(outcome.status, app::EXIT_STATUS_QUERY_FAILED);
    EXPECT_EQ(outcome.err,
        "dovrel-sysinfo: cannot read the memory from /proc/meminfo: it has no number of "
        "MemFree\n");
    EXPECT_THAT(linesOf(outcome.out),
        testing::AllOf(Contains(testing::MatchesRegex("Total +2.0 MiB")),
            Contains(testing::MatchesRegex("Used +- +-"))));
}

TEST(Reading, drawsTheDisksWithTheirMounts)
{
    WholeMachine const machine;
    std::string const place = machine.folder().path().string();
    machine.mounts({place});

    Outcome const tree = machine.program({"disks", "--tree", "--no-headings"}).run();

    EXPECT_EQ(tree.status, app::EXIT_STATUS_OK);
    EXPECT_THAT(linesOf(tree.out),
        ElementsAre(testing::AllOf(StartsWith("sdzz "), HasSubstr("  " + place))));
}

TEST(Reading, showsRowsAloneWithoutHeadings)
{
    WholeMachine const machine;
    machine.tool("ifconfig", "");

    Outcome const rows = machine.program({"memory", "--no-headings"}).run();
    Outcome const adapters = machine.program({"networks", "--no-headings", "-o", "NAME"}).run();

    EXPECT_THAT(linesOf(rows.out).front(), StartsWith("Total "));
    EXPECT_THAT(linesOf(rows.out).back(), StartsWith("Swap used "));
    EXPECT_THAT(linesOf(adapters.out), Contains("kit0"));
    EXPECT_THAT(adapters.out, Not(HasSubstr("\n\n")));
    EXPECT_THAT(adapters.out, Not(HasSubstr("reports to its host")));
}

TEST(Reading, showsSizesAsNumbersOfBytesOnDemand)
{
    EXPECT_THAT(
        WholeMachine().program({"disks", "--bytes", "-o", "NAME,SIZE", "--no-headings"}).run().out,
        "sdzz  1024000\n");
}

TEST(Trace, isShownOnStandardErrorUpToItsLevel)
{
    WholeMachine const machine;

    Outcome const loud = machine.program({"cpus", "--no-usage", "--trace", "3"}).run();
    Outcome const quiet = machine.program({"cpus", "--no-usage", "--trace", "2"}).run();

    EXPECT_THAT(
        linesOf(loud.err), ElementsAre("trace 3: Found CPU: cpu0", "trace 3: Found CPU: cpu1"));
    EXPECT_EQ(quiet.err, "");
    EXPECT_EQ(quiet.out, loud.out);
}

TEST(ToolLimit, costsTheLibrarysQueriesThatRunTheToolAndNothingElse)
{
    WholeMachine const machine;
    machine.tool("ifconfig", "sleep 60\n");
    auto const start = Clock::now();

    Outcome const outcome = machine.program({"--no-usage", "--json", "--tool-limit", "0.5"}).run();

    EXPECT_LT(Clock::now() - start, seconds(5));
    EXPECT_EQ(outcome.status, app::EXIT_STATUS_OK) << "the machine itself was read";
    EXPECT_EQ(outcome.err, "");
    Json const document = Json::parse(outcome.out);
    Json queries = Json::array();
    for (Json const& difference : document.at("differences"))
        if (difference.at("item").is_null() && difference.at("fact").is_null())
            queries.push_back(Json::array({difference.at("subject"), difference.at("reason")}));
    EXPECT_EQ(queries, Json::parse(R"([
            ["system", "the query, or a tool that it runs, did not end in time"],
            ["networks", "the query, or a tool that it runs, did not end in time"]])"));
    std::vector<std::string> names;
    for (Json const& adapter : document.at("networks").at("adapters"))
        names.push_back(adapter.at("name"));
    EXPECT_THAT(names, Contains("kit0"));
}

TEST(ToolLimit, isWaitedForNoLongerThanNeeded)
{
    constexpr Clock::duration LIMIT = seconds(5);
    EXPECT_LT(timeOf(WholeMachine().program({"networks", "--tool-limit", "60"}), LIMIT), LIMIT);
}

TEST(ToolLimit, isNoFailureWhereTheModulesAreUnavailable)
{
    WholeMachine const machine;
    machine.tool("dmidecode", "sleep 60\n");

    Outcome const outcome = machine.program({"memory", "--tool-limit", "0.5"}).run();

    EXPECT_EQ(outcome.status, app::EXIT_STATUS_OK);
    EXPECT_EQ(outcome.err, "");
    EXPECT_THAT(
        outcome.out, HasSubstr("Unknown: the memory modules, as dmidecode did not end in time.\n"));
}

TEST(Color, isUsedOnATerminalOnly)
{
    WholeMachine const machine;
    Program automatic = machine.program({"memory"});
    automatic.environment["TERM"] = "xterm";
    Program always = machine.program({"memory", "--color", "always"});

    EXPECT_THAT(automatic.run().out, Not(HasSubstr(ESCAPE)));
    EXPECT_THAT(screenOf(automatic), StartsWith("\x1B[1mMEMORY"));
    EXPECT_THAT(always.run().out, StartsWith("\x1B[1mMEMORY"));
}

TEST(Color, isNotUsedWhereTheTerminalOrItsUserDoesNotWantIt)
{
    WholeMachine const machine;
    Program program = machine.program({"memory"});
    program.environment["TERM"] = "dumb";
    EXPECT_THAT(screenOf(program), Not(HasSubstr(ESCAPE)));
    program.environment["TERM"] = "xterm";
    program.environment["NO_COLOR"] = "1";
    EXPECT_THAT(screenOf(program), Not(HasSubstr(ESCAPE)));
    program.environment["NO_COLOR"] = "";
    EXPECT_THAT(screenOf(program), HasSubstr(ESCAPE)) << "an empty variable counts as none";
    program.arguments.insert(program.arguments.end(), {"--color", "never"});
    EXPECT_THAT(screenOf(program), Not(HasSubstr(ESCAPE)));
    program.environment["NO_COLOR"] = "1";
    program.arguments.back() = "always";
    EXPECT_THAT(screenOf(program), HasSubstr(ESCAPE)) << "the option is newer than the variable";
}
