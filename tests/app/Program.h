#pragma once

#include "tests/support/text.h"

#include <sys/types.h>

#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace app_test {

using testkit::linesOf;

/** The exit status and the output of one run of the program. */
struct Outcome {
    int status = -1; // The exit status, or minus the number of the signal that ended it.
    std::string out;
    std::string err;
};

/** A run of the real program as a child process, in an environment that the test sets. */
class Program {
public:
    explicit Program(std::vector<std::string> given) : arguments(std::move(given)) { }

    /** Runs the program to its end; kills it after a minute. @throws std::system_error,
     * std::runtime_error */
    Outcome run() const;

    /** Starts the program with @p out and @p err for its standard output and error.
     * @param ownsTerminal makes the terminal @p out its standard input and controlling terminal.
     * @return the child, for `waitForExit`. @throws std::system_error */
    pid_t start(int out, int err, bool ownsTerminal = false) const;

    std::vector<std::string> arguments;

    std::map<std::string, std::string> environment = {{"LC_ALL", "C"}, {"TERM", "dumb"}};

    std::filesystem::path folder = "/";

    /** The file for standard output; empty: `Outcome::out`. */
    std::string outputFile;

    bool closeOutput = false;

    /** Makes standard error a terminal (pty(7)). */
    bool errorIsTerminal = false;

    /** Replacements that are mounted over files and folders, by the path that they cover. The
     * program then runs in private user and mount namespaces (user_namespaces(7)). */
    std::map<std::string, std::filesystem::path> replaced;

    /** Called in the new process before it becomes the program; may be empty. */
    std::function<void()> prepare;

private:
    [[noreturn]] void become(int out, int err, bool ownsTerminal) const;
};

/** A temporary folder, removed with the object. */
class Folder {
public:
    Folder();
    Folder(Folder const&) = delete;
    Folder& operator=(Folder const&) = delete;
    ~Folder();

    std::filesystem::path const& path() const { return m_path; }

    /** Writes a file below the folder, with the folders that it needs. @return its path. */
    std::filesystem::path file(std::string const& name, std::string const& text) const;

private:
    std::filesystem::path m_path;
};

/** Waits for a child of this process. @return as `Outcome::status`. @throws std::system_error */
int waitForExit(pid_t child);

}
