#pragma once

#include "app/model/Machine.h"

#include <vector>

namespace app {

/**
 * Compares the machine's facts with the library's answers.
 *
 * Figures that move while the two are read differ where they are far apart: free space and memory
 * by more than an eighth of the whole, the current clock speed where the library has none. A reason
 * is empty where the facts prove none.
 *
 * @return in the order of the subjects and of the machine's lists.
 */
std::vector<Difference> differencesOf(Machine const& machine);

}
