#pragma once

#include "app/command_line.h"
#include "app/exit_status.h"

#include <span>
#include <string>

/**
 * The one description of the command line.
 *
 * The parser, `--help` and `--describe` are made from these tables; the manual page, the
 * completions of the shells and the tables of README.md are made from `--describe` by
 * tools/command-line-files.
 *
 * The first sentence of a description stands alone in the completions.
 */
namespace app {

/** Sets of commands, one bit for each. */
enum CommandBit : unsigned {
    SUMMARY = 1, ///< No command.
    SYSTEM = 2,
    CPUS = 4,
    MEMORY = 8,
    DISKS = 16,
    MOUNTS = 32,
    NETWORKS = 64,
    RECOVERY = 128,
    LIBRARY = 256,
    ALL = 512,
    EVERY = 1023, ///< All commands that show the machine.
    RECORD = 1024,
    REPLAY = 2048,
    EVERY_BUT_LIBRARY = EVERY & ~LIBRARY
};

struct CommandRow {
    CommandBit bit;
    char const* name; ///< Empty for the summary.
    char const* alias; ///< A shorter name, or empty.
    char const* description;
    void (*choose)(CommandLine&);
    char const* argument = ""; ///< What its FILE is; empty where it takes none.
};

/** The values that a shell can offer for an option. */
enum class Values { OTHER, FILES, COLUMNS, WORDS };

struct OptionRow {
    char const* names; ///< "-o,--columns"
    char const* value; ///< "COLUMN,..."; in brackets where it may be missing, empty for a flag.
    unsigned commands;
    char const* description; ///< Empty for an option that nobody is shown.
    Values values;
    char const* words; ///< "auto always never"
    void (*store)(CommandLine&, std::string const& value); ///< Null for help and version.

    bool isGeneral() const { return (commands & EVERY) == EVERY; }
};

struct ExitStatusRow {
    ExitStatus status;
    char const* meaning;
    unsigned commands; ///< Whose help lists it; that of the commands that show the machine has all.
};

/** For examples and variables of the environment. */
struct NamedText {
    char const* name;
    char const* text;
};

inline constexpr char const* PROGRAM_NAME = "dovrel-sysinfo";
extern char const* const PROGRAM_DESCRIPTION;

std::span<CommandRow const> commandRows();
std::span<OptionRow const> optionRows();
std::span<ExitStatusRow const> exitStatusRows();
std::span<NamedText const> exampleRows();
std::span<NamedText const> environmentRows();

/** Writes the tables as a JSON document. */
std::string describeCommandLine(char const* version);

}
