#include "bench/main.h"

#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>
#include <string>
#include <system_error>

// unistd.h declares it only with GNU extensions.
extern char** environ; // NOLINT(readability-redundant-declaration): clang enables these

namespace {

/** Sends a program's output to /dev/null. */
class DiscardedOutput {
public:
    DiscardedOutput()
    {
        posix_spawn_file_actions_init(&m_actions);
        posix_spawn_file_actions_addopen(&m_actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    }
    DiscardedOutput(DiscardedOutput const&) = delete;
    DiscardedOutput& operator=(DiscardedOutput const&) = delete;
    ~DiscardedOutput() { posix_spawn_file_actions_destroy(&m_actions); }

    posix_spawn_file_actions_t const* get() const { return &m_actions; }

private:
    posix_spawn_file_actions_t m_actions;
};

/** Runs a program on the real machine. */
void run(benchmark::State& state, char const* const (&command)[4])
{
    DiscardedOutput const output;
    char* const* const arguments = const_cast<char* const*>(command);
    for (auto round : state) {
        pid_t child = 0;
        int const error =
            posix_spawnp(&child, command[0], output.get(), nullptr, arguments, environ);
        if (error != 0)
            throw std::system_error(error, std::generic_category(), command[0]);
        int status = 0;
        while (waitpid(child, &status, 0) < 0) {
            if (errno != EINTR)
                throw std::system_error(errno, std::generic_category(), "waitpid");
        }
        if (status != 0)
            throw std::runtime_error(std::string(command[0]) + " failed");
    }
}

void runDovrel(benchmark::State& state)
{
    run(state, {DOVREL_PROGRAM, "disks", "--json", nullptr});
}

void runLsblk(benchmark::State& state)
{
    run(state, {"lsblk", "--json", nullptr, nullptr});
}

}

BENCHMARK(runDovrel)->Name("program_disks/dovrel")->UseRealTime();
BENCHMARK(runLsblk)->Name("program_disks/lsblk")->UseRealTime();

void bench::prepare()
{
}
