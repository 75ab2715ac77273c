#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace reference {

/** Clock ticks modulo 2^32. */
struct Counters {
    uint32_t idle;
    uint32_t busy;

    bool operator==(Counters const&) const = default;
};

/** A line "cpuN". */
struct Processor {
    unsigned int index;
    size_t figures;
    Counters counters;
};

/** The processors of /proc/stat (proc(5)). */
struct ProcessorTable {
    std::vector<Processor> processors;
    uint64_t sumOfAllProcessors = 0; // All figures of the line "cpu".
};

/** Every index and every sum must fit into its type: for texts of real kernels. */
ProcessorTable readProcessors(std::string const& text);

/** @return the words that begin with "cpu" and end in a digit, on any line. */
std::vector<std::string> processorWords(std::string const& text);

/** @return the counters of the first line whose first word begins with @p label. */
std::optional<Counters> findCounters(std::string const& text, std::string const& label);

}
