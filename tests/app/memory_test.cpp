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
using testing::IsEmpty;
using testing::MatchesRegex;

namespace {

constexpr char const* KERNEL = "MemTotal:       16000000 kB\nMemFree:         4000000 kB\n";

constexpr char const* TWO_MODULES = "Memory Device\n\tSize: 8192 MB\n\n"
                                    "Memory Device\n\tSize: No Module Installed\n\n"
                                    "Memory Device\n\tSize: 8 GB\n";

/** What `memory --json` tells. */
json memoryOf(Outcome const& outcome)
{
    return json::parse(outcome.out).at("memory");
}

json figures(json const& total, json const& free, json const& source)
{
    return {{"total_bytes", total}, {"free_bytes", free}, {"total_source", source}};
}

}

TEST(Memory, isTheKernelsWhereTheModulesTellNoMore)
{
    MemoryMachine machine;
    machine.kernel(KERNEL);
    machine.modules("Memory Device\n\tSize: 512 MB\n");

    Outcome const table = machine.program({"memory"}).run();
    Outcome const document = machine.program({"memory", "--json"}).run();

    EXPECT_EQ(table.status, app::EXIT_STATUS_OK);
    EXPECT_EQ(table.err, "");
    EXPECT_THAT(linesOf(table.out),
        ElementsAre("Memory      Size   Share", //
            "Total   15.3 GiB          as the kernel counts", //
            "Free     3.8 GiB  25.0 %", //
            "Used    11.4 GiB  75.0 %  ########.."));
    EXPECT_EQ(document.status, app::EXIT_STATUS_OK);
    EXPECT_EQ(memoryOf(document), figures(16000000ULL * 1024, 4000000ULL * 1024, "kernel"));
}

TEST(Memory, isThatOfTheModulesWhereTheyTellMore)
{
    MemoryMachine machine;
    machine.kernel(KERNEL);
    machine.modules(TWO_MODULES);

    Outcome const table = machine.program({"memory"}).run();
    Outcome const document = machine.program({"memory", "--json"}).run();

    EXPECT_THAT(linesOf(table.out).at(1), "Total   16.0 GiB          of the installed modules");
    EXPECT_EQ(memoryOf(document), figures(16ULL << 30, 4000000ULL * 1024, "modules"));
}

/** The kernel's text, the script of dmidecode, and the total and its source that they give. */
struct Source {
    char const* kernel;
    char const* tool;
    json total;
    json source;
};

struct MemorySource : testing::TestWithParam<Source> { };

TEST_P(MemorySource, isThatOfTheLargerTotal)
{
    auto const& [kernel, tool, total, source] = GetParam();
    MemoryMachine machine;
    machine.kernel(kernel);
    machine.tool(tool);

    json const memory = memoryOf(machine.program({"memory", "--json"}).run());

    EXPECT_EQ(memory.at("total_bytes"), total);
    EXPECT_EQ(memory.at("total_source"), source);
}

constexpr char const* TWO_GIB = "MemTotal: 2097152 kB\nMemFree: 1 kB\n";
constexpr char const* NO_TOTAL = "MemFree: 1 kB\n";
constexpr char const* ZERO_TOTAL = "MemTotal: 0 kB\nMemFree: 0 kB\n";
constexpr char const* NO_MODULE = "";
constexpr char const* MODULE_1 = "echo Memory Device; echo '\tSize: 1 GB'\n";
constexpr char const* MODULE_2 = "echo Memory Device; echo '\tSize: 2 GB'\n";
constexpr char const* MODULE_4 = "echo Memory Device; echo '\tSize: 4 GB'\n";
// The sum of its output counts all the same.
constexpr char const* FAILING_4 = "echo Memory Device; echo '\tSize: 4 GB'; exit 1\n";
json const GIB_2 = 2ULL << 30;
json const GIB_4 = 4ULL << 30;

INSTANTIATE_TEST_SUITE_P(Memory, MemorySource,
    testing::Values(Source{TWO_GIB, NO_MODULE, GIB_2, "kernel"},
        Source{TWO_GIB, MODULE_1, GIB_2, "kernel"}, Source{TWO_GIB, MODULE_2, GIB_2, "kernel"},
        Source{TWO_GIB, MODULE_4, GIB_4, "modules"}, Source{TWO_GIB, FAILING_4, GIB_4, "modules"},
        Source{NO_TOTAL, NO_MODULE, nullptr, nullptr}, Source{NO_TOTAL, MODULE_4, GIB_4, "modules"},
        Source{ZERO_TOTAL, NO_MODULE, nullptr, nullptr},
        Source{ZERO_TOTAL, MODULE_4, GIB_4, "modules"}));

TEST(Memory, hasABarInTheUsersLocale)
{
    MemoryMachine machine;
    machine.kernel("MemTotal: 1000 kB\nMemFree: 600 kB\n");
    Program program = machine.program({"memory"});
    program.environment["LC_ALL"] = "C.UTF-8";

    EXPECT_THAT(linesOf(program.run().out).at(3), "Used     400.0 KiB  40.0 %  ████░░░░░░");
}

TEST(Memory, mayBeUsedUp)
{
    MemoryMachine machine;
    machine.kernel("MemTotal: 2048 kB\nMemFree: 0 kB\n");

    Outcome const table = machine.program({"memory"}).run();
    Outcome const document = machine.program({"memory", "--json"}).run();

    EXPECT_THAT(linesOf(table.out),
        ElementsAre("Memory     Size    Share", //
            "Total   2.0 MiB           as the kernel counts", //
            "Free        0 B    0.0 %", //
            "Used    2.0 MiB  100.0 %  ##########"));
    EXPECT_EQ(memoryOf(document), figures(2 << 20, 0, "kernel"));
}

TEST(Memory, ofWhichTheKernelCountsNothingIsUnknown)
{
    MemoryMachine machine;
    machine.kernel("MemTotal: 0 kB\nMemFree: 0 kB\n");

    Outcome const table = machine.program({"memory"}).run();
    Outcome const document = machine.program({"memory", "--json"}).run();

    EXPECT_EQ(table.status, app::EXIT_STATUS_OK);
    EXPECT_THAT(linesOf(table.out),
        ElementsAre(
            "Memory  Size  Share", "Total      -", "Free     0 B      -", "Used       -      -"));
    EXPECT_EQ(memoryOf(document), figures(nullptr, 0, nullptr));
}

TEST(Memory, withMoreFreeThanThereIsHasNoUsedShare)
{
    MemoryMachine machine;
    machine.kernel("MemTotal: 1024 kB\nMemFree: 2048 kB\n");

    EXPECT_THAT(linesOf(machine.program({"memory"}).run().out),
        ElementsAre("Memory     Size  Share", //
            "Total   1.0 MiB         as the kernel counts", //
            "Free    2.0 MiB      -", //
            "Used          -      -"));
}

TEST(Memory, ofMoreBytesThanCanBeCountedIsUnknown)
{
    // 2^54 KiB are 2^64 bytes, and one KiB less can be told still.
    MemoryMachine machine;
    machine.kernel("MemTotal: 18014398509481984 kB\nMemFree: 18014398509481983 kB\n");

    EXPECT_EQ(memoryOf(machine.program({"memory", "--json"}).run()),
        figures(nullptr, 18446744073709550592ULL, nullptr));
}

TEST(Memory, whoseFreeFigureIsMissingFailsAndTellsTheRest)
{
    MemoryMachine machine;
    machine.kernel("MemTotal: 2048 kB\n");

    Outcome const table = machine.program({"memory"}).run();
    Outcome const document = machine.program({"memory", "--json"}).run();

    EXPECT_EQ(table.status, app::EXIT_STATUS_QUERY_FAILED);
    EXPECT_EQ(table.err, app_test::KERNEL_REPORTS_NO_MEMORY);
    EXPECT_THAT(linesOf(table.out),
        ElementsAre("Memory     Size  Share", //
            "Total   2.0 MiB         as the kernel counts", //
            "Free          -      -", //
            "Used          -      -"));
    EXPECT_EQ(document.status, app::EXIT_STATUS_QUERY_FAILED);
    EXPECT_EQ(memoryOf(document), figures(2 << 20, nullptr, "kernel"));
}

TEST(Memory, thatCannotBeReadAtAllIsNamed)
{
    MemoryMachine machine;
    machine.kernel(KERNEL);
    machine.hideKernel();

    Outcome const outcome = machine.program({"memory", "--json"}).run();

    EXPECT_EQ(outcome.status, app::EXIT_STATUS_QUERY_FAILED);
    EXPECT_EQ(json::parse(outcome.out), json({{"memory", nullptr}}));
    EXPECT_EQ(machine.program({"memory"}).run().out, "");
    EXPECT_EQ(outcome.err, app_test::KERNEL_REPORTS_NO_MEMORY);
}

TEST(Memory, ofTheModulesAloneFailsAndIsTold)
{
    MemoryMachine machine;
    machine.kernel(KERNEL);
    machine.hideKernel();
    machine.modules(TWO_MODULES);

    Outcome const outcome = machine.program({"memory", "--json"}).run();

    EXPECT_EQ(outcome.status, app::EXIT_STATUS_QUERY_FAILED);
    EXPECT_EQ(memoryOf(outcome), figures(16ULL << 30, nullptr, "modules"));
}

TEST(Memory, keepsTheKernelsFiguresWhereNoToolCanBeStarted)
{
    MemoryMachine machine;
    machine.kernel(KERNEL);
    Program program = machine.program({"memory", "--json"});
    program.replaced["/dev/ptmx"] = machine.folder().file("ptmx", "no terminals here\n");

    Outcome const outcome = program.run();

    EXPECT_EQ(outcome.status, app::EXIT_STATUS_QUERY_FAILED);
    EXPECT_THAT(linesOf(outcome.err),
        ElementsAre(
            MatchesRegex("dovrel-sysinfo: cannot read the memory from /proc/meminfo, dmidecode: "
                         "Failed to run dmidecode: there is no pseudo-terminal for it: [A-Z].*")));
    EXPECT_EQ(memoryOf(outcome), figures(16000000ULL * 1024, 4000000ULL * 1024, "kernel"));
}

TEST(Memory, keepsTheKernelsFiguresWhereTheToolDoesNotEnd)
{
    MemoryMachine machine;
    machine.kernel(KERNEL);
    machine.tool("sleep 1\n");

    Outcome const outcome = machine.program({"memory"}).run();

    EXPECT_EQ(outcome.status, app::EXIT_STATUS_QUERY_FAILED);
    EXPECT_THAT(linesOf(outcome.err),
        ElementsAre("dovrel-sysinfo: cannot read the memory from /proc/meminfo, dmidecode: Failed "
                    "to run dmidecode: it did not end in time, or a signal ended it"));
    EXPECT_THAT(linesOf(outcome.out).at(1), HasSubstr("15.3 GiB"));
}

TEST(Memory, showsNoMoreOfTheTraceThanIsWanted)
{
    MemoryMachine machine;
    machine.kernel(KERNEL);
    machine.modules(TWO_MODULES);
    auto const total = "trace 3: Total Memory: 16000000";
    auto const free = "trace 3: Free Memory: 4000000";

    // The kernel's figures are read once more, for the source of the total.
    EXPECT_THAT(machine.program({"memory"}).run().err, IsEmpty());
    EXPECT_THAT(linesOf(machine.program({"memory", "--trace", "3"}).run().err),
        ElementsAre(total, free, total, free));
    EXPECT_THAT(linesOf(machine.program({"memory", "--trace", "4"}).run().err),
        ElementsAre(
            total, free, "trace 4: dmidecode ran successfully, found: 16777216", total, free));
}
