#pragma once

#include "app/model/Machine.h"
#include "app/write/table.h"

#include <chrono>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace app {

/** The arguments of `record` and `replay`. */
struct RecordingLine {
    enum Action { RECORD, REPLAY, CHECK };

    Action action = RECORD;
    std::string file;
    bool redact = false;
    bool force = false;
    std::vector<std::string> command; ///< What is replayed: the arguments of another run.
};

/** The arguments of one run. */
struct CommandLine {
    enum Output { SUMMARY, TABLES, JSON, OPENMETRICS, HTML };
    enum Color { AUTO, ALWAYS, NEVER };

    Subjects subjects;
    Output output = SUMMARY;
    char const* outputOption = nullptr; ///< "--json"; null for the summary and tables.
    std::optional<std::string> outputFile; ///< In place of standard output.
    bool library = false; ///< Show the library's answers in place of the machine's facts.
    TableOptions table; ///< Its layout follows from the terminal.
    bool headings = true;
    Color color = AUTO;
    bool listColumns = false;
    bool loads = true;
    bool timing = false;
    std::chrono::steady_clock::duration toolLimit = std::chrono::seconds(5);
    unsigned traceLevel = 0;
    std::optional<std::chrono::steady_clock::duration> watchInterval;
    std::optional<RecordingLine> recording; ///< In place of what the other members say.
    bool describe = false; ///< Write the description of the command line in place of anything else.
    std::optional<std::string> text; ///< Help or version: written in place of anything else.
};

/** The message says what is wrong with the arguments. */
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/** @throws UsageError */
CommandLine readCommandLine(int argc, char const* const* argv);

}
