#include "app/recording/program_run.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <poll.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

namespace app {

namespace {

constexpr char const* OWN_PROGRAM = "/proc/self/exe";

/** Set in a process that was started with the object, by startPreloaded. */
constexpr char const* STARTED = "DOVREL_STARTED_PRELOADED";

[[noreturn]] void failToRun(char const* call)
{
    throw std::system_error(errno, std::generic_category(), call);
}

/** Preloads the object into the program that this process becomes. ld.so(8) separates the objects
 * at blanks and colons and expands "$": one with such a path gets the name of a descriptor, which
 * the object closes. */
void setPreload()
{
    std::string object = preloadedObject();
    if (object.find_first_of(" :$") != std::string::npos)
        object = "/proc/self/fd/" + std::to_string(open(object.c_str(), O_RDONLY));
    setenv("LD_PRELOAD", object.c_str(), 1);
}

[[noreturn]] void becomeProgram(std::vector<std::string> const& arguments,
    std::vector<std::pair<std::string, std::string>> const& variables, int output)
{
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    int const nothing = open("/dev/null", O_RDWR | O_CLOEXEC);
    dup2(nothing, STDIN_FILENO);
    dup2(output, STDOUT_FILENO);
    dup2(nothing, STDERR_FILENO);
    setPreload();
    for (auto const& [name, value] : variables)
        setenv(name.c_str(), value.c_str(), 1);
    std::string name = "dovrel-sysinfo";
    std::vector<char*> argv = {name.data()};
    for (std::string const& argument : arguments)
        argv.push_back(const_cast<char*>(argument.c_str()));
    argv.push_back(nullptr);
    execv(OWN_PROGRAM, argv.data());
    constexpr int NOT_FOUND = 127;
    _exit(NOT_FOUND);
}

/** @return false where it is stopped before there is input or the end. */
bool waitForInput(int file, std::function<bool()> const& isStopped)
{
    constexpr int LOOK_MS = 100;
    pollfd wait = {file, POLLIN, 0};
    while (poll(&wait, 1, LOOK_MS) <= 0)
        if (isStopped())
            return false;
    return true;
}

bool readPiece(int file, std::string& text)
{
    std::array<char, 65536> piece;
    ssize_t const count = read(file, piece.data(), piece.size());
    if (count > 0)
        text.append(piece.data(), static_cast<size_t>(count));
    return count > 0 || (count < 0 && errno == EINTR);
}

}

std::string preloadedObject()
{
    std::error_code error;
    auto const program = std::filesystem::read_symlink(OWN_PROGRAM, error);
    return (program.parent_path() / DOVREL_PRELOADED_OBJECT).lexically_normal();
}

ProgramRunResult runPreloaded(std::vector<std::string> const& arguments,
    std::vector<std::pair<std::string, std::string>> const& variables,
    std::function<bool()> const& isStopped)
{
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0)
        failToRun("pipe2");
    pid_t const child = fork();
    if (child == 0)
        becomeProgram(arguments, variables, ends[1]);
    close(ends[1]);
    if (child < 0) {
        close(ends[0]);
        failToRun("fork");
    }
    ProgramRunResult result;
    while (waitForInput(ends[0], isStopped) && readPiece(ends[0], result.output)) { }
    close(ends[0]);
    if (isStopped())
        kill(child, SIGKILL);
    while (waitpid(child, &result.status, 0) < 0 && errno == EINTR) { }
    return result;
}

void checkPreloadedObject()
{
    std::string const object = preloadedObject();
    if (access(object.c_str(), R_OK) != 0)
        throw RecordingError(object + ": " + std::generic_category().message(errno)
            + "; the program is not installed completely");
}

void failToPreload()
{
    throw RecordingError(preloadedObject() + " cannot be preloaded; ld.so(8)");
}

void startPreloaded(char const* const* arguments)
{
    checkPreloadedObject();
    if (std::getenv(STARTED))
        failToPreload(); // ld.so(8) goes on without an object that it cannot use.
    setenv(STARTED, "1", 1);
    setPreload();
    execv(OWN_PROGRAM, const_cast<char* const*>(arguments));
    failToRun("execv");
}

std::string readToEnd(int file)
{
    std::string text;
    while (readPiece(file, text)) { }
    return text;
}

}
