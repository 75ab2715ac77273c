#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace reference {

/** The figures of /proc/meminfo (proc(5)) that the library reads, in KiB. */
struct KernelMemory {
    std::vector<std::pair<std::string, uint64_t>> lines; // Label and figure, in order.

    /** @return the last figure with this label. */
    std::optional<uint64_t> last(std::string const& label) const;
    std::optional<uint64_t> total() const { return last("MemTotal:"); }
    std::optional<uint64_t> free() const { return last("MemFree:"); }
};

/** Reads label, number and unit until it has both figures. */
KernelMemory readMeminfo(std::string const& text);

}
