#include "bench/bare_child.h"
#include "common/basic/processstream/src/UnixCommand.h"

#include <benchmark/benchmark.h>

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <iostream>
#include <stdexcept>
#include <string>

using bench::BareChild;
using dovrel::UnixCommand;

namespace {

constexpr unsigned PIECE = 256;

// Starting a child -------------------------------------------------------------------------------

void commandDovrel(benchmark::State& state)
{
    for (auto round : state) {
        UnixCommand command("true");
        constexpr unsigned LONGEST_MS = 5000;
        if (command.exitCode(LONGEST_MS, 1) != 0)
            throw std::runtime_error("true failed");
    }
}

void commandBare(benchmark::State& state)
{
    for (auto round : state)
        BareChild("true").waitByLooking();
}

/** Without the waiting between two looks: what a host of its own would do. */
void commandBareBlocking(benchmark::State& state)
{
    for (auto round : state)
        BareChild("true").waitForEnd();
}

void commandPopen(benchmark::State& state)
{
    for (auto round : state) {
        FILE* const pipe = popen("true", "re");
        if (!pipe || pclose(pipe) != 0)
            throw std::runtime_error("popen failed");
    }
}

// Reading a child's output -----------------------------------------------------------------------

/** Prints so many MiB of zeros: no newline, which ends a piece. */
std::string printing(int64_t mebibytes)
{
    return "exec head -c " + std::to_string(mebibytes << 20) + " /dev/zero";
}

void expectBytes(benchmark::State& state, int64_t read)
{
    int64_t const printed = state.range(0) << 20;
    if (read != printed)
        throw std::runtime_error(
            std::to_string(read) + " bytes of " + std::to_string(printed) + " were read");
    state.SetBytesProcessed(state.iterations() * printed);
}

void readDovrel(benchmark::State& state)
{
    int64_t total = 0;
    for (auto round : state) {
        pstream_wrapper<UnixCommand> child(printing(state.range(0)));
        child.outBuf().setTimeout(5000);
        total = 0;
        char piece[PIECE];
        while (child.read(piece, sizeof piece) || child.gcount() > 0)
            total += child.gcount();
        benchmark::DoNotOptimize(piece);
    }
    expectBytes(state, total);
}

/** @param wait what to do where nothing is there; false where nothing will come. */
template <class Wait> int64_t readPieces(BareChild& child, Wait wait)
{
    int64_t total = 0;
    char piece[PIECE];
    for (bool more = true; more;) {
        ssize_t const size = read(child.terminal(), piece, sizeof piece);
        if (size > 0)
            total += size;
        else
            more = size < 0 && errno == EAGAIN && wait();
    }
    benchmark::DoNotOptimize(piece);
    return total;
}

/** As the library waits: a look for the child's end and 10 ms, and 10 ms more. */
void readBare(benchmark::State& state)
{
    int64_t total = 0;
    for (auto round : state) {
        BareChild child(printing(state.range(0)).c_str());
        bool ended = false;
        total = readPieces(child, [&] {
            if (ended)
                return false;
            ended = child.hasEnded();
            if (!ended)
                usleep(20000);
            return true;
        });
    }
    expectBytes(state, total);
}

/** Waits in the kernel: what the library's waits cost beside it. */
void readBarePoll(benchmark::State& state)
{
    int64_t total = 0;
    for (auto round : state) {
        BareChild child(printing(state.range(0)).c_str());
        total = readPieces(child, [&] {
            pollfd wait{child.terminal(), POLLIN, 0};
            return poll(&wait, 1, -1) == 1;
        });
    }
    expectBytes(state, total);
}

void readPopen(benchmark::State& state)
{
    int64_t total = 0;
    for (auto round : state) {
        FILE* const pipe = popen(printing(state.range(0)).c_str(), "re");
        if (!pipe)
            throw std::runtime_error("popen failed");
        total = 0;
        char piece[PIECE];
        for (size_t size; (size = fread(piece, 1, sizeof piece, pipe)) > 0;)
            total += static_cast<int64_t>(size);
        pclose(pipe);
        benchmark::DoNotOptimize(piece);
    }
    expectBytes(state, total);
}

constexpr int64_t MEBIBYTES = 8;

}

BENCHMARK(commandDovrel)->Name("command/dovrel")->UseRealTime();
BENCHMARK(commandBare)->Name("command/bare")->UseRealTime();
BENCHMARK(commandBareBlocking)->Name("command/bare_blocking")->UseRealTime();
BENCHMARK(commandPopen)->Name("command/popen")->UseRealTime();
BENCHMARK(readDovrel)->Name("read_child/dovrel")->Arg(MEBIBYTES)->UseRealTime();
BENCHMARK(readBare)->Name("read_child/bare")->Arg(MEBIBYTES)->UseRealTime();
BENCHMARK(readBarePoll)->Name("read_child/bare_poll")->Arg(MEBIBYTES)->UseRealTime();
BENCHMARK(readPopen)->Name("read_child/popen")->Arg(MEBIBYTES)->UseRealTime();

int main(int argc, char** argv)
{
    try {
        benchmark::Initialize(&argc, argv);
        if (benchmark::ReportUnrecognizedArguments(argc, argv))
            return 2;
        benchmark::RunSpecifiedBenchmarks();
        benchmark::Shutdown();
        return 0;
    } catch (std::exception const& error) {
        std::cerr << "processes_bench: " << error.what() << '\n';
        return 2;
    }
}
