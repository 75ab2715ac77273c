#include "bench/allocations.h"
#include "bench/fake_proc.h"
#include "bench/main.h"
#include "sysinfo/SystemInformation.h"

#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <unistd.h>

#include <cstring>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

using sysinfo::SystemInformation;

namespace {

constexpr char PATH[] = "/proc/stat";

/** Fails the benchmark unless @p listed is its number of processors. */
void expectProcessors(benchmark::State& state, size_t listed)
{
    if (listed != static_cast<size_t>(state.range(0)))
        state.SkipWithError("the wrong number of processors was counted");
}

void listDovrel(benchmark::State& state)
{
    bench::writeProcStat(static_cast<unsigned>(state.range(0)));
    auto const system = SystemInformation::create();
    size_t listed = 0;
    bench::timeAndCount(state, [&] {
        std::vector<dovrel::value_ptr<SystemInformation::CPUInfo>> processors;
        if (!system->getCPUsInternal(processors))
            throw std::runtime_error("the processors cannot be listed");
        listed = processors.size();
        return processors;
    });
    expectProcessors(state, listed);
    state.SetComplexityN(state.range(0));
}

/** Counts the words that begin with "cpu" and end in a digit. */
class WordScan {
public:
    void feed(char const* text, size_t size)
    {
        for (char const* end = text + size; text != end; ++text) {
            if (*text == ' ' || *text == '\n') {
                endWord();
            } else {
                if (m_length < 3)
                    m_matches = m_matches && *text == "cpu"[m_length];
                ++m_length;
                m_last = *text;
            }
        }
    }

    size_t finish()
    {
        endWord();
        return m_count;
    }

private:
    void endWord()
    {
        m_count += m_matches && m_length > 3 && m_last >= '0' && m_last <= '9';
        m_length = 0;
        m_matches = true;
    }

    size_t m_count = 0;
    size_t m_length = 0;
    bool m_matches = true;
    char m_last = '\0';
};

void listByBareScan(benchmark::State& state)
{
    bench::writeProcStat(static_cast<unsigned>(state.range(0)));
    size_t listed = 0;
    for (auto round : state) {
        int const file = open(PATH, O_RDONLY | O_CLOEXEC);
        char piece[16384];
        WordScan scan;
        for (ssize_t size; (size = read(file, piece, sizeof piece)) > 0;)
            scan.feed(piece, static_cast<size_t>(size));
        close(file);
        listed = scan.finish();
        benchmark::DoNotOptimize(listed);
    }
    expectProcessors(state, listed);
    state.SetComplexityN(state.range(0));
}

void listByStreamLines(benchmark::State& state)
{
    bench::writeProcStat(static_cast<unsigned>(state.range(0)));
    size_t listed = 0;
    for (auto round : state) {
        listed = 0;
        std::ifstream file(PATH);
        for (std::string line; std::getline(file, line);)
            listed += line.size() > 3 && line.compare(0, 3, "cpu") == 0 && line[3] != ' ';
        benchmark::DoNotOptimize(listed);
    }
    expectProcessors(state, listed);
    state.SetComplexityN(state.range(0));
}

void machineSizes(benchmark::internal::Benchmark* benchmark)
{
    benchmark->Arg(1)->Arg(10)->Arg(100)->Arg(1000)->Arg(4000)->Complexity();
}

}

BENCHMARK(listDovrel)->Name("list/dovrel")->Apply(machineSizes);
BENCHMARK(listByBareScan)->Name("list/bare_scan")->Apply(machineSizes);
BENCHMARK(listByStreamLines)->Name("list/stream_lines")->Apply(machineSizes);

void bench::prepare()
{
    replaceProc();
}
