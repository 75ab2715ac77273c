#pragma once

#include "bench/allocations.h"

#include <benchmark/benchmark.h>

#include <string>

namespace bench {

/** Text of @p characters ASCII letters, digits and punctuation, as paths and device names have
 * them. */
std::string asciiText(unsigned characters);

/** UTF-8 text of @p characters, of which every third to fourth takes two or three bytes. */
std::string mixedText(unsigned characters);

/** The same as wide text. */
std::wstring asciiWide(unsigned characters);
std::wstring mixedWide(unsigned characters);

/** Shows beside the times how often one round allocates. */
class AllocationCounter {
public:
    explicit AllocationCounter(benchmark::State& state)
        : m_state(state), m_before(allocations()) { }
    AllocationCounter(AllocationCounter const&) = delete;
    AllocationCounter& operator=(AllocationCounter const&) = delete;
    ~AllocationCounter()
    {
        m_state.counters["allocations"] = benchmark::Counter(
            static_cast<double>(allocations() - m_before), benchmark::Counter::kAvgIterations);
    }

private:
    benchmark::State& m_state;
    unsigned long m_before;
};

}
