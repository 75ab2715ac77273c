#include "bench/text_samples.h"
#include "common/basic/text_cast.h"

#include <benchmark/benchmark.h>

#include <charconv>
#include <sstream>

namespace {

void toTextDovrel(benchmark::State& state)
{
    auto value = static_cast<unsigned>(state.range(0));
    bench::timeAndCount(state, [&value] {
        benchmark::DoNotOptimize(value);
        return dovrel::str_cast<unsigned>(value);
    });
}

void toTextFreshStream(benchmark::State& state)
{
    auto value = static_cast<unsigned>(state.range(0));
    for (auto round : state) {
        benchmark::DoNotOptimize(value);
        std::wostringstream out;
        out << value;
        std::wstring text = out.str();
        benchmark::DoNotOptimize(text);
    }
}

void toTextKeptStream(benchmark::State& state)
{
    auto value = static_cast<unsigned>(state.range(0));
    std::wostringstream out;
    for (auto round : state) {
        benchmark::DoNotOptimize(value);
        out.str(std::wstring());
        out << value;
        std::wstring text = out.str();
        benchmark::DoNotOptimize(text);
    }
}

void toTextByHand(benchmark::State& state)
{
    auto value = static_cast<unsigned>(state.range(0));
    for (auto round : state) {
        benchmark::DoNotOptimize(value);
        char digits[16];
        char const* const end = std::to_chars(std::begin(digits), std::end(digits), value).ptr;
        std::wstring text(static_cast<char const*>(digits), end);
        benchmark::DoNotOptimize(text);
    }
}

/** @return the benchmark's number between blanks, as in a column of a tool's output. */
std::wstring column(benchmark::State const& state)
{
    return L" " + std::to_wstring(state.range(0)) + L" ";
}

void toValueDovrel(benchmark::State& state)
{
    dovrel::string const text(column(state).c_str());
    bench::timeAndCount(state, [&text] { return dovrel::literal_cast<int>(text, -1); });
}

void toValueFreshStream(benchmark::State& state)
{
    std::wstring const text = column(state);
    for (auto round : state) {
        std::wistringstream in(text);
        int value = -1;
        in >> value;
        benchmark::DoNotOptimize(value);
    }
}

void someNumbers(benchmark::internal::Benchmark* benchmark)
{
    benchmark->Arg(7)->Arg(123456)->Arg(2147483647);
}

}

BENCHMARK(toTextDovrel)->Name("str_cast/dovrel")->Apply(someNumbers);
BENCHMARK(toTextFreshStream)->Name("str_cast/fresh_stream")->Apply(someNumbers);
BENCHMARK(toTextKeptStream)->Name("str_cast/kept_stream")->Apply(someNumbers);
BENCHMARK(toTextByHand)->Name("str_cast/by_hand")->Apply(someNumbers);
BENCHMARK(toValueDovrel)->Name("literal_cast/dovrel")->Apply(someNumbers);
BENCHMARK(toValueFreshStream)->Name("literal_cast/fresh_stream")->Apply(someNumbers);
