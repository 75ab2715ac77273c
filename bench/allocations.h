#pragma once

#include <benchmark/benchmark.h>

namespace bench {

/** Use of the global operator new, also from libraries: the program's operator takes precedence
 * over the C++ library's. The C library's own buffers, such as opendir(3)'s, are not counted. */
struct HeapUse {
    long allocations = 0;
    long bytes = 0; ///< In use; negative where older blocks were released.
    long peakBytes = 0; ///< The most in use at once.
};

void startCounting() noexcept;

/** @return the use since `startCounting`. */
HeapUse stopCounting() noexcept;

/**
 * Times @p round, which returns its result, and reports the heap use of one more round as counters.
 * That round is not timed: counting takes a share of a short one.
 */
template <class Round> void timeAndCount(benchmark::State& state, Round round)
{
    auto const keepResult = [&round] {
        auto const result = round();
        benchmark::DoNotOptimize(&result);
    };
    for (auto timed : state)
        keepResult();
    startCounting();
    keepResult();
    HeapUse const use = stopCounting();
    state.counters["allocations"] = static_cast<double>(use.allocations);
    state.counters["peak_bytes"] = static_cast<double>(use.peakBytes);
}

}
