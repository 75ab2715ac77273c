#pragma once

#include "app/read/Reader.h"

#include <chrono>
#include <optional>
#include <vector>

namespace app {

/** The counters of one processor, `UNIXCPUInfo::readCounters`. */
struct ProcessorTicks {
    unsigned idle;
    unsigned busy;
};

/**
 * The share of busy time between two samples in percent, as the library works it out.
 *
 * A processor whose busy counter did not move has 0. Nothing where the counters went backwards.
 */
std::optional<double> loadBetween(ProcessorTicks const& first, ProcessorTicks const& second);

/** Measures the loads of all processors over one second. */
class LoadMeter {
public:
    explicit LoadMeter(Reader& reader) : m_reader(reader) { }

    /** Takes the first sample of each processor of the machine. */
    void begin(Machine& machine);

    /** Waits for the rest of the second, takes the second samples and fills the loads in. Returns
     * at once where no measurement was begun, or where its first samples could not be read. */
    void end(Machine& machine);

private:
    /** @return one element for each processor, nothing for one that the kernel does not list; empty
     * where the counters cannot be read, which is a problem then. */
    std::vector<std::optional<ProcessorTicks>> sample(Machine& machine);

    Reader& m_reader;
    std::vector<std::optional<ProcessorTicks>> m_first;
    std::chrono::steady_clock::time_point m_begun;
};

}
