// The program on fake machines: what it shows, compared with the screens beside the machines.

#include "app/recording/answer_line.h"
#include "tests/app/ScreenText.h"
#include "tests/machines/MachineFile.h"
#include "tests/machines/ProgramRun.h"
#include "tests/machines/RunningMachine.h"
#include "tests/machines/build_entry.h"
#include "tests/machines/screen.h"
#include "tests/page/Page.h"
#include "tests/support/Json.h"
#include "tests/support/Machine.h"
#include "tests/support/SystemFailure.h"
#include "tests/support/capabilities.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <clocale>
#include <cstdlib>
#include <cwchar>
#include <fstream>
#include <memory>
#include <regex>
#include <set>
#include <sstream>

namespace {

using machines::MachineFile;
using machines::ProgramRun;
using machines::RealRoot;
using machines::RunningMachine;
using testkit::machine;

/** Every screen shows these commands, one below the other. */
constexpr char const* COMMANDS[] = {
    "",
    "system",
    "cpus",
    "memory",
    "disks",
    "disks --tree",
    "mounts",
    "networks",
    "recovery",
    "library",
};

constexpr char const* MACHINES[] = {
    "laptop", "server", "router", "guest", "old24", "old26", "broken"};

/** The widths of terminals; a pipe, JSON and metrics have none. */
constexpr char const* OUTPUTS[] = {"40.txt", "80.txt", "200.txt", "pipe.txt", "json", "prom"};

/** Ends programs that hang; no measure of their speed. */
constexpr std::chrono::seconds HANG_GUARD(60);

std::vector<std::string> linesOf(std::string const& text)
{
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

/** How a run ended, where that is no success. */
std::string endOf(ProgramRun const& run)
{
    if (run.wasKilled())
        return "[hangs]\n";
    return run.status() == 0 ? "" : "[status " + std::to_string(run.status()) + "]\n";
}

std::string commandLine(std::string const& command)
{
    return "dovrel-sysinfo" + (command.empty() ? "" : " " + command);
}

/** The times that the queries took are of the machine that runs the tests. */
std::string withoutDurations(std::string const& text)
{
    static std::regex const durations(
        "(\"duration_seconds\": |query_duration_seconds\\{[^}]*\\} )[0-9.e-]+");
    return std::regex_replace(text, durations, "$010");
}

class Machines : public testing::TestWithParam<std::tuple<char const*, char const*>> {
protected:
    Machines()
    {
        std::setlocale(LC_CTYPE, "C.UTF-8");
        RealRoot const root;
        m_file = std::make_unique<MachineFile>(
            std::filesystem::path(DOVREL_MACHINES_FOLDER) / (name() + ".machine"));
    }

    static std::string name() { return std::get<0>(GetParam()); }
    static std::string output() { return std::get<1>(GetParam()); }

    /** @return the width in the output's name. */
    static std::optional<unsigned short> columns()
    {
        unsigned short width = 0;
        std::istringstream(output()) >> width;
        return width == 0 ? std::nullopt : std::optional(width);
    }

    /** @return the arguments and a limit for tools that a busy machine keeps, too, where none of
     * the machine's tools hangs. */
    static std::vector<std::string> patient(std::vector<std::string> arguments)
    {
        if (name() != "broken")
            arguments.insert(arguments.end(), {"--tool-limit", "50"});
        return arguments;
    }

    /** Runs all commands at the same time, each with further arguments. */
    std::vector<std::unique_ptr<ProgramRun>> runAll(std::vector<std::string> const& further)
    {
        m_file->build();
        RunningMachine const running;
        std::vector<std::unique_ptr<ProgramRun>> runs;
        std::vector<ProgramRun*> all;
        for (char const* const command : COMMANDS) {
            std::vector<std::string> arguments = app::wordsOfLine(command);
            arguments.insert(arguments.end(), further.begin(), further.end());
            runs.push_back(std::make_unique<ProgramRun>(patient(arguments), columns()));
            all.push_back(runs.back().get());
        }
        ProgramRun::finish(all, HANG_GUARD);
        for (size_t i = 0; i < runs.size(); ++i) {
            EXPECT_FALSE(runs[i]->wasKilled()) << commandLine(COMMANDS[i]) << " hangs";
            EXPECT_TRUE(runs[i]->wasKilled() || runs[i]->status() >= 0)
                << commandLine(COMMANDS[i]) << " ended by signal " << -runs[i]->status();
        }
        return runs;
    }

    /** @return all screens, one below the other. */
    std::string screens()
    {
        std::string text;
        auto const runs = runAll({});
        for (size_t i = 0; i < runs.size(); ++i) {
            ProgramRun const& run = *runs[i];
            text += "$ " + commandLine(COMMANDS[i]) + "\n";
            text += columns() ? machines::screenAfter(run.output(), *columns()) : run.output();
            for (std::string const& line : linesOf(run.errors()))
                text += "[error] " + line + "\n";
            text += endOf(run) + "\n";
        }
        return text;
    }

    /** @return one document with those of all commands. */
    std::string documents()
    {
        nlohmann::ordered_json all;
        auto const runs = runAll({"--json"});
        for (size_t i = 0; i < runs.size(); ++i) {
            ProgramRun const& run = *runs[i];
            auto& one = all[commandLine(COMMANDS[i])];
            one["status"] = run.status();
            one["errors"] = linesOf(run.errors());
            one["document"] = nullptr;
            if (run.output().empty())
                continue;
            one["document"] = nlohmann::ordered_json::parse(run.output(), nullptr, false);
            EXPECT_FALSE(one["document"].is_discarded()) << run.output();
        }
        constexpr int INDENTATION = 2;
        return all.dump(INDENTATION) + "\n";
    }

    /** @return the metrics of the whole machine. */
    std::string metrics()
    {
        m_file->build();
        RunningMachine const running;
        ProgramRun run(patient({"--openmetrics"}), std::nullopt);
        EXPECT_TRUE(ProgramRun::finish({&run}, HANG_GUARD)) << "hangs";
        return run.output();
    }

    std::unique_ptr<MachineFile> m_file;
};

/** The recorded screens; another folder is for those who want to look at new ones first. */
std::filesystem::path screenFile(std::string const& name)
{
    char const* const folder = std::getenv("DOVREL_SCREENS");
    return std::filesystem::path(folder ? folder : DOVREL_MACHINES_FOLDER) / name;
}

void compareLines(std::string const& recorded, std::string const& shown, std::string const& name)
{
    auto const before = linesOf(recorded);
    auto const now = linesOf(shown);
    std::string title;
    for (size_t i = 0; i < std::max(before.size(), now.size()); ++i) {
        std::string const left = i < before.size() ? before[i] : "(end)";
        std::string const right = i < now.size() ? now[i] : "(end)";
        if (right.starts_with("$ "))
            title = right;
        if (left != right) {
            ADD_FAILURE() << name << ":" << i + 1 << " differs, " << title
                          << "\n  recorded: " << left << "\n  shown:    " << right
                          << "\nDOVREL_UPDATE_SCREENS=1 records the screens anew.";
            return;
        }
    }
}

}

TEST_P(Machines, showTheRecordedScreens)
{
    std::string const shown = output() == "json" ? withoutDurations(documents())
        : output() == "prom"                     ? withoutDurations(metrics())
                                                 : screens();
    RealRoot const root;
    std::string const file = name() + "." + output();
    if (std::getenv("DOVREL_UPDATE_SCREENS")) {
        std::ofstream(screenFile(file), std::ios::binary) << shown;
        return;
    }
    ASSERT_TRUE(std::filesystem::exists(screenFile(file)))
        << screenFile(file) << " is missing; DOVREL_UPDATE_SCREENS=1 makes it";
    compareLines(testkit::contentsOf(screenFile(file)), shown, file);
}

/** Screens of few columns, compared with the recorded output in a pipe. */
class NarrowScreens : public Machines {
protected:
    /** @return the text without blanks and newlines, which may stand anywhere. */
    static std::string squeezed(std::string text)
    {
        std::erase_if(text, [](char c) { return c == ' ' || c == '\r' || c == '\n'; });
        return text;
    }

    static size_t widthOf(std::string const& line)
    {
        size_t width = 0;
        std::mbstate_t state{};
        for (size_t i = 0; i < line.size();) {
            wchar_t code = 0;
            size_t const bytes = std::mbrtowc(&code, line.data() + i, line.size() - i, &state);
            if (bytes == 0 || bytes > line.size() - i)
                throw std::runtime_error("no UTF-8: " + line);
            width += static_cast<size_t>(std::max(wcwidth(code), 0));
            i += bytes;
        }
        return width;
    }

    /** @return the columns that the lines below a table name as left out or cut. */
    static std::set<std::string> namedColumns(std::string const& screen)
    {
        std::set<std::string> names;
        static std::regex const lists("(?:Leftout|Cut):([A-Z,-]+)\\.");
        for (std::sregex_iterator list(screen.begin(), screen.end(), lists), end; list != end;
             ++list) {
            std::istringstream words((*list)[1]);
            for (std::string name; std::getline(words, name, ',');)
                names.insert(name);
        }
        return names;
    }
};

TEST_P(NarrowScreens, haveNoLineThatIsWiderThanTheTerminal)
{
    auto const runs = runAll({});
    for (size_t i = 0; i < runs.size(); ++i) {
        std::istringstream lines(std::regex_replace(runs[i]->output(), std::regex("\r"), "\n"));
        for (std::string line; std::getline(lines, line);)
            EXPECT_LE(widthOf(line), *columns()) << commandLine(COMMANDS[i]) << ": " << line;
    }
}

TEST_P(NarrowScreens, nameTheColumnsThatAreNotWhole)
{
    auto const runs = runAll({});
    RealRoot const root;
    auto const commands =
        app_test::commandsOn(testkit::contentsOf(screenFile(name() + ".pipe.txt")));
    for (size_t i = 0; i < runs.size(); ++i) {
        std::string const command = COMMANDS[i];
        SCOPED_TRACE(commandLine(command));
        std::string const screen = squeezed(runs[i]->output());
        auto const named = namedColumns(screen);
        bool const isTable = command != "system" && command != "recovery" && command != "library";
        auto const& blocks = commands.at(command).blocks;
        for (size_t block = 0; block < blocks.size() && !command.empty(); ++block) {
            bool const isFurther = block > 0 && !blocks[block].front().starts_with("MODULE ");
            if (isFurther || !isTable) {
                for (std::string const& line : blocks[block])
                    EXPECT_NE(screen.find(squeezed(line)), std::string::npos) << line;
                continue;
            }
            for (app_test::ScreenRow const& row : app_test::rowsOf(blocks[block]))
                for (auto const& [heading, cell] : row)
                    EXPECT_TRUE(
                        named.contains(heading) || screen.find(squeezed(cell)) != std::string::npos)
                        << heading << " lacks " << cell;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(All, NarrowScreens,
    testing::Combine(testing::Values("server", "broken"), testing::Values("10", "16", "20", "24")),
    [](auto const& test) {
        return std::string(std::get<0>(test.param)) + "_" + std::get<1>(test.param);
    });

/** The page for a browser. DOVREL_PAGES=FOLDER keeps it, with its JSON, for those who look at it.
 */
class Pages : public Machines { };

TEST_P(Pages, areWellFormedAndHaveTheFactsOfJson)
{
    m_file->build();
    RunningMachine const running;
    ProgramRun page(patient({"--html"}), std::nullopt);
    ProgramRun json(patient({"--json"}), std::nullopt);
    ASSERT_TRUE(ProgramRun::finish({&page, &json}, HANG_GUARD));

    EXPECT_EQ(page.status(), json.status());
    EXPECT_EQ(page.errors(), json.errors());
    EXPECT_EQ(
        page::differencesFromJson(page::Page(page.output()), testkit::Json::parse(json.output())),
        std::vector<std::string>());
    if (char const* const folder = std::getenv("DOVREL_PAGES")) {
        RealRoot const root;
        std::string const file = folder + ("/" + name());
        std::ofstream(file + ".html", std::ios::binary) << page.output();
        std::ofstream(file + ".json", std::ios::binary) << json.output();
    }
}

INSTANTIATE_TEST_SUITE_P(All, Pages,
    testing::Combine(testing::ValuesIn(MACHINES), testing::Values("html")),
    [](auto const& test) { return std::string(std::get<0>(test.param)); });

/** The library gives dmidecode 0.2 s to write. */
class SlowTools : public Machines { };

TEST_P(SlowTools, areWaitedFor)
{
    m_file->build();
    RunningMachine const running;
    ProgramRun quick(patient({"memory"}), std::nullopt);
    ASSERT_TRUE(ProgramRun::finish({&quick}, HANG_GUARD));
    machine.tool("/usr/sbin/dmidecode", "sleep 0.7; exec cat /testkit/output/dmidecode");
    ProgramRun slow(patient({"memory"}), std::nullopt);
    ASSERT_TRUE(ProgramRun::finish({&slow}, HANG_GUARD));

    EXPECT_THAT(quick.output(), testing::HasSubstr("the sum of the installed modules"));
    EXPECT_EQ(slow.output(), quick.output());
}

INSTANTIATE_TEST_SUITE_P(All, SlowTools, testing::Values(std::tuple("laptop", "pipe")),
    [](auto const& test) { return std::string(std::get<0>(test.param)); });

INSTANTIATE_TEST_SUITE_P(All, Machines,
    testing::Combine(testing::ValuesIn(MACHINES), testing::ValuesIn(OUTPUTS)),
    [](auto const& test) {
        std::string const output = std::get<1>(test.param);
        return std::string(std::get<0>(test.param)) + "_" + output.substr(0, output.find('.'));
    });
