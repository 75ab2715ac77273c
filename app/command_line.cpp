#include "app/command_line.h"

#include <CLI/CLI.hpp>

#include <charconv>
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
enum Option : unsigned { BYTES = 1, TREE = 2, LOADS = 4, WATCH = 8 };

struct Command {
    char const* name;
    Subject subject;
    unsigned options;
    char const* description;
};

constexpr Command COMMANDS[] = {
    {"system", Subject::SYSTEM, 0, "The machine: vendor, product, version and hypervisor"},
    {"cpus", Subject::PROCESSORS, LOADS, "Processors: current and highest speeds, loads"},
    {"memory", Subject::MEMORY, 0, "Memory: total, free and used"},
    {"disks", Subject::DISKS, BYTES | TREE, "Physical disks: names, sizes, partitions"},
    {"mounts", Subject::MOUNTS, BYTES, "Mounted filesystems: sizes, use, disks beneath"},
    {"networks", Subject::NETWORKS, 0, "Network adapters and addresses, host name, name servers"},
    {"recovery", Subject::RECOVERY, WATCH, "The progress of a recovery of this machine"},
};

/** @return nothing where the text is no number of seconds from 0.1 to a day. */
std::optional<std::chrono::steady_clock::duration> parseInterval(std::string const& text)
{
    constexpr double SHORTEST = 0.1;
    constexpr double LONGEST = 86400;
    double seconds = 0;
    char const* const end = text.data() + text.size();
    auto const read = std::from_chars(text.data(), end, seconds, std::chars_format::fixed);
    // Written so that not-a-number, which from_chars reads too, is refused.
    if (read.ec != std::errc() || read.ptr != end || !(seconds >= SHORTEST && seconds <= LONGEST))
        return std::nullopt;
    return std::chrono::duration_cast<std::chrono::steady_clock::duration>(
        std::chrono::duration<double>(seconds));
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
    options.footer(EXIT_STATUSES);
}

void addOptions(CLI::App& options, unsigned which, CommandLine& line)
{
    if (which & BYTES)
        options.add_flag("--bytes", line.table.bytes, "Show sizes as numbers of bytes");
    if (which & TREE)
        options.add_flag("--tree", line.table.diskTree,
            "Show the mounted filesystems below their disks;\nthose without a disk come last");
    if (which & LOADS)
        options
            .add_flag_callback(
                "--no-usage", [&line] { line.loads = false; },
                "Do not measure loads, which takes one second")
            ->group("Load");
    if (which & WATCH)
        options
            .add_option_function<std::string>(
                "--watch",
                [&line](std::string const& text) {
                    line.watchInterval = parseInterval(text.empty() ? "1" : text);
                    if (!line.watchInterval)
                        throw CLI::ValidationError(
                            "--watch", "'" + text + "' is no number of seconds from 0.1 to 86400");
                },
                WATCH_HELP)
            ->expected(0, 1)
            ->type_name("[SECONDS]")
            ->group("Recovery");
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
        for (Command const& command : COMMANDS)
            line.subjects.insert(command.subject);
    if (line.table.diskTree)
        line.subjects.insert(Subject::MOUNTS);
    return line;
}

}
