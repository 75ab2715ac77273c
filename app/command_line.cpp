#include "app/command_line.h"

#include <CLI/CLI.hpp>

#include <charconv>
#include <functional>
#include <sstream>

namespace app {

namespace {

constexpr char const* VERSION = "dovrel-sysinfo " DOVREL_SYSINFO_VERSION;

constexpr char const* EXIT_STATUSES = "Exit status:\n"
                                      "   0  everything could be read\n"
                                      "   1  something could not be read, named on standard error\n"
                                      "   2  no recovery has been started on this machine\n"
                                      "  64  the arguments are wrong\n"
                                      "  70  out of memory, or another failure inside the program\n"
                                      "  74  standard output could not be written\n"
                                      " 130  Ctrl-C ended --watch";

constexpr char const* WATCH_HELP = "Follow the recovery, looking every SECONDS (1):\n"
                                   "a bar on a terminal, else a line a change;\n"
                                   "waits for one to start; ends when the state is idle\n"
                                   "again, the end of the recovery is written, nothing\n"
                                   "follows a restore that ended with 100 percent, or\n"
                                   "the status file is gone; Ctrl-C: status 130";

/** The options that only some commands have. */
enum Option : unsigned { BYTES = 1, TREE = 2, LOADS = 4, WATCH = 8, COLUMNS = 16 };

struct Command {
    char const* name;
    Subject subject;
    unsigned options;
    char const* description;
};

constexpr Command COMMANDS[] = {
    {"system", Subject::SYSTEM, 0, "The machine, its firmware and its operating system"},
    {"cpus", Subject::PROCESSORS, LOADS | COLUMNS, "Processors: models, speeds, loads"},
    {"memory", Subject::MEMORY, BYTES, "Memory in use and available, swap, modules"},
    {"disks", Subject::DISKS, BYTES | TREE | COLUMNS, "Disks and the devices on them"},
    {"mounts", Subject::MOUNTS, BYTES | COLUMNS, "Mounted filesystems: sizes, use, disks beneath"},
    {"networks", Subject::NETWORKS, COLUMNS, "Network adapters, addresses, gateways, name servers"},
    {"recovery", Subject::RECOVERY, WATCH, "The progress of a recovery of this machine"},
};

constexpr double SHORTEST = 0.1;
constexpr double LONGEST = 86400;

/** @return nothing where the text is no number of seconds from 0.1 to a day. */
std::optional<std::chrono::steady_clock::duration> parseSeconds(std::string const& text)
{
    double seconds = 0;
    char const* const end = text.data() + text.size();
    auto const read = std::from_chars(text.data(), end, seconds, std::chars_format::fixed);
    // Written so that not-a-number, which from_chars reads too, is refused.
    if (read.ec != std::errc() || read.ptr != end || !(seconds >= SHORTEST && seconds <= LONGEST))
        return std::nullopt;
    return std::chrono::duration_cast<std::chrono::steady_clock::duration>(
        std::chrono::duration<double>(seconds));
}

/** An option whose value is a number of seconds; 1 where it may stand without one. */
CLI::Option* addSecondsOption(CLI::App& options, char const* name, char const* description,
    std::function<void(std::chrono::steady_clock::duration)> const& store)
{
    return options.add_option_function<std::string>(
        name,
        [name, store](std::string const& text) {
            auto const duration = parseSeconds(text.empty() ? "1" : text);
            if (!duration)
                throw CLI::ValidationError(
                    name, "'" + text + "' is no number of seconds from 0.1 to 86400");
            store(*duration);
        },
        description);
}

/** Each command has these too, so that they may stand before or after its name. */
void addGeneralOptions(CLI::App& options, CommandLine& line)
{
    constexpr char const* GROUP = "General";
    options.get_help_ptr()->group(GROUP)->description("Show this help");
    options.set_version_flag("--version", VERSION, "Show the version")->group(GROUP);
    options
        .add_option(
            "--trace", line.traceLevel, "Show the library's trace: 0 nothing (default) to 5")
        ->check(CLI::Range(0, 5).description(""))
        ->type_name("LEVEL")
        ->group(GROUP);
    options
        .add_flag_callback(
            "--json", [&line] { line.output = CommandLine::JSON; },
            "Write JSON; an unknown fact is null")
        ->group(GROUP);
    options
        .add_flag_callback(
            "--no-headings", [&line] { line.headings = false; },
            "Show rows alone, without headings and notes")
        ->group(GROUP);
    options
        .add_option_function<std::string>(
            "--color",
            [&line](std::string const& text) {
                if (text != "auto" && text != "always" && text != "never")
                    throw CLI::ValidationError(
                        "--color", "'" + text + "' is none of auto, always and never");
                line.color = text == "always" ? CommandLine::ALWAYS
                    : text == "never"         ? CommandLine::NEVER
                                              : CommandLine::AUTO;
            },
            "Color the screen: auto (default), always, never")
        ->type_name("WHEN")
        ->group(GROUP);
    addSecondsOption(options, "--tool-limit",
        "The longest time for each tool and query of the\nlibrary (5)",
        [&line](auto limit) { line.toolLimit = limit; })
        ->type_name("SECONDS")
        ->group(GROUP);
    options.footer(EXIT_STATUSES);
}

void addOptions(CLI::App& options, unsigned which, CommandLine& line)
{
    if (which & BYTES)
        options.add_flag("--bytes", line.table.bytes, "Show sizes as numbers of bytes");
    if (which & TREE)
        options.add_flag("--tree", line.table.diskTree,
            "Show each device below those that it is made of,\nand where it is mounted");
    if (which & LOADS)
        options
            .add_flag_callback(
                "--no-usage", [&line] { line.loads = false; },
                "Do not measure loads, which takes one second")
            ->group("Load");
    if (which & COLUMNS) {
        options
            .add_option(
                "-o,--columns", line.table.columns, "Show these columns; +COLUMN shows one more")
            ->type_name("COLUMN,...")
            ->group("Columns");
        options.add_flag("--list-columns", line.listColumns, "List the columns and their meanings")
            ->group("Columns");
    }
    if (which & WATCH)
        addSecondsOption(options, "--watch", WATCH_HELP,
            [&line](auto interval) { line.watchInterval = interval; })
            ->expected(0, 1)
            ->type_name("[SECONDS]")
            ->group("Recovery");
}

/** @return the subjects of all commands. */
Subjects allSubjects()
{
    Subjects subjects;
    for (Command const& command : COMMANDS)
        subjects.insert(command.subject);
    return subjects;
}

}

CommandLine readCommandLine(int argc, char const* const* argv)
{
    CommandLine line;
    CLI::App options(
        "Shows the hardware and the state of this machine. Without a command: a summary.",
        "dovrel-sysinfo");
    addGeneralOptions(options, line);
    addOptions(options, LOADS, line);
    options.require_subcommand(0, 1);
    for (Command const& command : COMMANDS) {
        CLI::App* const own = options.add_subcommand(command.name, command.description);
        addGeneralOptions(*own, line);
        addOptions(*own, command.options, line);
        own->callback([&line, &command] {
            line.subjects = {command.subject};
            if (line.output == CommandLine::SUMMARY)
                line.output = CommandLine::TABLES;
        });
    }
    CLI::App* const library = options.add_subcommand(
        "library", "What the library reports to its host, and why where it differs");
    addGeneralOptions(*library, line);
    library->callback([&line] {
        line.library = true;
        line.loads = false;
        line.subjects = allSubjects();
    });
    try {
        options.parse(argc, argv);
    } catch (CLI::Success const& answer) {
        std::ostringstream text;
        (void)options.exit(answer, text, text);
        line.text = text.str();
    } catch (CLI::ParseError const& error) {
        throw UsageError(error.what());
    }
    if (line.subjects.empty())
        line.subjects = allSubjects();
    if (line.table.diskTree)
        line.subjects.insert(Subject::MOUNTS);
    return line;
}

}
