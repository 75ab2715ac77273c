#include "app/exit_status.h"
#include "tests/app/Program.h"
#include "tests/app/WatchedProgram.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <array>
#include <atomic>
#include <cctype>
#include <chrono>
#include <cstdio>
#include <fcntl.h>
#include <fstream>
#include <sys/resource.h>
#include <thread>
#include <unistd.h>

using app_test::Folder;
using app_test::linesOf;
using app_test::Outcome;
using app_test::Program;
using app_test::WatchedProgram;
using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;

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

/** /proc/stat of processors that have done nothing but what they are told to have done. */
class KernelCounters {
public:
    explicit KernelCounters(unsigned processors) : m_processors(processors) { write(); }

    std::filesystem::path path() const { return m_folder.path() / "stat"; }

    /** Lets every processor work one tick and rest three. */
    void advance()
    {
        ++m_step;
        write();
    }

private:
    void write()
    {
        std::string text;
        for (unsigned i = 0; i < m_processors; ++i) {
            std::array<char, 100> line;
            // Of fixed width, and rewritten in place: a reader finds the old or the new figures.
            std::snprintf(line.data(), line.size(), "cpu%u %08u 0 0 %08u 0 0 0 0 0 0\n", i,
                1000 + m_step, 1000 + 3 * m_step);
            text += line.data();
        }
        int const file = open(path().c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
        ASSERT_GE(file, 0);
        EXPECT_EQ(pwrite(file, text.data(), text.size(), 0), static_cast<ssize_t>(text.size()));
        close(file);
    }

    Folder m_folder;
    unsigned m_processors;
    unsigned m_step = 0;
};

/** Advances the counters while it exists. */
class WorkingProcessors {
public:
    explicit WorkingProcessors(KernelCounters& counters)
        : m_thread([this, &counters] {
              while (!m_end) {
                  std::this_thread::sleep_for(std::chrono::milliseconds(200));
                  counters.advance();
              }
          })
    {
    }
    WorkingProcessors(WorkingProcessors const&) = delete;
    WorkingProcessors& operator=(WorkingProcessors const&) = delete;
    ~WorkingProcessors()
    {
        m_end = true;
        m_thread.join();
    }

private:
    std::atomic<bool> m_end{false};
    std::thread m_thread;
};

Program withCounters(KernelCounters const& counters, std::vector<std::string> arguments)
{
    Program program(std::move(arguments));
    program.replaced["/proc/stat"] = counters.path();
    return program;
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

TEST(Cpus, haveTheSpeedsThatTheKernelTellsAndNoOthers)
{
    KernelCounters const counters(2);
    Folder const folder;
    folder.file("devices/system/cpu/cpu0/cpufreq/scaling_cur_freq", "1200000\n");
    folder.file("devices/system/cpu/cpu1/cpufreq/bios_limit", "10400000\n");

    Program program = withCounters(counters, {"cpus", "--no-usage"});
    program.replaced["/sys"] = folder.path();
    Outcome const table = program.run();
    program.arguments.push_back("--json");
    Outcome const document = program.run();

    EXPECT_THAT(linesOf(table.out),
        ElementsAre("CPU   MHz  Max MHz", //
            "  0  1200        -", //
            "  1     -    10400"));
    EXPECT_EQ(json::parse(document.out), json::parse(R"({ "processors": [
        { "index": 0, "current_mhz": 1200, "max_mhz": null, "usage_percent": null },
        { "index": 1, "current_mhz": null, "max_mhz": 10400, "usage_percent": null } ] })"));
}

TEST(Cpus, areSampledWithinTheTimeOfOne)
{
    // One after the other would take 64 seconds.
    constexpr unsigned COUNT = 64;
    KernelCounters counters(COUNT);
    WorkingProcessors const working(counters);

    Outcome const outcome = withCounters(counters, {"cpus", "--json", "--max-wait", "20"}).run();

    ASSERT_EQ(outcome.status, app::EXIT_STATUS_OK) << outcome.err;
    json const processors = json::parse(outcome.out).at("processors");
    ASSERT_EQ(processors.size(), COUNT);
    for (json const& processor : processors)
        EXPECT_EQ(processor.at("usage_percent"), 25.0) << processor.dump();
}

TEST(Cpus, areSampledAtOnceWhereFewDescriptorsAreAllowed)
{
    constexpr unsigned COUNT = 256;
    KernelCounters counters(COUNT);
    WorkingProcessors const working(counters);
    rlimit former{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &former), 0);
    // Enough to start the program, and too few for two threads that read at once.
    int const next = open("/dev/null", O_RDONLY | O_CLOEXEC);
    close(next);
    rlimit const few{static_cast<rlim_t>(next) + 6, former.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &few), 0);

    Outcome const outcome = withCounters(counters, {"cpus", "--json", "--max-wait", "30"}).run();

    setrlimit(RLIMIT_NOFILE, &former);
    EXPECT_EQ(outcome.status, app::EXIT_STATUS_OK) << outcome.err;
    json const processors = json::parse(outcome.out).at("processors");
    EXPECT_EQ(processors.size(), COUNT);
    for (json const& processor : processors) {
        ASSERT_TRUE(processor.at("usage_percent").is_number()) << processor.dump();
        EXPECT_GT(processor.at("usage_percent"), 0.0) << processor.dump();
    }
}

TEST(Cpus, haveNoLoadWhereItCannotBeRead)
{
    KernelCounters const counters(2);
    WatchedProgram program(
        withCounters(counters, {"cpus", "--max-wait", "20", "--trace", "3"}), 80);
    program.waitFor("Found CPU: cpu1");
    std::filesystem::permissions(counters.path(), std::filesystem::perms::none);

    EXPECT_EQ(program.waitForEnd(), app::EXIT_STATUS_QUERY_FAILED);
    EXPECT_THAT(program.output(), HasSubstr("Failed to read: /proc/stat"));
    EXPECT_THAT(program.output(), HasSubstr("cannot read the load of every processor"));
    EXPECT_THAT(program.output(), Not(HasSubstr("0.0 %")));
}

TEST(Cpus, haveALoadWithABar)
{
    KernelCounters counters(1);
    WorkingProcessors const working(counters);
    Program program = withCounters(counters, {"cpus", "--max-wait", "30"});

    Outcome const plain = program.run();
    program.environment["LC_ALL"] = "C.UTF-8";
    Outcome const blocks = program.run();

    EXPECT_THAT(plain.out, testing::EndsWith("  25.0 %  ###.......\n"));
    EXPECT_THAT(blocks.out, testing::EndsWith("  25.0 %  ███░░░░░░░\n"));
}

TEST(Cpus, haveAnUnknownLoadWhenTheWaitIsOver)
{
    KernelCounters const counters(3);

    Outcome const document = withCounters(counters, {"cpus", "--json", "--max-wait", "1"}).run();
    Outcome const table = withCounters(counters, {"--max-wait", "1.5", "cpus"}).run();

    EXPECT_EQ(document.status, app::EXIT_STATUS_OK);
    EXPECT_EQ(document.err, "");
    json const processors = json::parse(document.out).at("processors");
    ASSERT_EQ(processors.size(), 3U);
    for (json const& processor : processors)
        EXPECT_TRUE(processor.at("usage_percent").is_null());
    EXPECT_EQ(table.status, app::EXIT_STATUS_OK);
    std::vector<std::string> const lines = linesOf(table.out);
    ASSERT_EQ(lines.size(), 6U) << table.err;
    EXPECT_THAT(lines[1], MatchesRegex(" +0 .* -"));
    EXPECT_THAT(lines[5], HasSubstr("no answer within 1.5 s"));
}

TEST(Cpus, thatCannotBeReadAreNamed)
{
    Folder const folder;
    Program program({"cpus", "--json"});
    program.replaced["/proc/stat"] = folder.file("stat", "cpu0 1 1 1 1 1 1 1\n");
    std::filesystem::permissions(program.replaced["/proc/stat"], std::filesystem::perms::none);

    Outcome const outcome = program.run();

    EXPECT_EQ(outcome.status, app::EXIT_STATUS_QUERY_FAILED);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(
        outcome.err, "dovrel-sysinfo: cannot read the processors: Failed to open: /proc/stat\n");
}

TEST(Cpus, showTheLibrarysTraceOnStandardError)
{
    KernelCounters const counters(2);

    Outcome const loud = withCounters(counters, {"cpus", "--no-usage", "--trace", "3"}).run();
    Outcome const quiet = withCounters(counters, {"cpus", "--no-usage", "--trace", "2"}).run();

    EXPECT_THAT(
        linesOf(loud.err), ElementsAre("trace 3: Found CPU: cpu0", "trace 3: Found CPU: cpu1"));
    EXPECT_EQ(quiet.err, "");
    EXPECT_EQ(quiet.out, loud.out);
}

TEST(Cpus, showProgressOnATerminalAndTakeItAway)
{
    KernelCounters const counters(2);
    Program program = withCounters(counters, {"cpus", "--json", "--max-wait", "1.2"});
    program.errorIsTerminal = true;

    Outcome const outcome = program.run();

    EXPECT_EQ(json::parse(outcome.out).at("processors").size(), 2U);
    std::string const line = "\rsampling 0/2 processors ... 1 s";
    EXPECT_THAT(outcome.err, HasSubstr(line));
    std::string const blank = "\r" + std::string(line.size() - 1, ' ') + "\r";
    EXPECT_THAT(outcome.err, testing::EndsWith(blank));
}
