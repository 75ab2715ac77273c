#pragma once

#include "app/model/Machine.h"

#include <vector>

namespace app {

/**
 * Compares the machine's facts with the library's answers.
 *
 * Figures that change while the two are read, such as free memory and the present clock speed, are
 * compared only where the library has none.
 *
 * @return in the order of the subjects and of the machine's lists.
 */
std::vector<Difference> differencesOf(Machine const& machine);

}
