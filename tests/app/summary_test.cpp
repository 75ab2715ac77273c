#include "app/exit_status.h"
#include "tests/app/MemoryMachine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

using app_test::linesOf;
using app_test::MemoryMachine;
using app_test::Outcome;
using app_test::Program;
using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

/** Two processors, 2 GiB of memory in modules, of which the kernel has all but 1 MiB. */
class SummarizedMachine : public MemoryMachine {
public:
    SummarizedMachine()
    {
        kernel("MemTotal: 2096128 kB\nMemFree: 1048576 kB\n");
        modules("Memory Device\n\tSize: 2 GB\n");
        folder().file("stat", "cpu0 1 1 1 1 1 1 1\ncpu1 1 1 1 1 1 1 1\n");
        folder().file("sys/devices/system/cpu/cpu1/cpufreq/bios_limit", "3500000\n");
    }

    void hideProcessors() const
    {
        std::filesystem::permissions(folder().path() / "stat", std::filesystem::perms::none);
    }

    Program summary(std::vector<std::string> arguments) const
    {
        Program program = this->program(std::move(arguments));
        program.replaced["/proc/stat"] = folder().path() / "stat";
        program.replaced["/sys"] = folder().path() / "sys";
        return program;
    }
};

constexpr char const* MEMORY_LINE = "Memory      2.0 GiB of the installed modules, 1.0 GiB free";
constexpr char const* USED_LINE = "            used 50.0 %  #####.....";

}

TEST(Summary, isWhatTheProgramTellsWithoutACommand)
{
    SummarizedMachine const machine;

    Outcome const outcome = machine.summary({"--no-usage"}).run();

    EXPECT_EQ(outcome.status, app::EXIT_STATUS_OK);
    EXPECT_EQ(outcome.err, "");
    EXPECT_THAT(
        linesOf(outcome.out), ElementsAre("Processors  2, up to 3500 MHz", MEMORY_LINE, USED_LINE));
}

TEST(Summary, forScriptsIsEveryCommandsDocumentInOne)
{
    SummarizedMachine const machine;

    Outcome const outcome = machine.summary({"--no-usage", "--json"}).run();

    EXPECT_EQ(outcome.status, app::EXIT_STATUS_OK);
    json expected = json::parse(machine.summary({"cpus", "--no-usage", "--json"}).run().out);
    expected.update(json::parse(machine.summary({"memory", "--json"}).run().out));
    EXPECT_EQ(json::parse(outcome.out), expected);
    EXPECT_EQ(expected.size(), 2U);
}

TEST(Summary, honoursTheLongestWait)
{
    SummarizedMachine const machine;

    Outcome const outcome = machine.summary({"--max-wait", "1"}).run();

    EXPECT_EQ(outcome.status, app::EXIT_STATUS_OK);
    EXPECT_THAT(outcome.out, HasSubstr("load unknown: no answer within 1 s"));
}

TEST(Summary, goesOnAfterWhatCannotBeRead)
{
    SummarizedMachine const machine;
    machine.hideProcessors();

    Outcome const lines = machine.summary({}).run();
    Outcome const document = machine.summary({"--json"}).run();

    EXPECT_EQ(lines.status, app::EXIT_STATUS_QUERY_FAILED);
    EXPECT_THAT(
        linesOf(lines.out), ElementsAre("Processors  could not be read", MEMORY_LINE, USED_LINE));
    EXPECT_EQ(document.status, app::EXIT_STATUS_QUERY_FAILED);
    json const told = json::parse(document.out);
    EXPECT_TRUE(told.at("processors").is_null());
    EXPECT_EQ(told.at("memory").at("total_bytes"), 2ULL << 30);
}

TEST(Summary, saysThatTheMemoryCannotBeRead)
{
    SummarizedMachine machine;
    machine.hideKernel();
    machine.modules("");

    Outcome const lines = machine.summary({"--no-usage"}).run();
    Outcome const document = machine.summary({"--no-usage", "--json"}).run();

    EXPECT_EQ(lines.status, app::EXIT_STATUS_QUERY_FAILED);
    EXPECT_THAT(linesOf(lines.out),
        ElementsAre("Processors  2, up to 3500 MHz", "Memory      could not be read"));
    EXPECT_EQ(lines.err, app_test::KERNEL_TELLS_NO_MEMORY);
    EXPECT_EQ(document.status, app::EXIT_STATUS_QUERY_FAILED);
    EXPECT_TRUE(json::parse(document.out).at("memory").is_null());
}

TEST(Summary, tellsWhatIsKnownOfTheMemory)
{
    SummarizedMachine machine;
    machine.kernel("MemTotal: 2048 kB\n");
    machine.modules("");

    Outcome const outcome = machine.summary({"--no-usage"}).run();

    EXPECT_EQ(outcome.status, app::EXIT_STATUS_QUERY_FAILED);
    EXPECT_THAT(
        linesOf(outcome.out).back(), "Memory      2.0 MiB as the kernel counts, free unknown");
}
