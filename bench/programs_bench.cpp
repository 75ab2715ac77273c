#include "bench/main.h"

#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/time.h>
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

double seconds(timeval const& time)
{
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

/** The arguments end in a null pointer. */
using Command = char const* const[4];

/**
 * Runs a program on the real machine.
 * @return the processor time of the program and of its children, in seconds.
 */
double run(Command const& command)
{
    DiscardedOutput const output;
    char* const* const arguments = const_cast<char* const*>(command);
    pid_t child = 0;
    int const error = posix_spawnp(&child, command[0], output.get(), nullptr, arguments, environ);
    if (error != 0)
        throw std::system_error(error, std::generic_category(), command[0]);
    int status = 0;
    rusage used{};
    while (wait4(child, &status, 0, &used) < 0) {
        if (errno != EINTR)
            throw std::system_error(errno, std::generic_category(), "wait4");
    }
    if (status != 0)
        throw std::runtime_error(std::string(command[0]) + " failed");
    return seconds(used.ru_utime) + seconds(used.ru_stime);
}

template <Command const& COMMAND> void takeElapsedTime(benchmark::State& state)
{
    for (auto round : state)
        run(COMMAND);
}

template <Command const& COMMAND> void takeProcessorTime(benchmark::State& state)
{
    for (auto round : state)
        state.SetIterationTime(run(COMMAND));
}

constexpr Command DISKS = {DOVREL_PROGRAM, "disks", "--json", nullptr};
constexpr Command LSBLK = {"lsblk", "--json", nullptr, nullptr};
constexpr Command CPUS = {DOVREL_PROGRAM, "cpus", "--json", nullptr};
constexpr Command LSCPU = {"lscpu", "--json", nullptr, nullptr};

}

BENCHMARK(takeElapsedTime<DISKS>)->Name("program_disks/dovrel")->UseRealTime();
BENCHMARK(takeElapsedTime<LSBLK>)->Name("program_disks/lsblk")->UseRealTime();
// The program sleeps for a second between two readings of the load. One run is enough for each
// repetition, and only its processor time is compared.
BENCHMARK(takeProcessorTime<CPUS>)->Name("program_cpus/dovrel")->Iterations(1)->UseManualTime();
BENCHMARK(takeProcessorTime<LSCPU>)->Name("program_cpus/lscpu")->UseManualTime();

void bench::prepare()
{
}
