#include "bench/bare_child.h"
#include "bench/child_output.h"
#include "bench/main.h"
#include "common/basic/processstream/src/UnixCommand.h"

#include <benchmark/benchmark.h>

#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <istream>
#include <stdexcept>

using bench::BareChild;
using dovrel::UnixCommand;

namespace {

constexpr unsigned PIECE = bench::TERMINAL_PIECE;

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
        BareChild("true").pollForEnd();
}

/** Blocks in waitpid(2) instead of polling. */
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

/** @return the number of bytes read. */
int64_t readAll(std::istream& stream)
{
    int64_t total = 0;
    char piece[PIECE];
    while (stream.read(piece, sizeof piece) || stream.gcount() > 0)
        total += stream.gcount();
    benchmark::DoNotOptimize(piece);
    return total;
}

/** Calls @p wait when no data is available, and stops reading when it returns false. */
template <class Wait> int64_t readAll(BareChild& child, Wait wait)
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

void readDovrel(benchmark::State& state)
{
    int64_t total = 0;
    for (auto round : state) {
        pstream_wrapper<UnixCommand> child(bench::printing(state));
        child.outBuf().setTimeout(5000);
        total = readAll(child);
    }
    bench::expectPrinted(state, total);
}

/** Waits as the library does: checks the child, sleeps 10 ms, and sleeps 10 ms again. */
void readBare(benchmark::State& state)
{
    int64_t total = 0;
    for (auto round : state) {
        BareChild child(bench::printing(state).c_str());
        bool ended = false;
        total = readAll(child, [&] {
            if (ended)
                return false;
            ended = child.hasEnded();
            for (int i = 0; i < 2 && !ended; ++i)
                usleep(10000);
            return true;
        });
    }
    bench::expectPrinted(state, total);
}

/** Blocks in read(2). The difference to `readBare` is the cost of the library's waits. */
void readBareBlocking(benchmark::State& state)
{
    int64_t total = 0;
    for (auto round : state) {
        BareChild child(bench::printing(state).c_str());
        child.makeReadsBlock();
        total = readAll(child, [] { return false; });
    }
    bench::expectPrinted(state, total);
}

/** The library's stream on a terminal with blocking reads. */
void readDovrelBlocking(benchmark::State& state)
{
    int64_t total = 0;
    for (auto round : state) {
        BareChild child(bench::printing(state).c_str());
        child.makeReadsBlock();
        dovrel::UnixPipe pipe;
        pipe.setDescriptor(child.terminal());
        bench::NoChild command(pipe);
        pipestreambuf buffer(command, pipe, std::ios_base::openmode());
        std::istream stream(&buffer);
        total = readAll(stream);
    }
    bench::expectPrinted(state, total);
}

void readPopen(benchmark::State& state)
{
    int64_t total = 0;
    for (auto round : state) {
        FILE* const pipe = popen(bench::printing(state).c_str(), "re");
        if (!pipe)
            throw std::runtime_error("popen failed");
        total = 0;
        char piece[PIECE];
        for (size_t size; (size = fread(piece, 1, sizeof piece, pipe)) > 0;)
            total += static_cast<int64_t>(size);
        pclose(pipe);
        benchmark::DoNotOptimize(piece);
    }
    bench::expectPrinted(state, total);
}

// The library waits about forty times for 20 ms.
constexpr int64_t MEBIBYTES = 8;
constexpr int64_t FLOOD_MEBIBYTES = 64;

}

BENCHMARK(commandDovrel)->Name("command/dovrel")->UseRealTime();
BENCHMARK(commandBare)->Name("command/bare")->UseRealTime();
BENCHMARK(commandBareBlocking)->Name("command/bare_blocking")->UseRealTime();
BENCHMARK(commandPopen)->Name("command/popen")->UseRealTime();
BENCHMARK(readDovrel)->Name("read_child/dovrel")->Arg(MEBIBYTES)->UseRealTime();
BENCHMARK(readBare)->Name("read_child/bare")->Arg(MEBIBYTES)->UseRealTime();
BENCHMARK(readBareBlocking)->Name("read_child/bare_blocking")->Arg(MEBIBYTES)->UseRealTime();
BENCHMARK(readPopen)->Name("read_child/popen")->Arg(MEBIBYTES)->UseRealTime();
// Measured in processor time of the reader, because the elapsed time depends on other load.
BENCHMARK(readDovrelBlocking)->Name("read_flood/dovrel")->Arg(FLOOD_MEBIBYTES);
BENCHMARK(readBareBlocking)->Name("read_flood/bare")->Arg(FLOOD_MEBIBYTES);

void bench::prepare()
{
}
