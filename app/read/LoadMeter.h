#pragma once

#include "app/model/Machine.h"

#include <chrono>
#include <map>
#include <optional>

namespace app {

/** The counters of one processor, `UNIXCPUInfo::readCounters`. */
struct ProcessorTicks {
    unsigned idle;
    unsigned busy;
};

/**
 * The share of busy time between two samples in percent, as the library computes it.
 *
 * A processor whose busy counter did not move has 0. Nothing where the counters went backwards.
 */
std::optional<double> loadBetween(ProcessorTicks const& first, ProcessorTicks const& second);

/** Measures the loads of all processors over one second. */
class LoadMeter {
public:
    /** Takes the first sample of each processor of the machine. */
    void begin(Machine& machine);

    /** Waits for the rest of the second, takes the second samples and fills the loads in. Returns
     * at once where no measurement was begun. */
    void end(Machine& machine);

private:
    /** By the processors' numbers. */
    using Samples = std::map<unsigned, ProcessorTicks>;

    static Samples sample(Machine& machine);

    Samples m_first;
    std::chrono::steady_clock::time_point m_begun;
};

}
