#pragma once

#include <cstdint>
#include <functional>
#include <istream>

namespace sysinfo {

enum class KernelFigure { TOTAL, FREE };

/**
 * Reads "MemTotal:" and "MemFree:" from /proc/meminfo (proc(5)), whose first two lines they are.
 *
 * Reads groups of label, number and unit until it has found both labels. A label without a number
 * ends the reading. After a line without a unit, the groups do not match the lines any more. The
 * kernel writes such lines only after the first two.
 *
 * @param found called with each matching figure in KiB, repeated labels included.
 * @return true if both labels were found.
 */
bool readKernelMemory(
    std::istream& text, std::function<void(KernelFigure figure, uint64_t kib)> const& found);

}
