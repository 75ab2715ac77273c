#include "app/Library.h"
#include "app/Session.h"
#include "app/command_line.h"
#include "app/standard_streams.h"
#include "app/summary.h"

#include <clocale>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <optional>
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

ExitStatus writeOutput(std::string const& text, ExitStatus status)
{
    int const error = writeWhole(STDOUT_FILENO, text);
    if (error == 0)
        return status;
    complain(std::string("cannot write to standard output: ") + std::strerror(error));
    return EXIT_STATUS_OUTPUT;
}

ExitStatus runCommand(Session& session, Commands const& commands, Command* command)
{
    // Nothing may unwind past the session: it knows whether the library may be unloaded.
    try {
        ExitStatus const status = command ? command->run(session) : runSummary(session, commands);
        return writeOutput(session.output(), status);
    } catch (std::exception const& error) {
        complain(error.what());
        return EXIT_STATUS_INTERNAL;
    }
}

ExitStatus run(int argc, char const* const* argv)
{
    Commands const commands = makeCommands();
    Settings settings;
    CommandLine const line = readCommandLine(argc, argv, commands, settings);
    if (line.onlyText)
        return writeOutput(line.text, EXIT_STATUS_OK);

    Library const library =
        settings.libraryPath.empty() ? Library() : Library(settings.libraryPath);
    if (settings.traceLevel > 0 && !library.trace())
        complain("the library '" + settings.libraryPath + "' has no trace to show");
    Session session(library, settings);
    ExitStatus const status = runCommand(session, commands, line.command);
    if (session.threadsLeftBehind()) {
        // Some threads are still asleep inside the library, for up to 101 seconds. An ordinary exit
        // would destroy the library's objects, or unload its code, under their feet; waiting for
        // them would break the promise of --max-wait. The output is written, so nothing is lost.
        _exit(status);
    }
    return status;
}

}

}

int main(int argc, char** argv)
{
    app::occupyStandardDescriptors();
    app::setLocale();
    try {
        return app::run(argc, argv);
    } catch (app::UsageError const& error) {
        app::complain(error.what() + std::string("\nTry 'dovrel-sysinfo --help'."));
        return app::EXIT_STATUS_USAGE;
    } catch (app::LibraryError const& error) {
        app::complain(error.what());
        return app::EXIT_STATUS_LIBRARY;
    } catch (std::exception const& error) {
        app::complain(error.what());
        return app::EXIT_STATUS_INTERNAL;
    }
}
