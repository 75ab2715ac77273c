// The tools that the queries run.

#include "app/recording/preload/tools.h"

#include "app/recording/preload/stage.h"
#include "app/recording/stored_file.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <map>
#include <sstream>
#include <system_error>
#include <utility>

namespace preload {

namespace {

using Clock = std::chrono::steady_clock;
using Command = std::vector<std::string>;

constexpr size_t MOST_OUTPUT = 1024 * 1024; // Of each descriptor; the rest is counted.
constexpr int NOT_FOUND = 127;

/** The files of a tool in a recording, without their suffix. */
std::string filesOf(std::string const& recording, Command const& command)
{
    return recording + "/tools/" + app::toolFileName(command);
}

bool isThere(std::string const& path)
{
    struct stat status { };
    return ::stat(path.c_str(), &status) == 0;
}

bool writeAll(int file, std::string const& text)
{
    for (size_t done = 0; done < text.size();) {
        ssize_t const count = ::write(file, text.data() + done, text.size() - done);
        if (count < 0 && errno != EINTR)
            return false;
        done += count > 0 ? static_cast<size_t>(count) : 0;
    }
    return true;
}

/** One output of a tool that runs. */
struct Output {
    int end = -1;
    std::string kept;
    uint64_t size = 0;
    int file = -1; // Has what came before the tool was killed.

    /** @return false at the end. */
    bool readSome()
    {
        std::array<char, 65536> piece;
        ssize_t const count = ::read(end, piece.data(), piece.size());
        if (count <= 0)
            return count < 0 && errno == EINTR;
        size += static_cast<uint64_t>(count);
        size_t const taken = std::min(static_cast<size_t>(count), MOST_OUTPUT - kept.size());
        kept.append(piece.data(), taken);
        if (!writeAll(file, std::string(piece.data(), taken)))
            noteLoss();
        return true;
    }
};

bool answersTools()
{
    return answersCalls() && isThere(stage().answers + "/tools");
}

[[noreturn]] void endAs(int status)
{
    if (WIFSIGNALED(status)) {
        rlimit const none = {0, 0};
        setrlimit(RLIMIT_CORE, &none);
        std::signal(WTERMSIG(status), SIG_DFL);
        ::raise(WTERMSIG(status));
    }
    _exit(WEXITSTATUS(status));
}

/** Ends as the tool whose files have this name. */
[[noreturn]] void play(std::string const& name)
{
    if (!isThere(name + ".command")) {
        writeAll(STDERR_FILENO, "this run of a tool is not in the recording\n");
        _exit(NOT_FOUND);
    }
    writeAll(STDERR_FILENO, app::storedText(name + ".err"));
    writeAll(STDOUT_FILENO, app::storedText(name + ".out"));
    if (!isThere(name + ".status"))
        for (;;)
            pause();
    endAs(static_cast<int>(std::strtol(app::storedText(name + ".status").c_str(), nullptr, 10)));
}

[[noreturn]] void run(Command const& command, char* const* environment)
{
    if (answersTools())
        play(filesOf(stage().answers, command));
    std::vector<char*> arguments;
    for (std::string const& argument : command)
        arguments.push_back(const_cast<char*>(argument.c_str()));
    arguments.push_back(nullptr);
    execve("/bin/sh", arguments.data(), environment);
    _exit(NOT_FOUND);
}

/** Runs the tool and keeps what it writes, and how it ends. */
void record(Command const& command, char* const* environment, std::string const& name)
{
    std::string arguments;
    for (std::string const& argument : command)
        arguments += argument + '\0';
    app::store(name + ".command", arguments);
    auto const begin = Clock::now();
    int ends[2][2];
    std::array<Output, 2> outputs;
    for (size_t i = 0; i < outputs.size(); ++i) {
        if (pipe2(ends[i], O_CLOEXEC) != 0)
            _exit(NOT_FOUND);
        outputs[i].end = ends[i][0];
        outputs[i].file = ::open((name + (i == 0 ? ".out" : ".err")).c_str(),
            O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    }
    pid_t const child = fork();
    if (child < 0)
        _exit(NOT_FOUND);
    if (child == 0) {
        dup2(ends[0][1], STDOUT_FILENO);
        dup2(ends[1][1], STDERR_FILENO);
        run(command, environment);
    }
    for (auto const& pair : ends)
        ::close(pair[1]);
    while (outputs[0].end >= 0 || outputs[1].end >= 0) {
        pollfd waits[] = {{outputs[0].end, POLLIN, 0}, {outputs[1].end, POLLIN, 0}};
        (void)poll(waits, std::size(waits), -1);
        for (size_t i = 0; i < outputs.size(); ++i)
            if (waits[i].revents != 0 && !outputs[i].readSome())
                ::close(std::exchange(outputs[i].end, -1));
    }
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) { }
    std::chrono::duration<double> const seconds = Clock::now() - begin;
    std::ostringstream line;
    line << status << ' ' << seconds.count() << ' ' << outputs[0].size << ' ' << outputs[1].size
         << '\n';
    app::store(name + ".status", line.str());
}

/** Closes what exec(2) closes. */
void closeOnExec()
{
    constexpr rlim_t MOST = 4096;
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    auto const end = static_cast<int>(std::min(limit.rlim_cur, MOST));
    for (int file = STDERR_FILENO + 1; file < end; ++file)
        if (int const flags = fcntl(file, F_GETFD); flags >= 0 && (flags & FD_CLOEXEC) != 0)
            ::close(file);
}

std::map<FILE*, pid_t>& runningTools()
{
    static std::map<FILE*, pid_t> tools;
    return tools;
}

}

bool standsForTools()
{
    return isRecording() || answersTools();
}

void becomeTool(Command const& command, char* const* environment)
try {
    closeOnExec();
    if (!isRecording())
        play(filesOf(stage().answers, command));
    std::string const name = filesOf(stage().record, command);
    log("tool", app::toolFileName(command));
    if (!isThere(name + ".command"))
        record(command, environment, name);
    play(name);
} catch (std::system_error const&) {
    noteLoss();
    _exit(NOT_FOUND);
}

}

using preload::becomeTool;
using preload::real;
using preload::runningTools;
using preload::standsForTools;

ANSWERED FILE* popen(char const* line, char const* mode)
{
    static auto* const next = real<FILE*(char const*, char const*)>("popen");
    if (!standsForTools() || mode[0] != 'r')
        return next(line, mode);
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
        return nullptr;
    pid_t const child = fork();
    if (child == 0) {
        dup2(ends[1], STDOUT_FILENO);
        becomeTool({"sh", "-c", line}, environ);
    }
    ::close(ends[1]);
    FILE* const stream = child > 0 ? fdopen(ends[0], "r") : nullptr;
    if (stream)
        runningTools()[stream] = child;
    else
        ::close(ends[0]);
    return stream;
}

ANSWERED int pclose(FILE* stream)
{
    static auto* const next = real<int(FILE*)>("pclose");
    auto const found = runningTools().find(stream);
    if (found == runningTools().end())
        return next(stream);
    pid_t const child = found->second;
    runningTools().erase(found);
    std::fclose(stream);
    int status = -1;
    while (waitpid(child, &status, 0) < 0)
        if (errno != EINTR)
            return -1;
    return status;
}

/** The library starts a shell with it. */
ANSWERED int execle(char const* path, char const* first, ...) noexcept
{
    std::vector<std::string> command;
    std::vector<char*> arguments;
    va_list rest;
    va_start(rest, first);
    // NOLINTBEGIN(clang-analyzer-valist.Uninitialized): va_start has initialized it.
    for (char const* argument = first; argument; argument = va_arg(rest, char const*)) {
        command.emplace_back(argument);
        arguments.push_back(const_cast<char*>(argument));
    }
    arguments.push_back(nullptr);
    char* const* const environment = va_arg(rest, char* const*);
    // NOLINTEND(clang-analyzer-valist.Uninitialized)
    va_end(rest);
    if (standsForTools())
        becomeTool(command, environment);
    return execve(path, arguments.data(), environment);
}
