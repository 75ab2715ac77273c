#pragma once

#include "app/model/Machine.h"
#include "app/write/TextTable.h"

#include <ostream>

namespace app {

/** Writes the library's answers as a host gets them: each query with its result, each record's
 * `toString` and getters, and where a value differs from the machine's, the reason. */
void writeLibrary(Machine const& machine, Layout const& layout, std::ostream& out);

}
