#include "bench/main.h"
#include "sysinfo/SystemInformation.h"

#include <benchmark/benchmark.h>

#ifdef BENCH_WITH_HWLOC
#include <hwloc.h>
#endif

#include <stdexcept>
#include <vector>

// hwloc reads /sys, of which no benchmark makes a fake.

using sysinfo::SystemInformation;

namespace {

void expect(bool condition, char const* message)
{
    if (!condition)
        throw std::runtime_error(message);
}

void processorsDovrel(benchmark::State& state)
{
    auto const system = SystemInformation::create();
    for (auto round : state) {
        std::vector<dovrel::value_ptr<SystemInformation::CPUInfo>> processors;
        expect(system->getCPUsInternal(processors) && !processors.empty(),
            "the processors cannot be listed");
    }
}

#ifdef BENCH_WITH_HWLOC

/** Also finds the cores, packages, caches and nodes of memory. */
void processorsByHwloc(benchmark::State& state)
{
    for (auto round : state) {
        hwloc_topology_t topology = nullptr;
        expect(hwloc_topology_init(&topology) == 0 && hwloc_topology_load(topology) == 0,
            "hwloc cannot be used");
        int const found = hwloc_get_nbobjs_by_type(topology, HWLOC_OBJ_PU);
        hwloc_topology_destroy(topology);
        expect(found > 0, "hwloc found no processors");
    }
}

#endif

}

BENCHMARK(processorsDovrel)->Name("real_processors/dovrel");
#ifdef BENCH_WITH_HWLOC
BENCHMARK(processorsByHwloc)->Name("real_processors/hwloc");
#endif

void bench::prepare()
{
}
