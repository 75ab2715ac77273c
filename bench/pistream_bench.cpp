#include "bench/child_output.h"
#include "common/basic/processstream/src/pistream.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdio>
#include <memory>
#include <stdexcept>

namespace {

constexpr unsigned PIECE = 128; // Bytes for each read of the stream.

void readDovrel(benchmark::State& state)
{
    int64_t total = 0;
    for (auto round : state) {
        pistream child(bench::printing(state));
        total = 0;
        char piece[PIECE];
        while (child.read(piece, sizeof piece) || child.gcount() > 0)
            total += child.gcount();
        benchmark::DoNotOptimize(piece);
    }
    bench::expectPrinted(state, total);
}

void readPopen(benchmark::State& state)
{
    int64_t total = 0;
    for (auto round : state) {
        std::unique_ptr<FILE, int (*)(FILE*)> const child(
            popen(bench::printing(state).c_str(), "re"), pclose);
        if (!child)
            throw std::runtime_error("popen failed");
        total = 0;
        char piece[PIECE];
        for (size_t size; (size = fread(piece, 1, sizeof piece, child.get())) > 0;)
            total += static_cast<int64_t>(size);
        benchmark::DoNotOptimize(piece);
    }
    bench::expectPrinted(state, total);
}

}

BENCHMARK(readDovrel)->Name("read_command/dovrel")->Arg(8)->UseRealTime();
BENCHMARK(readPopen)->Name("read_command/popen")->Arg(8)->UseRealTime();
