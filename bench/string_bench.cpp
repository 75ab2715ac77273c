#include "bench/text_samples.h"
#include "common/basic/wide_string.h"

#include <benchmark/benchmark.h>

// Most strings of the library are short: device names, numbers, units.

namespace {

unsigned lengthOf(benchmark::State const& state)
{
    return static_cast<unsigned>(state.range(0));
}

template <class Text> void construct(benchmark::State& state)
{
    std::wstring const source = bench::asciiWide(lengthOf(state));
    wchar_t const* text = source.c_str();
    bench::timeAndCount(state, [&text] {
        benchmark::DoNotOptimize(text);
        return Text(text);
    });
}

template <class Text> void copy(benchmark::State& state)
{
    // NOLINTNEXTLINE(readability-redundant-string-cstr): one of the two texts takes no std::wstring
    Text const source(bench::asciiWide(lengthOf(state)).c_str());
    bench::timeAndCount(state, [&source] { return Text(source); });
}

}

BENCHMARK(construct<dovrel::string>)->Name("construct/dovrel")->Arg(3)->Arg(7);
BENCHMARK(construct<std::wstring>)->Name("construct/wstring")->Arg(3)->Arg(7);
BENCHMARK(copy<dovrel::string>)->Name("copy/dovrel")->Arg(3)->Arg(7);
BENCHMARK(copy<std::wstring>)->Name("copy/wstring")->Arg(3)->Arg(7);
