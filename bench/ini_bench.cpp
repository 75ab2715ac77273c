#include "bench/allocations.h"
#include "bench/fake_ini.h"
#include "bench/ini_rivals.h"
#include "bench/main.h"

#include <benchmark/benchmark.h>

#include <stdexcept>
#include <string>
#include <vector>

using bench::FakeIni;

namespace {

template <class Reader> void load(benchmark::State& state)
{
    FakeIni const& ini = FakeIni::ofKeys(static_cast<unsigned>(state.range(0)));
    bench::timeAndCount(state, [&ini] { return Reader(ini.path()); });
}

/** Queries have each reader's own string type and are made beforehand. Results are copies. */
template <class Reader> void lookUp(benchmark::State& state)
{
    FakeIni const& ini = FakeIni::ofKeys(static_cast<unsigned>(state.range(0)));
    Reader const reader(ini.path());
    std::vector<typename Reader::Query> queries;
    for (bench::IniEntry const& entry : ini.sample()) {
        queries.push_back(Reader::query(entry));
        if (reader.find(queries.back()) != Reader::text(entry.value))
            throw std::runtime_error("a value was not found again");
    }
    size_t at = 0;
    for (auto round : state) {
        auto const value = reader.find(queries[at]);
        benchmark::DoNotOptimize(&value);
        at = at + 1 < queries.size() ? at + 1 : 0;
    }
}

void sizes(benchmark::internal::Benchmark* benchmark)
{
    benchmark->Arg(10)->Arg(100)->Arg(1000)->Arg(10000);
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
