#include "common/basic/processstream/src/pistream.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <string>

namespace {

constexpr unsigned PIECE = 128; // What the stream takes from its child at a time.

std::string printing(benchmark::State const& state)
{
    return "exec head -c " + std::to_string(state.range(0) << 20) + " /dev/zero";
}

void expectBytes(benchmark::State& state, int64_t read)
{
    if (read != state.range(0) << 20)
        throw std::runtime_error("not all of the child's output was read");
    state.SetBytesProcessed(state.iterations() * read);
}

void readDovrel(benchmark::State& state)
{
    int64_t total = 0;
    for (auto round : state) {
        pistream child(printing(state));
        total = 0;
        char piece[PIECE];
        while (child.read(piece, sizeof piece) || child.gcount() > 0)
            total += child.gcount();
        benchmark::DoNotOptimize(piece);
    }
    expectBytes(state, total);
}

void readPopen(benchmark::State& state)
{
    int64_t total = 0;
    for (auto round : state) {
        std::unique_ptr<FILE, int (*)(FILE*)> const child(
            popen(printing(state).c_str(), "re"), pclose);
        if (!child)
            throw std::runtime_error("popen failed");
        total = 0;
        char piece[PIECE];
        for (size_t size; (size = fread(piece, 1, sizeof piece, child.get())) > 0;)
            total += static_cast<int64_t>(size);
        benchmark::DoNotOptimize(piece);
    }
    expectBytes(state, total);
}

}

BENCHMARK(readDovrel)->Name("read_command/dovrel")->Arg(8)->UseRealTime();
BENCHMARK(readPopen)->Name("read_command/popen")->Arg(8)->UseRealTime();
