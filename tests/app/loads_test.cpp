#include "app/exit_status.h"
#include "app/read/LoadMeter.h"
#include "tests/app/WatchedProgram.h"
#include "tests/app/WholeMachine.h"
#include "tests/support/Json.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cctype>
#include <chrono>
#include <fstream>

using app::loadBetween;
using app_test::Outcome;
using app_test::Program;
using app_test::WatchedProgram;
using app_test::WholeMachine;
using testing::DoubleEq;
using testing::HasSubstr;
using testing::Not;
using testing::Optional;
using testkit::Json;
using Clock = std::chrono::steady_clock;

namespace {

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

/** Waits until the first samples of so many processors are taken. */
void waitForSamples(WatchedProgram& program, int processors)
{
    for (int i = 0; i < processors; ++i)
        program.waitFor("Counted CPU");
}

}

TEST(Loads, areMeasuredForEveryProcessorOfThisMachine)
{
    Outcome const outcome = Program({"cpus", "--json"}).run();

    EXPECT_EQ(outcome.status, app::EXIT_STATUS_OK) << outcome.err;
    Json const processors = Json::parse(outcome.out).at("processors");
    ASSERT_GT(processorsOfThisMachine(), 0U);
    EXPECT_EQ(processors.at("count"), processorsOfThisMachine());
    EXPECT_TRUE(processors.at("load_ratio").is_number());
    for (Json const& processor : processors.at("list"))
        EXPECT_TRUE(processor.at("load_ratio").is_number()) << processor;
}

TEST(Loads, areUnknownWhereTheyAreNotMeasured)
{
    Outcome const outcome = Program({"cpus", "--no-usage", "--json"}).run();

    EXPECT_EQ(outcome.status, app::EXIT_STATUS_OK) << outcome.err;
    Json const processors = Json::parse(outcome.out).at("processors");
    EXPECT_TRUE(processors.at("load_ratio").is_null());
    for (Json const& processor : processors.at("list"))
        EXPECT_TRUE(processor.at("load_ratio").is_null()) << processor;
}

TEST(Loads, areThoseBetweenTwoSamples)
{
    WholeMachine const machine;
    // The fourth number counts idle ticks. The kernel takes cpu4 offline.
    machine.counters("cpu0 100 0 0 500 0 0 0\ncpu1 0 0 0 7 0 0 0\ncpu2 9 9 9 9 9 9 9\n"
                     "cpu3 100 0 0 500 0 0 0\ncpu4 1 1 1 1 1 1 1\n");
    WatchedProgram program(
        machine.program({"cpus", "--trace", "3", "-o", "CPU,LOAD", "--no-headings"}), 80);
    waitForSamples(program, 5);
    machine.counters("cpu0 110 0 0 530 0 0 0\ncpu1 9 0 0 7 0 0 0\ncpu2 9 9 9 9 9 9 9\n"
                     "cpu3 90 0 0 530 0 0 0\n");

    EXPECT_EQ(program.waitForEnd(), app::EXIT_STATUS_OK);
    EXPECT_THAT(program.output(),
        testing::EndsWith(
            "\r\n0   25.0 %\r\n1  100.0 %\r\n2    0.0 %\r\n3        -\r\n4        -\r\n"));
}

TEST(Loads, areAProblemWhereTheCountersCanNoLongerBeRead)
{
    WholeMachine const machine;
    WatchedProgram program(machine.program({"cpus", "--trace", "3"}), 120);
    waitForSamples(program, 2);
    machine.hide("stat");

    EXPECT_EQ(program.waitForEnd(), app::EXIT_STATUS_QUERY_FAILED);
    EXPECT_THAT(program.output(),
        HasSubstr("cannot read the processors' loads from /proc/stat: Permission denied"));
    EXPECT_THAT(program.output(), HasSubstr("\r\nCPU  MIN-MHZ  MHZ  MAX-MHZ  LOAD"));
    EXPECT_THAT(program.output(), Not(HasSubstr("0.0 %")));
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
    app::LoadMeter meter;
    app::Machine machine;
    auto const start = Clock::now();

    meter.begin(machine);
    meter.end(machine);

    EXPECT_LT(Clock::now() - start, std::chrono::seconds(1));
    EXPECT_TRUE(machine.problems.empty());
}
