#pragma once

#include "app/model/Machine.h"
#include "app/write/TextTable.h"

#include <ostream>

namespace app {

/** The lines of a usual terminal. */
inline constexpr size_t SUMMARY_LINES = 24;

/**
 * Writes the machine in short, a label and some lines for each subject that was asked for.
 *
 * On a terminal of 80 columns it has at most `SUMMARY_LINES`, whatever the machine: disks and
 * adapters that are alike are counted together, and further mounts are counted.
 *
 * @param linesAbove those of the machine's problems on the same terminal; as long as they are few,
 * both together have at most that many lines.
 */
void writeSummary(
    Machine const& machine, Layout const& layout, std::ostream& out, size_t linesAbove = 0);

}
