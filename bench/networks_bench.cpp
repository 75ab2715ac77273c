#include "bench/adapter_text.h"
#include "bench/allocations.h"
#include "bench/fake_tools.h"
#include "bench/main.h"
#include "bench/private_mounts.h"
#include "common/basic/ip_address.h"
#include "sysinfo/SystemInformation.h"
#include "sysinfo/parsers/ifconfig_output.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

using sysinfo::SystemInformation;

namespace {

unsigned adaptersOf(benchmark::State const& state)
{
    return static_cast<unsigned>(state.range(0));
}

void expect(bool condition, char const* message)
{
    if (!condition)
        throw std::runtime_error(message);
}

void writeMachine(benchmark::State const& state)
{
    bench::writeTool("ifconfig", bench::adapterText(adaptersOf(state)));
    bench::writeTool("route", bench::routeText(adaptersOf(state)));
    bench::writeText("/etc/resolv.conf", "nameserver 192.168.1.1\nnameserver 192.168.1.2\n");
}

// The tools --------------------------------------------------------------------------------------

void listDovrel(benchmark::State& state)
{
    writeMachine(state);
    auto const system = SystemInformation::create();
    std::vector<dovrel::value_ptr<SystemInformation::NetworkInfo>> adapters;
    for (auto round : state) {
        adapters.clear();
        expect(system->getNetworksInternal(adapters), "the adapters cannot be listed");
    }
    expect(adapters.size() == adaptersOf(state) && adapters.back()->getIPAddrs().size() == 2
            && adapters.back()->getDNSAddrs().size() == 2,
        "the adapters were not read");
}

size_t run(std::string const& command)
{
    std::unique_ptr<FILE, int (*)(FILE*)> const child(popen(command.c_str(), "re"), pclose);
    expect(child != nullptr, "popen failed");
    size_t all = 0;
    char piece[4096];
    for (size_t size; (size = fread(piece, 1, sizeof piece, child.get())) > 0;)
        all += size;
    return all;
}

/** Runs the same commands one after the other and ignores their output. */
void listByBareCommands(benchmark::State& state)
{
    writeMachine(state);
    size_t printed = 0;
    for (auto round : state) {
        printed += run("LANG=C /sbin/ifconfig -a");
        for (unsigned i = 0; i + 1 < adaptersOf(state); ++i)
            printed += run("LANG=C /sbin/route -n | grep " + bench::adapterName(i));
        printed += run("LANG=C /bin/cat /etc/resolv.conf");
    }
    expect(printed > bench::adapterText(adaptersOf(state)).size(), "the tools printed nothing");
}

// Their output -----------------------------------------------------------------------------------

void parseDovrel(benchmark::State& state)
{
    std::istringstream text(bench::adapterText(adaptersOf(state)));
    size_t adapters = 0;
    size_t addresses = 0;
    bench::timeAndCount(state, [&] {
        text.clear();
        text.seekg(0);
        adapters = 0;
        addresses = 0;
        auto last = sysinfo::readAdapters(
            text, [&](std::string const&) { ++adapters; },
            [&](sysinfo::AdapterText const& adapter) { addresses += adapter.addresses.size(); });
        addresses += last.addresses.size();
        return last;
    });
    expect(adapters == adaptersOf(state) && addresses == 2 * adapters, "the output was not parsed");
}

void parseByBareScan(benchmark::State& state)
{
    std::string const text = bench::adapterText(adaptersOf(state));
    std::vector<bench::BareAdapter> adapters;
    for (auto round : state)
        adapters = bench::scanAdapters(text);
    expect(adapters.size() == adaptersOf(state) && adapters.back().addresses.size() == 2,
        "the output was not parsed");
}

}

// For 1,000 adapters the library runs a thousand commands, which takes five seconds.
BENCHMARK(listDovrel)->Name("networks/dovrel")->RangeMultiplier(10)->Range(1, 100)->UseRealTime();
BENCHMARK(listByBareCommands)
    ->Name("networks/bare_commands")
    ->RangeMultiplier(10)
    ->Range(1, 100)
    ->UseRealTime();
BENCHMARK(parseDovrel)->Name("parse_adapters/dovrel")->RangeMultiplier(10)->Range(1, 1000);
BENCHMARK(parseByBareScan)->Name("parse_adapters/bare_scan")->RangeMultiplier(10)->Range(1, 1000);

void bench::prepare()
{
    replaceTools();
    emptyFolder("/etc");
}
