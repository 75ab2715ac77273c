#pragma once

#include "app/Session.h"
#include "app/commands.h"
#include "app/exit_status.h"

#include <string>

namespace app {

/** What the arguments came to. */
struct CommandLine {
    /** The command that was named; null for the summary. */
    Command* command = nullptr;

    /** True where the program is to write @ref text to standard output and nothing else. */
    bool onlyText = false;
    std::string text;
};

/** The message tells what is wrong with the arguments. */
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/**
 * Reads the program's arguments.
 *
 * @param settings receives the general options; the commands receive their own.
 * @throws UsageError
 */
CommandLine readCommandLine(
    int argc, char const* const* argv, Commands const& commands, Settings& settings);

}
