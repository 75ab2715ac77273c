// The memory query on a fake machine. A dump below 256 bytes arrives in one read, which loses no
// size line.

#include "common/basic/processstream/src/process_exception.h"
#include "sysinfo/LinuxSystemInformation.h"
#include "tests/support/CapturedTrace.h"
#include "tests/support/Machine.h"
#include "tests/support/SystemCalls.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>
#include <thread>
#include <vector>

using sysinfo::LinuxSystemInformation;
using testkit::CapturedTrace;
using testkit::contentsOf;
using testkit::machine;

namespace {

constexpr uint64_t KIB_PER_GIB = uint64_t{1} << 20;
constexpr uint64_t UNTOUCHED_TOTAL = 11;
constexpr uint64_t UNTOUCHED_FREE = 12;

constexpr char MEMINFO[] = "MemTotal: 8000000 kB\nMemFree: 3000000 kB\nMemAvailable: 5 kB\n";
constexpr char MODULES[] = "Memory Device\n\tSize: 4096 MB\n\nMemory Device\n\tSize: 4 GB\n";

/** The result of the Linux query. */
struct Result {
    bool known = false;
    uint64_t total = UNTOUCHED_TOTAL;
    uint64_t free = UNTOUCHED_FREE;
    std::optional<dovrel::reason_type> thrown;

    Result()
    {
        try {
            known = LinuxSystemInformation().getMemoryInfo(total, free);
        } catch (dovrel::ProcessException const& failure) {
            thrown = failure.reason();
        }
    }
};

void expectResult(bool known, uint64_t total, uint64_t free)
{
    testkit::calls.waitForTools();
    Result const result;
    EXPECT_FALSE(result.thrown);
    EXPECT_EQ(result.known, known);
    EXPECT_EQ(result.total, total);
    EXPECT_EQ(result.free, free);
}

/** Makes a dmidecode that prints @p dump and then runs the commands @p then. */
void dmidecodePrints(std::string_view dump, std::string const& then = "")
{
    machine.file("/dump", dump);
    machine.tool("/usr/sbin/dmidecode", "cat /dump\n" + then);
}

}

TEST(MemoryQuery, raisesTheTotalToTheSumOfTheModules)
{
    machine.file("/proc/meminfo", MEMINFO);
    dmidecodePrints(MODULES);
    expectResult(true, 8388608, 3000000);
}

TEST(MemoryQuery, keepsATotalThatIsNotBelowTheSum)
{
    dmidecodePrints(MODULES);
    machine.file("/proc/meminfo", "MemTotal: 8388608 kB\nMemFree: 3 kB\n");
    expectResult(true, 8388608, 3);
    machine.file("/proc/meminfo", "MemTotal: 8388609 kB\nMemFree: 3 kB\n");
    expectResult(true, 8388609, 3);
    machine.file("/proc/meminfo", "MemTotal: 8388607 kB\nMemFree: 3 kB\n");
    expectResult(true, 8388608, 3);
}

TEST(MemoryQuery, keepsTheKernelsTotalWithoutDmidecode)
{
    machine.file("/proc/meminfo", MEMINFO);
    CapturedTrace trace;
    expectResult(true, 8000000, 3000000);
    EXPECT_EQ(trace.text(4), "");
    EXPECT_EQ(trace.text(1) + trace.text(2), "");
}

TEST(MemoryQuery, keepsTheKernelsTotalWhenDmidecodeIsNotExecutable)
{
    machine.file("/proc/meminfo", MEMINFO);
    machine.file("/usr/sbin/dmidecode", "#!/bin/sh\necho 'Memory Device'\n");
    CapturedTrace trace(4);
    expectResult(true, 8000000, 3000000);
    EXPECT_EQ(trace.text(4), "");
}

TEST(MemoryQuery, keepsTheKernelsTotalWhenDmidecodePrintsNothing)
{
    machine.file("/proc/meminfo", MEMINFO);
    machine.tool("/usr/sbin/dmidecode", "exit 0");
    CapturedTrace trace(4);
    expectResult(true, 8000000, 3000000);
    EXPECT_EQ(trace.text(4), "dmidecode ran successfully, found: 0\n");
}

TEST(MemoryQuery, keepsTheKernelsTotalWhenDmidecodeLacksPermission)
{
    machine.file("/proc/meminfo", MEMINFO);
    dmidecodePrints("# dmidecode 3.4\nScanning /dev/mem for entry point.\n",
        "echo '/dev/mem: Permission denied' >&2\nexit 1");
    CapturedTrace trace(4);
    expectResult(true, 8000000, 3000000);
    EXPECT_EQ(trace.text(4), "");
}

TEST(MemoryQuery, countsModulesWhenDmidecodeFails)
{
    machine.file("/proc/meminfo", MEMINFO);
    dmidecodePrints(MODULES, "exit 3");
    CapturedTrace trace(4);
    expectResult(true, 8388608, 3000000);
    EXPECT_EQ(trace.text(4), "");
}

TEST(MemoryQuery, ignoresStandardErrorOfDmidecode)
{
    machine.file("/proc/meminfo", MEMINFO);
    dmidecodePrints("Memory Device\n", "printf '\\tSize: 64 GB\\n' >&2");
    expectResult(true, 8000000, 3000000);
}

TEST(MemoryQuery, ignoresAWarningAboutLdPreload)
{
    machine.file("/proc/meminfo", MEMINFO);
    dmidecodePrints(MODULES);
    char const* const former = std::getenv("LD_PRELOAD");
    std::string const restored = former ? former : "";
    ::setenv("LD_PRELOAD", "/nowhere.so", 1); // Every program warns about it.
    expectResult(true, 8388608, 3000000);
    if (former)
        ::setenv("LD_PRELOAD", restored.c_str(), 1);
    else
        ::unsetenv("LD_PRELOAD");
}

TEST(MemoryQuery, doesNotBlockAToolThatReadsAPassword)
{
    machine.file("/proc/meminfo", MEMINFO);
    dmidecodePrints(MODULES, "printf 'Password: '; read password && sleep 60");
    expectResult(true, 8388608, 3000000);
}

TEST(MemoryQuery, readsEveryLineOfALongDump)
{
    // The sizes of the longest of 162,862 dumps from other machines.
    constexpr size_t LONGEST_DUMP = 170'483;
    std::string const module = "Memory Device\n\tSize: 64 GB\n";
    std::string dump = "OEM Strings\n\tString 1: " + std::string(39'541, 'x') + "\n\n";
    for (int i = 0; dump.size() < LONGEST_DUMP; ++i)
        dump += "Handle " + std::to_string(i) + "\n\tLocator: DIMM_A" + std::to_string(i) + "\n\n";
    machine.file("/proc/meminfo", MEMINFO);
    dmidecodePrints(module + dump);
    CapturedTrace const trace(5);
    expectResult(true, 64 * KIB_PER_GIB, 3000000);
    std::string const label = "Parsing line: ";
    std::string read;
    for (testkit::TraceLine const& line : trace.lines())
        if (line.line.rfind(label, 0) == 0)
            read += line.line.substr(label.size());
    // Two empty lines are added: the rest of the size line, which is read by fields, and the end.
    EXPECT_TRUE(read == module + '\n' + dump + '\n') << read.size();
}

TEST(MemoryQuery, returnsFalseWithTheModulesTotalWithoutMeminfo)
{
    dmidecodePrints(MODULES);
    expectResult(false, 8388608, UNTOUCHED_FREE);
    machine.file("/proc/meminfo", MEMINFO);
    std::filesystem::permissions("/proc/meminfo", std::filesystem::perms::none);
    expectResult(false, 8388608, UNTOUCHED_FREE);
    machine.file("/proc/meminfo", "");
    expectResult(false, 8388608, UNTOUCHED_FREE);
}

TEST(MemoryQuery, returnsFalseWithTheTotalWhenFreeMemoryIsMissing)
{
    machine.file("/proc/meminfo", "MemTotal: 9000000 kB\n");
    dmidecodePrints(MODULES);
    expectResult(false, 9000000, UNTOUCHED_FREE);
    machine.file("/proc/meminfo", "MemTotal: 7 kB\nBuffers: 1 kB\n");
    expectResult(false, 8388608, UNTOUCHED_FREE);
}

TEST(MemoryQuery, runsDmidecodeWithoutArgumentsOnEveryCall)
{
    machine.file("/proc/meminfo", MEMINFO);
    machine.tool("/usr/sbin/dmidecode", "echo \"$# arguments\" >>/ran");
    expectResult(true, 8000000, 3000000);
    expectResult(true, 8000000, 3000000);
    EXPECT_EQ(contentsOf("/ran"), "0 arguments\n0 arguments\n");
}

TEST(MemoryQuery, readsAModuleThatIsPrintedInParts)
{
    machine.file("/proc/meminfo", MEMINFO);
    machine.tool("/usr/sbin/dmidecode",
        "printf 'Memory Device\\n\\tForm'; sleep 0.05; printf ' Factor: DIMM\\n'; sleep 0.05\n"
        "printf '\\tSize: 64 GB\\n'");
    expectResult(true, 64 * KIB_PER_GIB, 3000000);
}

TEST(MemoryQuery, losesASizeLineThatSpansTwoReadsKept)
{
    constexpr size_t READ = 255;
    std::string const header = "Memory Device\n";
    std::string const cut = "\tSize: 64 GB";
    machine.file("/proc/meminfo", MEMINFO);
    for (size_t begin = READ - cut.size() - 2; begin <= READ + 1; ++begin) {
        SCOPED_TRACE(begin);
        std::string const filling(begin - header.size() - 1, ' ');
        dmidecodePrints(header + filling + "\n" + cut + "\n\tSize: 16 GB\n");
        // The first read must hold the line's newline.
        bool const lost = begin + 1 < READ && begin + cut.size() >= READ;
        CapturedTrace trace;
        expectResult(true, (lost ? 16 : 64 + 16) * KIB_PER_GIB, 3000000);
        EXPECT_EQ(trace.contains(5, "Failed to seek?!\n"), lost);
        EXPECT_EQ(trace.contains(5, "Ignoring size line \tSize: 64 GB\n"), lost);
    }
}

TEST(MemoryQuery, countsAllModulesExceptThoseThatSpanTwoReadsKept)
{
    constexpr uint64_t MODULES_OF_64_GB = 128;
    machine.file("/proc/meminfo", MEMINFO);
    std::string dump;
    for (uint64_t i = 0; i < MODULES_OF_64_GB; ++i)
        dump += "Memory Device\n\tSize: 64 GB\n\tForm Factor: DIMM\n\tSpeed: 3200 MT/s\n\n";
    dmidecodePrints(dump);
    CapturedTrace trace;
    Result const result;
    EXPECT_FALSE(result.thrown);
    uint64_t lost = 0;
    for (testkit::TraceLine const& line : trace.lines())
        lost += line.line == "Ignoring size line \tSize: 64 GB\n";
    EXPECT_LT(lost, MODULES_OF_64_GB / 2); // A read of 255 bytes cuts one line in four records.
    EXPECT_EQ(result.total, (MODULES_OF_64_GB - lost) * 64 * KIB_PER_GIB);
    EXPECT_EQ(
        trace.text(4), "dmidecode ran successfully, found: " + std::to_string(result.total) + "\n");
}

TEST(MemoryQuery, throwsWhenDmidecodeKeepsRunningAfterItsOutput)
{
    machine.file("/proc/meminfo", MEMINFO);
    // Longer than the third of a second in which the query waits for the end, but shorter than the
    // second after that, in which it reaps the child.
    dmidecodePrints(MODULES, "sleep 0.8");
    CapturedTrace trace(4);
    Result const result;
    EXPECT_EQ(result.thrown, dovrel::REASON_NOT_EXITED);
    EXPECT_EQ(result.total, 8000000U);
    EXPECT_EQ(result.free, 3000000U);
    EXPECT_EQ(trace.text(4), "");
    EXPECT_EQ(
        trace.text(1), "Failed to run dmidecode: it did not end in time, or a signal ended it\n");
}

TEST(MemoryQuery, throwsWhenASignalKillsTheShellKept)
{
    machine.file("/proc/meminfo", MEMINFO);
    machine.file("/dump", MODULES);
    std::filesystem::rename("/bin/sh", "/bin/real-sh");
    machine.file("/bin/sh", "#!/bin/real-sh\n/testkit/bin/cat /dump\nkill -KILL $$\n");
    std::filesystem::permissions("/bin/sh", std::filesystem::perms{0755});
    Result const result;
    std::filesystem::rename("/bin/real-sh", "/bin/sh");
    EXPECT_EQ(result.thrown, dovrel::REASON_NOT_EXITED);
    EXPECT_EQ(result.total, 8000000U);
    EXPECT_EQ(result.free, 3000000U);
}

TEST(MemoryQuery, throwsWhenStandardErrorFillsThePipe)
{
    machine.file("/proc/meminfo", MEMINFO);
    dmidecodePrints(MODULES, "yes | head -c 1000000 >&2");
    Result const result;
    EXPECT_EQ(result.thrown, dovrel::REASON_NOT_EXITED);
    EXPECT_EQ(result.total, 8000000U);
}

TEST(MemoryQuery, isThreadSafe)
{
    machine.file("/proc/meminfo", MEMINFO);
    dmidecodePrints(MODULES);
    std::vector<uint64_t> totals(4, 0);
    std::vector<std::thread> threads;
    threads.reserve(totals.size());
    for (uint64_t& total : totals)
        threads.emplace_back([&total] { total = Result().total; });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(totals, std::vector<uint64_t>(4, 8388608));
}

TEST(MemoryQuery, throwsWithoutAPseudoTerminal)
{
    machine.file("/proc/meminfo", MEMINFO);
    dmidecodePrints(MODULES);
    std::filesystem::rename("/dev/ptmx", "/dev/elsewhere");
    CapturedTrace trace(1);
    Result const result;
    EXPECT_EQ(trace.text(1),
        "Failed to run dmidecode: there is no pseudo-terminal for it: No such file or directory\n");
    std::filesystem::rename("/dev/elsewhere", "/dev/ptmx");
    EXPECT_EQ(result.thrown, dovrel::REASON_PSEUDO_TERMINAL);
    EXPECT_EQ(result.total, 8000000U);
    EXPECT_EQ(result.free, 3000000U);
}

TEST(MemoryQuery, throwsAndTracesWhenTheHostIgnoresSigchld)
{
    machine.file("/proc/meminfo", MEMINFO);
    dmidecodePrints(MODULES);
    struct sigaction ignored { };
    struct sigaction former { };
    ignored.sa_handler = SIG_IGN;
    ASSERT_EQ(::sigaction(SIGCHLD, &ignored, &former), 0);
    CapturedTrace trace(1);
    Result const result;
    ASSERT_EQ(::sigaction(SIGCHLD, &former, nullptr), 0);
    EXPECT_EQ(result.thrown, dovrel::REASON_EXIT_STATUS);
    EXPECT_EQ(trace.text(1),
        "Failed to run dmidecode: its exit status is lost, as where the host ignores SIGCHLD: No "
        "child processes\n");
}

TEST(MemoryQuery, tracesFiguresAndLinesInOrder)
{
    machine.file("/proc/meminfo", MEMINFO);
    dmidecodePrints("# dump\nMemory Device\n\tSize: 16 GB\n\tSize: No Module Installed\n");
    CapturedTrace trace;
    expectResult(true, 16 * KIB_PER_GIB, 3000000);
    std::string text;
    for (testkit::TraceLine const& line : trace.lines())
        if (line.scope.find("UnixCommand") == std::string::npos)
            text += std::to_string(line.level) + ": " + line.line;
    EXPECT_EQ(text,
        "3: Total Memory: 8000000\n"
        "3: Free Memory: 3000000\n"
        "5: Parsing line: # dump\n"
        "5: New section: \n"
        "5: Parsing line: Memory Device\n"
        "5: New section: # dump\n"
        "5: Parsing line: \tSize: 16 GB\n"
        "5: Parsing size line: 'Size:' '16' 'GB'\n"
        "5: Parsing line: \n"
        "5: Parsing line: \tSize: No Module Installed\n"
        "5: Parsing size line: 'Size:' '0' ''\n"
        "5: Ignoring size line \tSize: No Module Installed\n"
        "5: Parsing line: \n"
        "4: dmidecode ran successfully, found: 16777216\n");
}

TEST(MemoryQuery, tracesThePreviousSectionsNameKept)
{
    machine.file("/proc/meminfo", MEMINFO);
    dmidecodePrints("First\nSecond\n");
    CapturedTrace trace;
    expectResult(true, 8000000, 3000000);
    std::string sections;
    for (testkit::TraceLine const& line : trace.lines())
        if (line.line.starts_with("New section: "))
            sections += line.line;
    EXPECT_EQ(sections, "New section: \nNew section: First\n");
}

TEST(MemoryQuery, isSilentBelowItsTraceLevels)
{
    machine.file("/proc/meminfo", MEMINFO);
    dmidecodePrints(MODULES);
    {
        CapturedTrace trace(3);
        expectResult(true, 8388608, 3000000);
        EXPECT_EQ(trace.lines().size(), 2U);
    }
    {
        CapturedTrace trace(4);
        expectResult(true, 8388608, 3000000);
        EXPECT_EQ(trace.text(4), "dmidecode ran successfully, found: 8388608\n");
        EXPECT_EQ(trace.lines().size(), 3U);
        EXPECT_EQ(trace.lines().back().scope,
            "virtual bool sysinfo::LinuxSystemInformation::getMemoryInfo(uint64_t&, uint64_t&) "
            "const");
    }
    CapturedTrace trace(0);
    expectResult(true, 8388608, 3000000);
    EXPECT_TRUE(trace.lines().empty());
}

TEST(MemoryQuery, waitsForTheExitWithTheRestoredTimeOutKept)
{
    machine.file("/proc/meminfo", MEMINFO);
    // Ends after the restored time-out, a tenth of a second, and before the raised one, a second.
    dmidecodePrints(MODULES, "exec <&- >&- 2>&-\nsleep 0.8");
    CapturedTrace trace(4);
    Result const result;
    EXPECT_EQ(result.thrown, dovrel::REASON_NOT_EXITED);
    EXPECT_EQ(trace.text(4), "");
    EXPECT_EQ(result.total, 8000000U);
}
