#pragma once

#include <cstdint>
#include <istream>
#include <optional>

namespace sysinfo {

/** Two of the kernel's figures, in KiB; an absent one was not found. */
struct KernelMemory {
    std::optional<uint64_t> total;
    std::optional<uint64_t> free;
};

/**
 * Reads "MemTotal:" and "MemFree:" out of the text of /proc/meminfo (proc(5)), of which they are
 * the first two lines.
 *
 * Reads label, number and unit by threes until both are found; the first line that has no unit or
 * no number puts the reading out of step or ends it, as the lines further down would.
 */
KernelMemory readKernelMemory(std::istream& text);

}
