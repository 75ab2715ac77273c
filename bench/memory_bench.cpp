#include "bench/allocations.h"
#include "bench/bare_child.h"
#include "bench/child_output.h"
#include "bench/fake_tools.h"
#include "bench/main.h"
#include "sysinfo/LinuxSystemInformation.h"

#include <benchmark/benchmark.h>

#include <fcntl.h>
#ifdef BENCH_WITH_PROC2
#include <libproc2/meminfo.h>
#endif
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <system_error>

namespace {

constexpr char PATH[] = "/proc/meminfo";

struct Figures {
    uint64_t total = 0;
    uint64_t free = 0;
};

/** @throws std::runtime_error when a figure is 0, or more is free than there is. */
void expectKnown(Figures const& figures)
{
    if (figures.total == 0 || figures.free == 0 || figures.free > figures.total)
        throw std::runtime_error("the figures were not read");
}

void memoryDovrel(benchmark::State& state)
{
    sysinfo::LinuxSystemInformation const system;
    bench::timeAndCount(state, [&system] {
        Figures figures;
        // The override of the Linux class also runs dmidecode; `queryDovrel` measures it.
        if (!system.UNIXSystemInformation::getMemoryInfo(figures.total, figures.free))
            throw std::runtime_error("the memory cannot be read");
        expectKnown(figures);
        return figures;
    });
}

/** @return the number after the label, 0 when the label is missing. */
uint64_t figure(char const* text, char const* end, char const* label)
{
    char const* at = std::strstr(text, label);
    if (!at)
        return 0;
    at += std::strlen(label);
    while (*at == ' ')
        ++at;
    uint64_t number = 0;
    std::from_chars(at, end, number);
    return number;
}

void memoryByBareScan(benchmark::State& state)
{
    for (auto round : state) {
        int const file = open(PATH, O_RDONLY | O_CLOEXEC);
        char text[4096];
        ssize_t const size = read(file, text, sizeof text - 1);
        close(file);
        if (size < 0)
            throw std::runtime_error("the memory cannot be read");
        text[size] = '\0';
        Figures const figures{
            figure(text, text + size, "MemTotal:"), figure(text, text + size, "MemFree:")};
        expectKnown(figures);
    }
}

void memoryByStream(benchmark::State& state)
{
    for (auto round : state) {
        std::ifstream file(PATH);
        Figures figures;
        std::string label;
        uint64_t number = 0;
        for (std::string unit; file >> label >> number >> unit;) {
            if (label == "MemTotal:")
                figures.total = number;
            else if (label == "MemFree:")
                figures.free = number;
            if (figures.total != 0 && figures.free != 0)
                break;
        }
        expectKnown(figures);
    }
}

#ifdef BENCH_WITH_PROC2

/** libproc2 keeps the file open and reads all of its figures. */
void memoryByProc2(benchmark::State& state)
{
    meminfo_info* info = nullptr;
    if (procps_meminfo_new(&info) != 0)
        throw std::runtime_error("libproc2 cannot be used");
    meminfo_item items[] = {MEMINFO_MEM_TOTAL, MEMINFO_MEM_FREE};
    for (auto round : state) {
        meminfo_stack const* const found = procps_meminfo_select(info, items, std::size(items));
        if (!found)
            throw std::runtime_error("the memory cannot be read");
        Figures const figures{found->head[0].result.ul_int, found->head[1].result.ul_int};
        expectKnown(figures);
    }
    procps_meminfo_unref(&info);
}

#endif

// The whole query -------------------------------------------------------------------------------

/**
 * @return a recorded dump, repeated up to the benchmark's argument in KiB, and some modules of an
 * unusual size. The library reports their size only when it reads the dump to its end.
 */
std::string firmwareDump(benchmark::State const& state)
{
    std::ifstream file(RECORDED_DUMP);
    std::string const recorded(std::istreambuf_iterator<char>(file), {});
    if (recorded.empty())
        throw std::runtime_error("cannot read " RECORDED_DUMP);
    std::string dump;
    while (dump.size() + recorded.size() <= static_cast<size_t>(state.range(0)) << 10)
        dump += recorded;
    constexpr int MODULES = 4; // The library ignores a size line that two reads divide.
    for (int i = 0; i < MODULES; ++i)
        dump += "Handle 0x0040, DMI type 17, 40 bytes\nMemory Device\n\tSize: 1024 TB\n\n";
    return dump;
}

void queryDovrel(benchmark::State& state)
{
    bench::writeTool("dmidecode", firmwareDump(state));
    sysinfo::LinuxSystemInformation const system;
    for (auto round : state) {
        Figures figures;
        constexpr uint64_t MODULE_KIB = uint64_t{1024} << 30;
        if (!system.getMemoryInfo(figures.total, figures.free) || figures.total < MODULE_KIB)
            throw std::runtime_error("the modules were not read");
        expectKnown(figures);
    }
}

/** Runs the tool and reads all of its output. */
void queryByBareTool(benchmark::State& state)
{
    std::string const dump = firmwareDump(state);
    bench::writeTool("dmidecode", dump);
    for (auto round : state) {
        bench::BareChild tool("dmidecode");
        tool.makeReadsBlock();
        size_t total = 0;
        char piece[bench::TERMINAL_PIECE];
        for (ssize_t size; (size = read(tool.terminal(), piece, sizeof piece)) > 0;)
            total += static_cast<size_t>(size);
        tool.waitForEnd();
        if (total != dump.size())
            throw std::runtime_error("the tool's output was not read");
    }
}

}

BENCHMARK(memoryDovrel)->Name("memory/dovrel");
BENCHMARK(memoryByBareScan)->Name("memory/bare_scan");
BENCHMARK(memoryByStream)->Name("memory/stream");
#ifdef BENCH_WITH_PROC2
BENCHMARK(memoryByProc2)->Name("memory/libproc2");
#endif
BENCHMARK(queryDovrel)->Name("memory_query/dovrel")->Arg(2)->Arg(20)->UseRealTime();
BENCHMARK(queryByBareTool)->Name("memory_query/bare_tool")->Arg(2)->Arg(20)->UseRealTime();

void bench::prepare()
{
    replaceTools();
    if (setenv("PATH", "/sbin:/bin", 1) != 0)
        throw std::system_error(errno, std::generic_category(), "PATH");
}
