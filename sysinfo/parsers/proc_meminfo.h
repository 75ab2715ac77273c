#pragma once

#include <cstdint>
#include <functional>
#include <istream>

namespace sysinfo {

enum class KernelFigure { TOTAL, FREE };

/**
 * Reads "MemTotal:" and "MemFree:" out of the text of /proc/meminfo (proc(5)), of which they are
 * the first two lines.
 *
 * Reads label, number and unit by threes until both are found; the first line that has no unit or
 * no number puts the reading out of step or ends it, as the lines further down would.
 *
 * @param met is told of each figure, in KiB, as it is met; where a label repeats, of each.
 * @return whether both were found.
 */
bool readKernelMemory(
    std::istream& text, std::function<void(KernelFigure figure, uint64_t kib)> const& met);

}
