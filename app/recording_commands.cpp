#include "app/recording_commands.h"

#include "app/OutputFile.h"
#include "app/ProgressLine.h"
#include "app/command_line_table.h"
#include "app/failures.h"
#include "app/recording/archive/archive.h"
#include "app/recording/document_differences.h"
#include "app/recording/processor_time.h"
#include "app/recording/program_run.h"
#include "app/recording/recorder.h"
#include "app/recording/redaction/redaction.h"
#include "app/recording/replay_root.h"
#include "app/watch/StopSignals.h"
#include "app/write/display.h"
#include "app/write/standard_streams.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace app {

namespace {

std::string counted(uint64_t count, char const* name)
{
    return std::to_string(count) + " " + name + (count == 1 ? "" : "s");
}

/** @return which items are longer than what is recorded of them; empty where none is. */
std::string cutItems(Recording const& recording)
{
    std::string first;
    uint64_t others = 0;
    auto const add = [&](std::string const& name, uint64_t recorded, uint64_t whole) {
        if (recorded >= whole)
            return;
        if (first.empty())
            first = "only the first " + std::to_string(recorded) + " of " + std::to_string(whole)
                + " bytes of " + printable(name) + " are recorded";
        else
            ++others;
    };
    for (RecordedFile const& file : recording.files)
        if (file.kind == RecordedFile::REGULAR && file.opened && file.error == 0)
            add(file.path, file.content.size(), file.size);
    for (RecordedTool const& tool : recording.tools) {
        std::string name = "the output of";
        for (std::string const& argument : tool.command)
            name += " " + argument;
        add(name, tool.output.size(), tool.outputSize);
        add(name, tool.errors.size(), tool.errorsSize);
    }
    return others == 0 ? first : first + ", and " + counted(others, "other item") + " in part";
}

/** @return the lines for the person who recorded. */
std::string report(Recording const& recording, std::string const& file)
{
    auto const count = [&](auto const& matches) {
        return static_cast<uint64_t>(
            std::count_if(recording.files.begin(), recording.files.end(), matches));
    };
    uint64_t const files = count([](RecordedFile const& item) { return item.opened; });
    uint64_t const unreadable =
        count([](RecordedFile const& item) { return item.error == EACCES || item.error == EPERM; });
    std::string text = printable(file) + ": " + counted(files, "file") + ", "
        + counted(recording.tools.size(), "run") + " of tools, "
        + counted(recording.answers.size(), "answer") + " of calls\n";
    if (unreadable > 0)
        text += counted(unreadable, "file") + " could not be opened: permission denied\n";
    if (std::string const cut = cutItems(recording); !cut.empty())
        text += cut + "\n";
    for (Replacement const& replacement : recording.replacements)
        text += "replaced: " + replacement.kind + ", " + counted(replacement.values, "value")
            + " in " + counted(replacement.occurrences, "place") + "\n";
    return text;
}

ExitStatus written(std::string const& text, ExitStatus status)
{
    if (int const error = writeWhole(STDOUT_FILENO, text); error != 0)
        throw OutputFileError(
            std::string("cannot write to standard output: ") + std::strerror(error));
    return status;
}

/** What a command wrote, and its status. */
struct Replayed {
    std::string output;
    ExitStatus status = EXIT_STATUS_OK;
};

/** Runs a command on the recorded machine in a child process. */
Replayed replayed(Recording const& recording, CommandLine const& line,
    std::function<ExitStatus(CommandLine)> const& show)
{
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
        throw std::system_error(errno, std::generic_category(), "pipe2");
    pid_t const child = fork();
    if (child < 0)
        throw std::system_error(errno, std::generic_category(), "fork");
    if (child == 0) {
        dup2(ends[1], STDOUT_FILENO);
        ExitStatus status = EXIT_STATUS_INTERNAL;
        try {
            limitProcessorTime(EXIT_STATUS_ARCHIVE);
            enterRecording(recording);
            status = show(line);
        } catch (...) {
            status = reportFailure();
        }
        _exit(status);
    }
    close(ends[1]);
    Replayed result;
    result.output = readToEnd(ends[0]);
    close(ends[0]);
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) { }
    result.status =
        WIFEXITED(status) ? static_cast<ExitStatus>(WEXITSTATUS(status)) : EXIT_STATUS_INTERNAL;
    return result;
}

ExitStatus check(Recording const& recording, std::function<ExitStatus(CommandLine)> const& show)
{
    // Only what hung on the recorded machine waits for it; a busy machine needs more than usual.
    constexpr char const* LIMIT = "8";
    char const* const arguments[] = {PROGRAM_NAME, "all", "--json", "--tool-limit", LIMIT};
    Replayed const result =
        replayed(recording, readCommandLine(std::size(arguments), arguments), show);
    if (result.output.empty())
        return result.status;
    limitProcessorTime(EXIT_STATUS_ARCHIVE);
    std::string const differences = result.output == recording.document
        ? std::string()
        : documentDifferences(recording.document, result.output,
            recording.redacted ? ListOrder::DOES_NOT_COUNT : ListOrder::COUNTS);
    return differences.empty()
        ? written("The replay equals what the recorded machine reported.\n", EXIT_STATUS_OK)
        : written(differences, EXIT_STATUS_DIFFERENT);
}

CommandLine commandIn(RecordingLine const& line)
{
    std::vector<char const*> arguments = {PROGRAM_NAME};
    for (std::string const& argument : line.command)
        arguments.push_back(argument.c_str());
    CommandLine command = readCommandLine(static_cast<int>(arguments.size()), arguments.data());
    if (command.recording)
        throw UsageError("replay takes a command that shows a machine");
    if (command.watchInterval)
        throw UsageError("--watch has no use with replay, where nothing changes");
    return command;
}

}

ExitStatus recordMachine(RecordingLine const& line, CommandLine const& all)
{
    constexpr unsigned OWNER_ONLY = 0600;
    OutputFile const file(
        line.file, OWNER_ONLY, line.force ? OutputFile::REPLACED : OutputFile::KEPT);
    Recording recording;
    {
        StopSignals const postponed; // Until the temporary files are gone.
        ProgressLine progress(true);
        recording = recordMachine({DOVREL_SYSINFO_VERSION, all.toolLimit,
            [&progress](
                std::string const& query) { progress.show("recording: " + query + " ..."); },
            [&postponed] { return postponed.haveCome(); }});
    }
    if (line.redact)
        redact(recording);
    file.write(archiveOf(recording));
    return written(report(recording, line.file), EXIT_STATUS_OK);
}

ExitStatus replayRecording(RecordingLine const& line, Arguments arguments,
    std::function<ExitStatus(CommandLine)> const& show)
{
    CommandLine command = commandIn(line);
    if (command.text)
        return written(*command.text, EXIT_STATUS_OK);
    if (!isPreloaded())
        startPreloaded(arguments);
    Recording const recording = readRecording(line.file);
    if (std::string const cut = cutItems(recording); !cut.empty())
        (void)writeWhole(STDERR_FILENO, std::string(PROGRAM_NAME) + ": " + cut + "\n");
    if (line.action == RecordingLine::CHECK)
        return check(recording, show);
    if (!command.outputFile) {
        limitProcessorTime(EXIT_STATUS_ARCHIVE);
        enterRecording(recording);
        return show(command);
    }
    OutputFile const file(*std::exchange(command.outputFile, std::nullopt));
    Replayed const result = replayed(recording, command, show);
    if (result.status < EXIT_STATUS_USAGE) // Those from there on are failures to replay.
        file.write(result.output);
    return result.status;
}

}
