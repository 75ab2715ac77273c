#pragma once

#include "app/exit_status.h"
#include "app/json_text.h"

#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace app {

class Session;
struct Settings;

/** A line of the summary; a line with an empty label goes on with the one before. */
struct SummaryLine {
    std::string label;
    std::string text;
};

/** One subcommand. Each has a file pair of its own and a line in `commands.cpp`. */
class Command {
public:
    virtual ~Command() = default;

    virtual std::string name() const = 0;

    /** One line for the list of commands. */
    virtual std::string description() const = 0;

    /** Adds what the command understands beyond the general options. */
    virtual void addOptions(CLI::App& options, Settings& settings) = 0;

    /** Prints what the command is about, as JSON where the settings say so. */
    virtual ExitStatus run(Session& session) = 0;

    /**
     * Appends the command's part of the summary.
     *
     * @return `EXIT_STATUS_OK`, or `EXIT_STATUS_QUERY_FAILED` with a line that says so.
     */
    virtual ExitStatus summarize(Session& session, std::vector<SummaryLine>& lines) = 0;

    /**
     * The same for scripts: adds the keys that the command's own JSON has.
     *
     * @return `EXIT_STATUS_OK`, or `EXIT_STATUS_QUERY_FAILED` with null for what is unknown.
     */
    virtual ExitStatus summarize(Session& session, Json& document) = 0;
};

}
