#pragma once

#include "app/model/Machine.h"
#include "app/write/TextTable.h"

#include <ostream>

namespace app {

/**
 * Writes the machine in short, a label and some lines for each subject that was asked for.
 *
 * On a terminal of 80 columns it has at most 24 lines, whatever the machine: disks and adapters
 * that are alike are counted together, and further mounts are counted.
 */
void writeSummary(Machine const& machine, Layout const& layout, std::ostream& out);

}
