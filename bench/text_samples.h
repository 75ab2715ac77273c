#pragma once

#include "bench/allocations.h"

#include <benchmark/benchmark.h>

#include <string>

namespace bench {

/** @return @p characters ASCII letters, digits and punctuation, as in paths and device names. */
std::string asciiText(unsigned characters);

/** @return @p characters in UTF-8; every third or fourth takes two or three bytes. */
std::string mixedText(unsigned characters);

// The same as wide strings.
std::wstring asciiWide(unsigned characters);
std::wstring mixedWide(unsigned characters);

/** Reports the allocations of an iteration as a counter. */
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
