#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace app_test {

/** How one run of the program ended, and what it wrote. */
struct Outcome {
    int status = -1; // The exit status, or minus the number of the signal that ended it.
    std::string out;
    std::string err;
};

/** A run of the real program, as a child process with an environment of its own. */
class Program {
public:
    explicit Program(std::vector<std::string> given) : arguments(std::move(given)) { }

    /** Ends the program by force after a minute. @throws std::system_error, std::runtime_error */
    Outcome run() const;

    /** Makes the calling process the program: for a child that was just forked. */
    [[noreturn]] void become(int out, int err) const;

    std::vector<std::string> arguments;

    std::map<std::string, std::string> environment = {{"LC_ALL", "C"}};

    std::filesystem::path folder = "/";

    /** A file that standard output goes to; captured where it is empty. */
    std::string outputFile;

    bool closeOutput = false;

    /** Makes standard error a terminal (pty(7)). */
    bool errorIsTerminal = false;

    /** Files and folders that the program finds in place of others: real path to replacement. It
     * runs in a user and mount namespace of its own then (user_namespaces(7)). */
    std::map<std::string, std::filesystem::path> replaced;
};

/** A folder of the test's own, gone with the object. */
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

/** @return the text's lines without their newlines. */
std::vector<std::string> linesOf(std::string const& text);

}
