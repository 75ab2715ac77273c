#include "app/exit_status.h"
#include "app/read/LoadMeter.h"
#include "app/read/Reader.h"
#include "tests/app/LocaleFor.h"
#include "tests/app/WatchedProgram.h"
#include "tests/app/WholeMachine.h"
#include "tests/app/known_machine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cctype>
#include <chrono>
#include <fcntl.h>
#include <fstream>
#include <sys/resource.h>
#include <unistd.h>

using app::loadBetween;
using app::Subject;
using app_test::knownMachine;
using app_test::linesOf;
using app_test::Outcome;
using app_test::Program;
using app_test::tablesOf;
using app_test::WatchedProgram;
using app_test::WholeMachine;
using nlohmann::json;
using testing::DoubleEq;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;
using testing::Optional;
using Clock = std::chrono::steady_clock;

namespace {

constexpr auto SECOND = std::chrono::seconds(1);

/** The kernel's lines "cpuN ...", counted on the machine that the tests run on. */
size_t processorsOfThisMachine()
{
    std::ifstream stat("/proc/stat");
    size_t count = 0;
    for (std::string line; std::getline(stat, line);)
        if (line.size() > 3 && line.starts_with("cpu")
            && std::isdigit(static_cast<unsigned char>(line[3])))
            ++count;
    return count;
}

/** The loads of processors with these counters at the beginning and at the end of a measurement. */
json loadsBetween(std::string const& first, std::string const& second)
{
    WholeMachine machine;
    machine.counters(first);
    machine.countersDuringMeasurement(second);
    Outcome const outcome = machine.program({"--json"}).run();
    EXPECT_EQ(outcome.status, app::EXIT_STATUS_OK);
    EXPECT_EQ(outcome.err, "");
    json loads = json::array();
    json const document = json::parse(outcome.out);
    for (json const& processor : document.at("processors"))
        loads.push_back(processor.at("usage_percent"));
    return loads;
}

}

TEST(Cpus, areThoseOfTheKernel)
{
    Outcome const outcome = Program({"cpus", "--no-usage", "--json"}).run();

    ASSERT_EQ(outcome.status, app::EXIT_STATUS_OK);
    EXPECT_EQ(outcome.err, "");
    json const processors = json::parse(outcome.out).at("processors");
    ASSERT_GT(processorsOfThisMachine(), 0U);
    ASSERT_EQ(processors.size(), processorsOfThisMachine());
    for (size_t i = 0; i < processors.size(); ++i) {
        SCOPED_TRACE(processors[i].dump());
        EXPECT_EQ(processors[i].at("index"), i);
        for (char const* const key : {"current_mhz", "max_mhz"}) {
            json const& speed = processors[i].at(key);
            EXPECT_TRUE(speed.is_null() || (speed.is_number_unsigned() && speed > 0)) << key;
        }
        EXPECT_TRUE(processors[i].at("usage_percent").is_null());
        EXPECT_EQ(processors[i].size(), 4U);
    }
}

TEST(Cpus, areOneTableLineEach)
{
    Outcome const outcome = Program({"cpus", "--no-usage"}).run();

    ASSERT_EQ(outcome.status, app::EXIT_STATUS_OK) << outcome.err;
    std::vector<std::string> const lines = linesOf(outcome.out);
    ASSERT_EQ(lines.size(), 1 + processorsOfThisMachine());
    EXPECT_THAT(lines[0], MatchesRegex(" *CPU +MHz +Max MHz"));
    for (size_t i = 1; i < lines.size(); ++i)
        EXPECT_THAT(lines[i], MatchesRegex(" *[0-9]+ +([0-9]+|-) +([0-9]+|-)"));
}

TEST(Cpus, haveALoadEachOnThisMachine)
{
    Outcome const outcome = Program({"cpus", "--json"}).run();

    EXPECT_EQ(outcome.status, app::EXIT_STATUS_OK) << outcome.err;
    json const document = json::parse(outcome.out);
    EXPECT_EQ(document.at("processors").size(), processorsOfThisMachine());
    for (json const& processor : document.at("processors"))
        EXPECT_TRUE(processor.at("usage_percent").is_number()) << processor;
}

TEST(Cpus, haveTheSpeedsThatTheKernelReportsAndNoOthers)
{
    WholeMachine machine;
    machine.kernelFile("devices/system/cpu/cpu0/cpufreq/scaling_cur_freq", "1200000\n");
    machine.kernelFile("devices/system/cpu/cpu1/cpufreq/bios_limit", "10400000\n");

    Outcome const table = machine.program({"cpus", "--no-usage"}).run();
    Outcome const document = machine.program({"cpus", "--no-usage", "--json"}).run();

    EXPECT_THAT(linesOf(table.out),
        ElementsAre("CPU   MHz  Max MHz", //
            "  0  1200        -", //
            "  1     -    10400"));
    EXPECT_EQ(json::parse(document.out), json::parse(R"({ "processors": [
        { "index": 0, "current_mhz": 1200, "max_mhz": null, "usage_percent": null },
        { "index": 1, "current_mhz": null, "max_mhz": 10400, "usage_percent": null } ] })"));
}

TEST(Cpus, haveTheLoadBetweenTheSamples)
{
    // A processor that waits for a disk counts as busy.
    EXPECT_EQ(loadsBetween("cpu0 100 0 0 500 0 0 0\ncpu1 0 0 0 7 0 0 0\ncpu2 1 2 3 4 5 6 7\n",
                  "cpu0 110 0 0 530 0 0 0\ncpu1 9 0 0 7 0 0 0\ncpu2 2 3 4 6 6 7 8\n"),
        json({25.0, 100.0, 75.0}));
}

TEST(Cpus, haveALoadOfZeroWhileTheyAreIdle)
{
    EXPECT_EQ(loadsBetween("cpu0 100 0 0 500 0 0 0\ncpu1 9 9 9 9 9 9 9\n",
                  "cpu0 100 0 0 600 0 0 0\ncpu1 9 9 9 9 9 9 9\n"),
        json({0.0, 0.0}));
}

TEST(Cpus, haveNoLoadWhereTheirCountersWentBack)
{
    EXPECT_EQ(loadsBetween("cpu0 100 0 0 500 0 0 0\ncpu1 100 0 0 500 0 0 0\n",
                  "cpu0 90 0 0 530 0 0 0\ncpu1 110 0 0 490 0 0 0\n"),
        json({nullptr, nullptr}));
}

TEST(Cpus, haveNoLoadWhereTheKernelDoesNotListThem)
{
    // The library numbers processors densely, so the second one is cpu1.
    EXPECT_EQ(loadsBetween("cpu0 100 0 0 500 0 0 0\ncpu2 0 0 0 0 0 0 0\n",
                  "cpu0 110 0 0 530 0 0 0\ncpu2 50 0 0 50 0 0 0\n"),
        json({25.0, nullptr}));
}

TEST(Cpus, areAProblemWhereTheCountersCanNoLongerBeRead)
{
    WholeMachine machine;
    WatchedProgram program(machine.program({"cpus", "--trace", "3"}), 80);
    program.waitFor("Counted CPU");
    program.waitFor("Counted CPU"); // Of the second processor.
    machine.hide("stat");

    EXPECT_EQ(program.waitForEnd(), app::EXIT_STATUS_QUERY_FAILED);
    EXPECT_THAT(program.output(),
        HasSubstr("cannot read the processors' loads from /proc/stat: Failed to read: /proc/stat"));
    EXPECT_THAT(program.output(), HasSubstr("CPU  MHz  Max MHz  Load"));
    EXPECT_THAT(program.output(), Not(HasSubstr("0.0 %")));
}

TEST(Cpus, thatCannotBeReadAreNamed)
{
    WholeMachine machine;
    machine.hide("stat");

    Outcome const table = machine.program({"cpus"}).run();
    Outcome const document = machine.program({"cpus", "--json"}).run();

    for (Outcome const& outcome : {table, document}) {
        EXPECT_EQ(outcome.status, app::EXIT_STATUS_QUERY_FAILED);
        EXPECT_EQ(outcome.err,
            "dovrel-sysinfo: cannot read the processors from /proc/stat: "
            "Failed to open: /proc/stat\n");
    }
    EXPECT_EQ(table.out, "");
    EXPECT_EQ(json::parse(document.out), json({{"processors", nullptr}}));
}

TEST(Cpus, showTheLibrarysTraceOnStandardError)
{
    WholeMachine const machine;

    Outcome const loud = machine.program({"cpus", "--no-usage", "--trace", "3"}).run();
    Outcome const quiet = machine.program({"cpus", "--no-usage", "--trace", "2"}).run();

    EXPECT_THAT(
        linesOf(loud.err), ElementsAre("trace 3: Found CPU: cpu0", "trace 3: Found CPU: cpu1"));
    EXPECT_EQ(quiet.err, "");
    EXPECT_EQ(quiet.out, loud.out);
}

TEST(Cpus, haveABarOfBlocksWhereTheLocaleHasThem)
{
    app::Machine const machine = knownMachine({Subject::PROCESSORS});
    EXPECT_THAT(tablesOf(machine).at(1), testing::EndsWith("  25.0 %  ###......."));

    app_test::LocaleFor const utf8("C.UTF-8");
    EXPECT_THAT(tablesOf(machine).at(1), testing::EndsWith("  25.0 %  ███░░░░░░░"));
}

TEST(LoadBetween, isTheShareOfBusyTicks)
{
    EXPECT_THAT(loadBetween({100, 100}, {130, 110}), Optional(DoubleEq(25)));
    EXPECT_THAT(loadBetween({100, 100}, {100, 110}), Optional(DoubleEq(100)));
    EXPECT_THAT(loadBetween({100, 100}, {200, 100}), Optional(DoubleEq(0)));
    EXPECT_THAT(loadBetween({100, 100}, {100, 100}), Optional(DoubleEq(0)));
}

TEST(LoadBetween, isRightWhereACounterPasses32Bits)
{
    EXPECT_THAT(loadBetween({4294967295U, 4294967290U}, {29, 0}), Optional(DoubleEq(100.0 / 6)));
}

TEST(LoadBetween, isUnknownWhereACounterWentBack)
{
    for (app::ProcessorTicks const second : {app::ProcessorTicks{1010, 990}, {1100, 990},
             {990, 1010}, {900, 1010}, {990, 900}, {900, 990}})
        EXPECT_EQ(loadBetween({1000, 1000}, second), std::nullopt)
            << second.idle << " " << second.busy;
}

TEST(LoadMeter, doesNothingWithoutProcessors)
{
    app::TraceOutput trace(0, {});
    sysinfo::LinuxSystemInformation const library;
    app::Reader reader(trace, library);
    app::LoadMeter meter(reader);
    app::Machine machine;
    auto const start = Clock::now();

    meter.begin(machine);
    meter.end(machine);

    EXPECT_LT(Clock::now() - start, SECOND);
    EXPECT_FALSE(machine.loadsMeasured);
    EXPECT_TRUE(machine.problems.empty());
}
