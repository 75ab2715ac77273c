#include "app/OutputFile.h"
#include "app/ProgressLine.h"
#include "app/command_line.h"
#include "app/exit_status.h"
#include "app/failures.h"
#include "app/read/TraceOutput.h"
#include "app/read/read_machine.h"
#include "app/recording_commands.h"
#include "app/watch/recovery_watch.h"
#include "app/write/display.h"
#include "app/write/html.h"
#include "app/write/json.h"
#include "app/write/library.h"
#include "app/write/names.h"
#include "app/write/openmetrics.h"
#include "app/write/standard_streams.h"
#include "app/write/summary.h"
#include "app/write/table.h"
#include "app/write/timing.h"

#include <algorithm>
#include <clocale>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <sstream>
#include <unistd.h>

namespace app {

namespace {

/**
 * Takes the user's character set, and has the tools that the library runs print untranslated
 * output.
 *
 * The library runs them with `LANG=C`. LC_ALL, LC_MESSAGES and LANGUAGE take precedence over that,
 * locale(7), and the library cannot read "Masque" for "Mask".
 */
void setLocale()
{
    std::setlocale(LC_CTYPE, ""); // Stays "C" where the user's is not installed.
    ::setenv("LC_CTYPE", std::setlocale(LC_CTYPE, nullptr), 1);
    for (char const* const variable : {"LC_ALL", "LC_MESSAGES", "LANGUAGE"})
        ::unsetenv(variable);
}

ExitStatus outputFailed(int error)
{
    complain(std::string("cannot write to standard output: ") + std::strerror(error));
    return EXIT_STATUS_OUTPUT;
}

void showTrace(unsigned level, std::string const& message)
{
    std::string text;
    for (std::string const& part :
        broken("trace " + std::to_string(level) + ": " + printable(message),
            terminalLayout(STDERR_FILENO)))
        text += part + "\n";
    (void)writeWhole(STDERR_FILENO, text);
}

ExitStatus statusOf(Machine const& machine)
{
    if (!machine.problems.empty())
        return EXIT_STATUS_QUERY_FAILED;
    // In the summary it is one fact among others.
    bool const aboutRecovery = machine.subjects == Subjects{Subject::RECOVERY};
    return aboutRecovery && !machine.recovery ? EXIT_STATUS_NO_RECOVERY : EXIT_STATUS_OK;
}

/** The form of the output. NO_COLOR: no-color.org. */
Layout layoutOf(CommandLine const& line)
{
    Layout layout;
    if (!line.outputFile)
        layout = terminalLayout(STDOUT_FILENO);
    bool const terminal = layout.isTerminal();
    layout.headings = line.headings;
    char const* const noColor = std::getenv("NO_COLOR");
    char const* const type = std::getenv("TERM");
    bool const wanted =
        terminal && !(noColor && *noColor) && type && std::strcmp(type, "dumb") != 0;
    layout.colors =
        line.color == CommandLine::ALWAYS || (line.color == CommandLine::AUTO && wanted);
    return layout;
}

/** Appends a line with what else there is, on a terminal where the screen has room for it. */
void writeFurther(
    std::string const& summary, size_t linesAbove, Layout const& layout, std::ostream& out)
{
    constexpr size_t SCREEN_LINES = 24;
    if (!layout.isTerminal() || !layout.headings)
        return;
    auto const further =
        wrapped("More: dovrel-sysinfo all, disks --tree, library, --help", layout, 0, 6);
    auto const lines = static_cast<size_t>(std::count(summary.begin(), summary.end(), '\n'));
    if (linesAbove + lines + further.size() <= SCREEN_LINES)
        for (std::string const& line : further)
            out << colored(line, Color::FAINT, layout.colors) << '\n';
}

/** Writes the machine's problems. @return the lines that they take on the summary's terminal. */
size_t complainOf(Machine const& machine, CommandLine const& line)
{
    bool const isSummary = line.output == CommandLine::SUMMARY && !line.library;
    Layout shared;
    if (isSummary && layoutOf(line).isTerminal())
        shared = terminalLayout(STDERR_FILENO);
    size_t lines = 0;
    for (std::string const& text : problemTexts(machine.problems, shared)) {
        complain(text);
        lines += shared.isTerminal() ? messageLines(text, shared).size() : 0;
    }
    return lines;
}

void writeOutput(
    Machine const& machine, CommandLine const& line, size_t linesAbove, std::ostream& out)
{
    TableOptions table = line.table;
    table.layout = layoutOf(line);
    if (line.output == CommandLine::JSON)
        line.library ? writeLibraryJson(machine, out) : writeJson(machine, out);
    else if (line.output == CommandLine::OPENMETRICS)
        writeOpenMetrics(machine, out);
    else if (line.output == CommandLine::HTML)
        writeHtml(machine, out);
    else if (line.library)
        writeLibrary(machine, table.layout, out);
    else if (line.output == CommandLine::TABLES)
        writeTables(machine, table, out);
    else {
        std::ostringstream summary;
        writeSummary(machine, table.layout, summary, linesAbove);
        out << summary.str();
        writeFurther(summary.str(), linesAbove, table.layout, out);
    }
}

/** The place that the output goes to when it is complete. */
class Destination {
public:
    explicit Destination(CommandLine const& line)
    {
        if (line.outputFile)
            m_file.emplace(*line.outputFile);
    }

    /** @return the status, or that of a failure. @throws OutputFileError */
    ExitStatus write(std::string const& text, ExitStatus status) const
    {
        if (m_file) {
            m_file->write(text);
            return status;
        }
        int const error = writeWhole(STDOUT_FILENO, text);
        return error == 0 ? status : outputFailed(error);
    }

private:
    std::optional<OutputFile> m_file;
};

ExitStatus listColumns(CommandLine const& line)
{
    std::ostringstream out;
    writeColumns(*line.subjects.begin(), layoutOf(line), out);
    return Destination(line).write(out.str(), EXIT_STATUS_OK);
}

ExitStatus show(CommandLine const& line, TraceOutput& trace)
{
    checkColumns(line.subjects, line.table.columns);
    Destination const destination(line);
    Machine machine;
    {
        // A trace on the same terminal is a sign of life too, and would tear the line.
        ProgressLine progress(line.traceLevel == 0);
        machine = readMachine({line.subjects, line.loads, line.toolLimit,
                                  [&progress](Subject subject) {
                                      progress.show("reading the " + subjectText(subject) + " ...");
                                  }},
            trace);
    }
    size_t const linesAbove = complainOf(machine, line);
    if (line.timing)
        (void)writeWhole(STDERR_FILENO, timingText(machine, terminalLayout(STDERR_FILENO)));
    std::ostringstream out;
    writeOutput(machine, line, linesAbove, out);
    return destination.write(out.str(), statusOf(machine));
}

ExitStatus watch(CommandLine const& line, TraceOutput& trace)
{
    auto const read = [&] {
        return readMachine({line.subjects, false, line.toolLimit, {}}, trace);
    };
    // A trace on the same terminal would tear the bar.
    bool const drawn = isatty(STDOUT_FILENO) == 1 && line.traceLevel == 0;
    ViewKind const kind = line.output == CommandLine::JSON ? ViewKind::JSON
        : drawn                                            ? ViewKind::BAR
                                                           : ViewKind::LINES;
    WatchEnd const end = watchRecovery(read, *line.watchInterval, kind);
    if (end.outputError != 0)
        return outputFailed(end.outputError);
    if (end.problem) {
        complain(problemText(*end.problem));
        return EXIT_STATUS_QUERY_FAILED;
    }
    if (end.failed)
        return EXIT_STATUS_RECOVERY_FAILED;
    return end.interrupted ? EXIT_STATUS_INTERRUPTED : EXIT_STATUS_OK;
}

ExitStatus showOnce(CommandLine const& line)
{
    if (line.listColumns)
        return listColumns(line);
    TraceOutput trace(line.traceLevel, showTrace);
    return line.watchInterval ? watch(line, trace) : show(line, trace);
}

ExitStatus run(int argc, char const* const* argv)
{
    CommandLine const line = readCommandLine(argc, argv);
    if (line.text)
        return Destination(line).write(*line.text, EXIT_STATUS_OK);
    if (line.recording && line.recording->action == RecordingLine::RECORD)
        return recordMachine(*line.recording, line);
    if (line.recording)
        return replayRecording(*line.recording, argv, showOnce);
    return showOnce(line);
}

}

}

int main(int argc, char** argv)
{
    app::occupyStandardDescriptors();
    // A program that is started to ignore it cannot learn how its children end.
    std::signal(SIGCHLD, SIG_DFL);
    app::setLocale();
    try {
        return app::run(argc, argv);
    } catch (...) {
        return app::reportFailure();
    }
}
