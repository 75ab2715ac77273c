#include "app/command_line.h"

#include "app/command_line_table.h"
#include "app/write/TextTable.h"
#include "app/write/display.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <memory>
#include <numeric>
#include <sstream>
#include <utility>
#include <vector>

namespace app {

namespace {

constexpr char const* VERSION = DOVREL_SYSINFO_VERSION;

/** @return the commands by their names, "disks, mounts"; "all commands but library" where that is
 * shorter. */
std::string commandsText(unsigned commands)
{
    if ((commands & EVERY) == EVERY)
        return "all commands that show the machine";
    auto const named = [](unsigned bits) {
        std::vector<std::string> names;
        for (CommandRow const& row : commandRows())
            if (bits & row.bit)
                names.emplace_back(row.bit == SUMMARY ? "the summary" : row.name);
        return names;
    };
    if ((commands & EVERY) != 0)
        commands &= EVERY;
    auto const others = named(EVERY & ~commands);
    auto const names = named(commands);
    return (commands & EVERY) != 0 && others.size() < names.size()
        ? "all commands but " + joined(others)
        : joined(names);
}

/** In lines that end at the 80th column, behind those of the names. */
std::string helpText(std::string const& text)
{
    Layout layout;
    layout.columns = 50;
    std::string lines;
    for (std::string const& line : wrapped(text, layout, 0, 0))
        lines += (lines.empty() ? "" : "\n") + line;
    return lines;
}

std::string exitStatuses(CommandBit command)
{
    constexpr size_t STATUS_COLUMNS = 4;
    Layout layout;
    layout.columns = 80;
    std::string text = "Exit status:";
    for (ExitStatusRow const& row : exitStatusRows()) {
        if ((row.commands & command) == 0)
            continue;
        std::string const status = std::to_string(row.status);
        for (std::string const& part : wrapped(status + "  " + row.meaning, layout,
                 STATUS_COLUMNS - status.size(), STATUS_COLUMNS + 2))
            text += "\n" + part;
    }
    return text;
}

std::string examples()
{
    size_t longest = 0;
    for (NamedText const& row : exampleRows())
        longest = std::max(longest, std::string(row.name).size());
    std::string text = "Examples:\n";
    for (NamedText const& row : exampleRows()) {
        std::string name = row.name;
        name.resize(longest, ' ');
        text += "  " + name + "  " + row.text + "\n";
    }
    return text;
}

/** Shows that a command stands behind the file of replay. Breaks the lines of options only where
 * help is shown: to do it for all options of all commands took most of the program's start. */
class HelpFormat : public CLI::Formatter {
public:
    std::string make_option_desc(CLI::Option const* option) const override
    {
        return helpText(option->get_description());
    }

    std::string make_footer(CLI::App const* app) const override
    {
        std::string footer = Formatter::make_footer(app);
        footer.pop_back(); // The parser adds a second newline to the text of a function.
        return footer;
    }

    std::string make_usage(CLI::App const* app, std::string name) const override
    {
        std::string usage = Formatter::make_usage(app, std::move(name));
        if (app->get_prefix_command())
            usage.insert(usage.find('\n'), " [COMMAND ...]");
        return usage;
    }
};

/** @return the help with one blank line between two groups, where the parser writes two. */
std::string withoutWideGaps(std::string text)
{
    constexpr char const* WIDE_GAP = "\n\n\n";
    for (size_t gap = 0; (gap = text.find(WIDE_GAP, gap)) != std::string::npos;)
        text.erase(gap, 1);
    return text;
}

void addOption(CLI::App& app, OptionRow const& row, CommandLine& line)
{
    std::string const description = row.description;
    std::string const group = description.empty() ? "" : row.isGeneral() ? "General" : "Options";
    std::string const value = row.value;
    CLI::Option* option = nullptr;
    if (std::string(row.names) == "-h,--help")
        option = app.set_help_flag(row.names, description);
    else if (std::string(row.names) == "--version")
        option =
            app.set_version_flag(row.names, PROGRAM_NAME + std::string(" ") + VERSION, description);
    else if (value.empty())
        option = app.add_flag_callback(
            row.names, [&row, &line] { row.store(line, ""); }, description);
    else
        option = app.add_option_function<std::string>(
            row.names, [&row, &line](std::string const& text) { row.store(line, text); },
            description);
    if (value.empty())
        option->disable_flag_override(); // Of --json=false.
    if (value.starts_with('['))
        option->expected(0, 1);
    if (!value.empty())
        option->type_name(value);
    option->group(group);
}

/** General options are of each command too, so that they may stand before or after its name. */
void addOptions(CLI::App& app, CommandBit command, CommandLine& line)
{
    app.set_help_flag(); // Where CLI11 puts it, it comes before the command's own options.
    for (OptionRow const& row : optionRows())
        if (row.commands & command)
            addOption(app, row, line);
    app.footer([command] {
        return (command == SUMMARY ? examples() + "\n" : "") + exitStatuses(command);
    });
}

/** Adds the file of a command that takes one. What stands behind that of replay is left alone. */
void addArgument(CLI::App& app, CommandRow const& row, CommandLine& line)
{
    if (!*row.argument)
        return;
    app.prefix_command(row.bit == REPLAY);
    app.add_option_function<std::string>(
           "FILE",
           [&row, &line](std::string const& file) {
               if (file.empty())
                   throw UsageError(row.name + std::string(": the name of the file is empty"));
               if (!line.recording)
                   line.recording.emplace();
               line.recording->file = file;
           },
           row.argument)
        ->required()
        ->option_text(" ");
}

/** @throws UsageError where an option stands before record or replay, which it does not affect. */
void checkNothingBefore(CLI::App const& options, CLI::App const& command)
{
    for (CLI::Option const* const option : options.get_options())
        if (option->count() > 0)
            throw UsageError(option->get_name()
                + (command.get_prefix_command() ? " must stand after the FILE of replay"
                        : command.get_option_no_throw(option->get_name())
                        ? " must stand after '" + command.get_name() + "'"
                        : " has no use with " + command.get_name()));
}

/** @return the least number of letters to add, to remove or to replace: Levenshtein's distance. */
size_t distance(std::string const& one, std::string const& other)
{
    std::vector<size_t> row(other.size() + 1);
    std::iota(row.begin(), row.end(), size_t{0});
    for (size_t i = 0; i < one.size(); ++i) {
        size_t diagonal = row[0];
        row[0] = i + 1;
        for (size_t j = 0; j < other.size(); ++j) {
            size_t const replaced = diagonal + (one[i] == other[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({row[j] + 1, row[j + 1] + 1, replaced});
        }
    }
    return row.back();
}

/** @return the names of an option, none of a hidden one: "-o", "--columns". */
std::vector<std::string> namesOf(OptionRow const& row)
{
    std::vector<std::string> names;
    std::istringstream stream(*row.description ? row.names : "");
    for (std::string name; std::getline(stream, name, ',');)
        names.push_back(name);
    return names;
}

/** @return "; did you mean 'disks'?", or nothing where no name is similar. */
std::string suggestion(CLI::App const& app, std::string const& name)
{
    auto const lettersOf = [](std::string const& text) {
        return text.substr(std::min(text.find_first_not_of('-'), text.size()));
    };
    std::string const letters = lettersOf(name);
    constexpr size_t FEWEST_LETTERS = 3; // Of the beginning of a name.
    constexpr size_t FEW_LETTERS = 5;
    size_t least = letters.size() < FEW_LETTERS ? 2 : 3; // One more than typing errors.
    std::string text;
    auto const compare = [&](std::string const& candidate, std::string const& owners) {
        std::string const other = lettersOf(candidate);
        bool const isBeginning = letters.size() >= FEWEST_LETTERS && other.starts_with(letters);
        size_t const errors = isBeginning ? 1 : distance(other, letters);
        if (errors >= least || candidate.starts_with("-") != candidate.starts_with("--"))
            return;
        least = errors;
        text = "; did you mean '" + candidate + "'" + owners + "?";
    };
    for (CLI::App const* const command : app.get_subcommands({}))
        compare(command->get_name(), "");
    // Of names that are as similar, the command's own come first.
    for (bool const own : {true, false})
        for (OptionRow const& row : optionRows())
            for (std::string const& candidate : namesOf(row))
                if ((app.get_option_no_throw(candidate) != nullptr) == own)
                    compare(candidate, own ? "" : ", an option of " + commandsText(row.commands));
    return text;
}

/** @return the message for arguments that nothing accepts. */
std::string unexpected(CLI::App const& options)
{
    auto const chosen = options.get_subcommands();
    CLI::App const& app = chosen.empty() ? options : *chosen.front();
    std::string const word = options.remaining(true).front();
    std::string const name = word.substr(0, word.find('='));
    for (OptionRow const& row : optionRows())
        for (std::string const& other : namesOf(row))
            if (other == name)
                return app.get_option_no_throw(name)
                    ? name + " must stand after '" + app.get_name() + "'"
                    : name + " is an option of " + commandsText(row.commands);
    bool const command = chosen.empty() && !word.starts_with('-');
    return (command ? "unknown command '" : "unexpected argument '") + word + "'"
        + suggestion(app, name);
}

/** @return the message for record and replay without their file. */
std::string missingFile(CLI::App const& options)
{
    if (!options.remaining(true).empty())
        return unexpected(options);
    return options.get_subcommands().front()->get_name() + " needs a FILE";
}

/** @return the message for an option that lacks its value or has too many. */
std::string mismatch(CLI::ArgumentMismatch const& error)
{
    std::string const message = error.what();
    std::string const name = message.substr(0, message.find_first_of(": "));
    bool const isTooMany = message.find("At Most") != std::string::npos;
    bool const isMissing = message.find("missing") != std::string::npos;
    return isTooMany ? name + " is given more than once"
        : isMissing  ? name + " needs a value"
                     : "--" + name + " takes no value"; // The parser gives a flag's bare name.
}

/** @throws UsageError where an option that replay does not have stands before its file: the parser
 * would take the option's value for the file. */
void checkFileComesFirst(int argc, char const* const* argv, CLI::App const& options)
{
    CLI::App const& replay = *options.get_subcommands().front();
    auto const* const end = argv + argc;
    auto const* word = std::find(argv, end, replay.get_name());
    while (word != end && ++word != end && **word == '-') {
        std::string const name = std::string(*word).substr(0, std::string(*word).find('='));
        if (replay.get_option_no_throw(name))
            continue;
        for (OptionRow const& row : optionRows())
            for (std::string const& other : namesOf(row))
                if (other == name && (row.commands & EVERY) != 0)
                    throw UsageError(name + " must stand after the FILE of replay");
        if (options.remaining(true).empty())
            return; // The word is the file: the parser takes "- x" for no option.
        throw UsageError(unexpected(options));
    }
}

void checkCombinations(CommandLine const& line)
{
    if (line.watchInterval && line.outputFile)
        throw UsageError("--output has no use with --watch, which writes as it goes");
    if (line.watchInterval && line.timing)
        throw UsageError("--timing has no use with --watch");
    bool const hasColumns = line.listColumns || !line.table.columns.empty();
    if (hasColumns && line.outputOption)
        throw UsageError(
            line.outputOption + std::string(" has all facts: leave out -o and --list-columns"));
    if (line.output == CommandLine::OPENMETRICS && line.library)
        throw UsageError("--openmetrics is an option of " + commandsText(EVERY_BUT_LIBRARY));
    bool const showsOneMoment =
        line.output == CommandLine::OPENMETRICS || line.output == CommandLine::HTML;
    if (showsOneMoment && line.watchInterval)
        throw UsageError(line.outputOption + std::string(" has no use with --watch"));
}

}

CommandLine readCommandLine(int argc, char const* const* argv)
{
    CommandLine line;
    CLI::App options(PROGRAM_DESCRIPTION, PROGRAM_NAME);
    options.require_subcommand(0, 1);
    options.formatter(std::make_shared<HelpFormat>());
    options.get_formatter()->label("SUBCOMMAND", "COMMAND");
    options.get_formatter()->label("Positionals", "Arguments");
    for (CommandRow const& row : commandRows()) {
        if (row.bit == SUMMARY) {
            addOptions(options, row.bit, line);
            continue;
        }
        CLI::App* const command = options.add_subcommand(row.name, helpText(row.description));
        if (*row.alias)
            command->alias(row.alias);
        addOptions(*command, row.bit, line);
        addArgument(*command, row, line);
        command->group("Commands")->callback([&line, &row] { row.choose(line); });
    }
    try {
        options.parse(argc, argv);
    } catch (CLI::Success const& answer) {
        std::ostringstream text;
        (void)options.exit(answer, text, text);
        line.text = withoutWideGaps(text.str());
        // The parser reports the version before it reads --output, so neither goes to the file.
        line.outputFile.reset();
        return line;
    } catch (CLI::ExtrasError const&) {
        throw UsageError(unexpected(options));
    } catch (CLI::ArgumentMismatch const& error) {
        throw UsageError(mismatch(error));
    } catch (CLI::RequiredError const&) {
        throw UsageError(missingFile(options));
    } catch (CLI::ParseError const& error) {
        throw UsageError(error.what());
    }
    if (line.recording) {
        CLI::App const& command = *options.get_subcommands().front();
        checkNothingBefore(options, command);
        if (command.get_prefix_command())
            checkFileComesFirst(argc, argv, options);
        line.recording->command = options.remaining(true);
        if (line.recording->action == RecordingLine::REPLAY)
            return line;
        if (!line.recording->command.empty())
            throw UsageError("unexpected argument '" + line.recording->command.front() + "'");
        if (line.recording->file == "-" && line.recording->action == RecordingLine::RECORD)
            throw UsageError("record needs the name of a file, not -: standard output has its "
                             "report, and ./- is a file of that name");
        return line;
    }
    // Behind "--" the parser drops the name of a command.
    if (!options.remaining(true).empty())
        throw UsageError(unexpected(options));
    if (line.describe)
        line.text = describeCommandLine(VERSION);
    if (line.subjects.empty())
        commandRows().front().choose(line);
    bool const disksAlone = line.subjects == Subjects{Subject::DISKS};
    if (disksAlone && (showsMountPoints(line.table) || line.output == CommandLine::HTML))
        line.subjects.insert(Subject::MOUNTS);
    checkCombinations(line);
    return line;
}

}
