#include "bench/ini_rivals.h"
#include "bench/made_up_ini.h"
#include "bench/main.h"

#include <benchmark/benchmark.h>

#include <stdexcept>
#include <string>
#include <vector>

using bench::MadeUpIni;

namespace {

template <class Reader> void load(benchmark::State& state)
{
    MadeUpIni const& ini = MadeUpIni::ofKeys(static_cast<unsigned>(state.range(0)));
    for (auto round : state) {
        Reader const reader(ini.path());
        benchmark::DoNotOptimize(&reader);
    }
}

/** All readers are asked in texts of their own kind, made beforehand, and give a copy. */
template <class Reader> void lookUp(benchmark::State& state)
{
    MadeUpIni const& ini = MadeUpIni::ofKeys(static_cast<unsigned>(state.range(0)));
    Reader const reader(ini.path());
    std::vector<typename Reader::Question> questions;
    for (bench::IniEntry const& entry : ini.sample()) {
        questions.push_back(Reader::question(entry));
        if (reader.find(questions.back()) != Reader::text(entry.value))
            throw std::runtime_error("a value was not found again");
    }
    size_t at = 0;
    for (auto round : state) {
        auto const value = reader.find(questions[at]);
        benchmark::DoNotOptimize(&value);
        at = at + 1 < questions.size() ? at + 1 : 0;
    }
}

void sizes(benchmark::internal::Benchmark* benchmark)
{
    benchmark->Arg(100)->Arg(10000);
}

}

BENCHMARK(load<bench::DovrelReader>)->Name("ini_load/dovrel")->Apply(sizes);
BENCHMARK(load<bench::InihReader>)->Name("ini_load/inih")->Apply(sizes);
BENCHMARK(load<bench::SimpleIniReader>)->Name("ini_load/simpleini")->Apply(sizes);
BENCHMARK(load<bench::PropertyTreeReader>)->Name("ini_load/property_tree")->Apply(sizes);
BENCHMARK(lookUp<bench::DovrelReader>)->Name("ini_look_up/dovrel")->Apply(sizes);
BENCHMARK(lookUp<bench::InihReader>)->Name("ini_look_up/inih")->Apply(sizes);
BENCHMARK(lookUp<bench::SimpleIniReader>)->Name("ini_look_up/simpleini")->Apply(sizes);
BENCHMARK(lookUp<bench::PropertyTreeReader>)->Name("ini_look_up/property_tree")->Apply(sizes);

void bench::prepare()
{
    useUtf8();
}
