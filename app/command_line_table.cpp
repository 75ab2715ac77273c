#include "app/command_line_table.h"

#include <charconv>

namespace app {

namespace {

using Duration = std::chrono::steady_clock::duration;

constexpr double SHORTEST = 0.1;
constexpr double LONGEST = 86400;

/** @throws UsageError where the value is no number of seconds from 0.1 to a day. */
Duration secondsOf(char const* option, std::string const& value)
{
    double seconds = 0;
    char const* const end = value.data() + value.size();
    auto const read = std::from_chars(value.data(), end, seconds, std::chars_format::fixed);
    // Written so that not-a-number, which from_chars reads too, is refused.
    if (read.ec != std::errc() || read.ptr != end || !(seconds >= SHORTEST && seconds <= LONGEST))
        throw UsageError(
            std::string(option) + ": '" + value + "' is no number of seconds from 0.1 to 86400");
    return std::chrono::duration_cast<Duration>(std::chrono::duration<double>(seconds));
}

void storeTraceLevel(CommandLine& line, std::string const& value)
{
    if (value.size() != 1 || value < "0" || value > "5")
        throw UsageError("--trace: '" + value + "' is no number from 0 to 5");
    line.traceLevel = static_cast<unsigned>(value.front() - '0');
}

void storeColor(CommandLine& line, std::string const& value)
{
    if (value != "auto" && value != "always" && value != "never")
        throw UsageError("--color: '" + value + "' is none of auto, always and never");
    line.color = value == "always" ? CommandLine::ALWAYS
        : value == "never"         ? CommandLine::NEVER
                                   : CommandLine::AUTO;
}

void storeFile(CommandLine& line, std::string const& value)
{
    if (value.empty())
        throw UsageError("--output: the name of the file is empty");
    if (value == "-")
        line.outputFile.reset();
    else
        line.outputFile = value;
}

void storeColumns(CommandLine& line, std::string const& value)
{
    if (value.empty())
        throw UsageError("--columns: the list of columns is empty");
    line.table.columns = value;
}

/** For the options that choose what is written: one of them at most. */
void chooseOutput(CommandLine& line, CommandLine::Output output, char const* option)
{
    if (line.outputOption && line.output != output)
        throw UsageError(std::string(line.outputOption) + " and " + option
            + " are different outputs: give one of them");
    line.output = output;
    line.outputOption = option;
}

void chooseTables(CommandLine& line, Subjects const& subjects)
{
    line.subjects = subjects;
    if (!line.outputOption)
        line.output = CommandLine::TABLES;
}

constexpr Subject ALL_SUBJECTS[] = {Subject::SYSTEM, Subject::PROCESSORS, Subject::MEMORY,
    Subject::DISKS, Subject::MOUNTS, Subject::NETWORKS, Subject::RECOVERY};

Subjects allSubjects()
{
    return {std::begin(ALL_SUBJECTS), std::end(ALL_SUBJECTS)};
}

template <Subject SUBJECT> void chooseTable(CommandLine& line)
{
    chooseTables(line, {SUBJECT});
}

RecordingLine& recordingOf(CommandLine& line)
{
    return line.recording ? *line.recording : line.recording.emplace();
}

constexpr CommandRow COMMANDS[] = {
    {SUMMARY, "", "", "A summary of at most 24 lines",
        [](CommandLine& line) { line.subjects = allSubjects(); }},
    {SYSTEM, "system", "", "The machine, its firmware and its operating system",
        chooseTable<Subject::SYSTEM>},
    {CPUS, "cpus", "", "Processors: models, speeds, loads", chooseTable<Subject::PROCESSORS>},
    {MEMORY, "memory", "", "Memory in use and available, swap, modules",
        chooseTable<Subject::MEMORY>},
    {DISKS, "disks", "", "Disks and the devices on them", chooseTable<Subject::DISKS>},
    {MOUNTS, "mounts", "", "Mounted filesystems: sizes, use, disks beneath",
        chooseTable<Subject::MOUNTS>},
    {NETWORKS, "networks", "net", "Network adapters, addresses, gateways, name servers",
        chooseTable<Subject::NETWORKS>},
    {RECOVERY, "recovery", "", "The progress of a recovery of this machine",
        chooseTable<Subject::RECOVERY>},
    {LIBRARY, "library", "", "What the library reports to its host, and why where it differs",
        [](CommandLine& line) {
            line.library = true;
            line.loads = false;
            line.subjects = allSubjects();
        }},
    {ALL, "all", "", "All tables, one below the other",
        [](CommandLine& line) { chooseTables(line, allSubjects()); }},
    {RECORD, "record", "", "Save all that the queries read on this machine",
        [](CommandLine& line) { recordingOf(line).action = RecordingLine::RECORD; },
        "The archive that is written, NAME.tar.gz."},
    {REPLAY, "replay", "", "Show a recorded machine in place of this one",
        [](CommandLine& line) {
            if (recordingOf(line).action == RecordingLine::RECORD)
                recordingOf(line).action = RecordingLine::REPLAY;
        },
        "A recording. Behind it stands another command with its options, 'replay FILE disks "
        "--tree'. Without one: a summary."},
};

constexpr auto OTHER = Values::OTHER;

// Those of single commands come first in the help.
constexpr OptionRow OPTIONS[] = {
    {"--no-usage", "", SUMMARY | CPUS | ALL, "Do not measure loads, which takes one second.", OTHER,
        "", [](CommandLine& line, std::string const&) { line.loads = false; }},
    {"--bytes", "", MEMORY | DISKS | MOUNTS | ALL, "Show sizes as numbers of bytes.", OTHER, "",
        [](CommandLine& line, std::string const&) { line.table.bytes = true; }},
    {"--tree", "", DISKS,
        "Show each device below those that it is made of, and where it is mounted.", OTHER, "",
        [](CommandLine& line, std::string const&) { line.table.diskTree = true; }},
    {"-o,--columns", "COLUMN,...", CPUS | DISKS | MOUNTS | NETWORKS,
        "Show these columns. +COLUMN,... adds them to the usual ones.", Values::COLUMNS, "",
        storeColumns},
    {"--list-columns", "", CPUS | DISKS | MOUNTS | NETWORKS, "List the columns and their meanings.",
        OTHER, "", [](CommandLine& line, std::string const&) { line.listColumns = true; }},
    {"--watch", "[SECONDS]", RECOVERY,
        "Follow the recovery, looking every SECONDS (default: 1). Shows a bar on a terminal, else "
        "a line "
        "for each change. Waits for a recovery to start. Ends when the state is idle again, when "
        "the end of the recovery is written, when nothing follows a restore that ended with "
        "100 percent, or when the status file is gone. Ctrl-C: status 130.",
        OTHER, "",
        [](CommandLine& line, std::string const& value) {
            line.watchInterval = secondsOf("--watch", value.empty() ? "1" : value);
        }},
    {"--redact", "", RECORD,
        "Replace what must not leave the house: serial numbers, UUIDs, addresses, names of hosts, "
        "users and volumes. Equal values stay equal. A report lists how many were replaced.",
        OTHER, "", [](CommandLine& line, std::string const&) { recordingOf(line).redact = true; }},
    {"--force", "", RECORD, "Replace a FILE that exists.", OTHER, "",
        [](CommandLine& line, std::string const&) { recordingOf(line).force = true; }},
    {"--check", "", REPLAY,
        "Compare with what the recorded machine itself reported, in place of a command.", OTHER, "",
        [](CommandLine& line, std::string const&) {
            recordingOf(line).action = RecordingLine::CHECK;
        }},
    {"-h,--help", "", EVERY | RECORD | REPLAY, "Show this help.", OTHER, "", nullptr},
    {"--version", "", EVERY, "Show the version.", OTHER, "", nullptr},
    {"--json", "", EVERY, "Write JSON. An unknown fact is null.", OTHER, "",
        [](CommandLine& line, std::string const&) {
            chooseOutput(line, CommandLine::JSON, "--json");
        }},
    {"--html", "", EVERY, "Write a page for a browser, in one file.", OTHER, "",
        [](CommandLine& line, std::string const&) {
            chooseOutput(line, CommandLine::HTML, "--html");
        }},
    {"--openmetrics", "", EVERY_BUT_LIBRARY,
        "Write metrics for monitoring. An unknown fact has none.", OTHER, "",
        [](CommandLine& line, std::string const&) {
            chooseOutput(line, CommandLine::OPENMETRICS, "--openmetrics");
        }},
    {"--output", "FILE", EVERY,
        "Write to FILE, as to a pipe. A regular file is replaced in one step, when the output is "
        "complete; a new one can be read by everybody. - is standard output.",
        Values::FILES, "", storeFile},
    {"--no-headings", "", EVERY, "Show rows alone, without headings, notes and details.", OTHER, "",
        [](CommandLine& line, std::string const&) { line.headings = false; }},
    {"--color", "WHEN", EVERY, "Color the screen: auto (default: on a terminal), always or never.",
        Values::WORDS, "auto always never", storeColor},
    {"--tool-limit", "SECONDS", EVERY | RECORD,
        "The longest time for each tool, each query of the library and the sizes of the "
        "filesystems (default: 5).",
        OTHER, "",
        [](CommandLine& line, std::string const& value) {
            line.toolLimit = secondsOf("--tool-limit", value);
        }},
    {"--timing", "", EVERY,
        "Show on standard error how long each subject and each query of the library took.", OTHER,
        "", [](CommandLine& line, std::string const&) { line.timing = true; }},
    {"--trace", "LEVEL", EVERY,
        "Show the library's trace on standard error: 0 (default: nothing) to 5.", Values::WORDS,
        "0 1 2 3 4 5", storeTraceLevel},
    {"--describe", "", SUMMARY, "", OTHER, "",
        [](CommandLine& line, std::string const&) { line.describe = true; }},
};

constexpr ExitStatusRow EXIT_STATUSES[] = {
    {EXIT_STATUS_OK, "everything could be read", EVERY | RECORD | REPLAY},
    {EXIT_STATUS_QUERY_FAILED,
        "something could not be read; standard error has a line for each problem", EVERY | REPLAY},
    {EXIT_STATUS_NO_RECOVERY,
        "no recovery has been started on this machine; only of recovery without --watch",
        EVERY | REPLAY},
    {EXIT_STATUS_RECOVERY_FAILED,
        "the recovery that --watch followed has failed; 0 where its result is unknown", EVERY},
    {EXIT_STATUS_DIFFERENT, "replay --check found differences", EVERY | REPLAY},
    {EXIT_STATUS_USAGE, "the arguments are wrong", EVERY | RECORD | REPLAY},
    {EXIT_STATUS_ARCHIVE, "the file of replay is no recording, or cannot be read", EVERY | REPLAY},
    {EXIT_STATUS_NO_NAMESPACE, "this machine does not let replay make a user namespace",
        EVERY | REPLAY},
    {EXIT_STATUS_INTERNAL, "out of memory, or another failure inside the program",
        EVERY | RECORD | REPLAY},
    {EXIT_STATUS_OUTPUT,
        "standard output, the file of --output or that of record could not be written",
        EVERY | RECORD | REPLAY},
    {EXIT_STATUS_INTERRUPTED, "Ctrl-C, SIGTERM or SIGHUP ended --watch", EVERY},
};

constexpr NamedText EXAMPLES[] = {
    {"dovrel-sysinfo disks --tree", "which filesystem lies on which disk"},
    {"dovrel-sysinfo mounts -o MOUNTPOINT,USE", "two columns alone"},
    {"dovrel-sysinfo all --output FILE", "all tables for a support case"},
    {"dovrel-sysinfo --json | jq .memory", "facts for a script"},
    {"dovrel-sysinfo recovery --watch", "follow a recovery to its end"},
    {"dovrel-sysinfo record --redact FILE.tar.gz", "this machine for a support case"},
    {"dovrel-sysinfo replay FILE.tar.gz disks", "the disks of the recorded machine"},
};

constexpr NamedText ENVIRONMENT[] = {
    {"NO_COLOR", "Any value switches the colors off, as does the value dumb of TERM."},
    {"LC_ALL, LC_CTYPE, LANG",
        "The character set of the output. The language of the tools that the program runs is "
        "always the untranslated one."},
};

}

char const* const PROGRAM_DESCRIPTION =
    "Shows the hardware and the state of this machine. Without a command: a summary.";

std::span<CommandRow const> commandRows()
{
    return COMMANDS;
}

std::span<OptionRow const> optionRows()
{
    return OPTIONS;
}

std::span<ExitStatusRow const> exitStatusRows()
{
    return EXIT_STATUSES;
}

std::span<NamedText const> exampleRows()
{
    return EXAMPLES;
}

std::span<NamedText const> environmentRows()
{
    return ENVIRONMENT;
}

}
