#pragma once

#include "app/model/Machine.h"

#include <ostream>

namespace app {

/** Writes the machine in short, a label and some lines for each subject that was asked for. Lists
 * have six lines at most. */
void writeSummary(Machine const& machine, std::ostream& out);

}
