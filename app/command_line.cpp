#include "app/command_line.h"

#include "app/sampling_options.h"

#include <CLI/CLI.hpp>

#include <sstream>

namespace app {

namespace {

constexpr char const* VERSION = "dovrel-sysinfo " DOVREL_SYSINFO_VERSION;

constexpr char const* EXIT_STATUSES = "Exit status:\n"
                                      "   0  everything could be read\n"
                                      "   1  something could not be read, named on standard error\n"
                                      "   2  no recovery has been started on this machine\n"
                                      "  64  the arguments are wrong\n"
                                      "  69  the library could not be loaded\n"
                                      "  70  out of memory, or another failure inside the program\n"
                                      "  74  standard output could not be written\n"
                                      " 130  Ctrl-C ended what was followed";

/** Each command has them too, so that they may stand before or behind its name. */
void addGeneralOptions(CLI::App& options, Settings& settings)
{
    constexpr char const* GROUP = "General";
    options.get_help_ptr()->group(GROUP)->description("Show this help");
    options.set_version_flag("--version", VERSION, "Show the version")->group(GROUP);
    options
        .add_option(
            "--trace", settings.traceLevel, "Show the library's trace: 0 nothing (default) to 5")
        ->check(CLI::Range(0, 5).description(""))
        ->type_name("LEVEL")
        ->group(GROUP);
    options.add_flag("--json", settings.json, "Write JSON; what is unknown is null")->group(GROUP);
    options
        .add_option("--library", settings.libraryPath, "Use another build of the library, a file")
        ->type_name("PATH")
        ->group(GROUP);
    options.footer(EXIT_STATUSES);
}

}

CommandLine readCommandLine(
    int argc, char const* const* argv, Commands const& commands, Settings& settings)
{
    CLI::App options(
        "Tells what this machine consists of. Without a command: a summary.", "dovrel-sysinfo");
    addGeneralOptions(options, settings);
    addSamplingOptions(options, settings);
    options.require_subcommand(0, 1);

    CommandLine result;
    for (auto const& command : commands) {
        CLI::App* const own = options.add_subcommand(command->name(), command->description());
        addGeneralOptions(*own, settings);
        command->addOptions(*own, settings);
        own->callback([&result, chosen = command.get()] { result.command = chosen; });
    }

    try {
        options.parse(argc, argv);
    } catch (CLI::Success const& answer) {
        std::ostringstream text;
        (void)options.exit(answer, text, text);
        result.onlyText = true;
        result.text = text.str();
    } catch (CLI::ParseError const& error) {
        throw UsageError(error.what());
    }
    return result;
}

}
