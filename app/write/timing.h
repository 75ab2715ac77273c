#pragma once

#include "app/model/Machine.h"
#include "app/write/TextTable.h"

#include <string>

namespace app {

/**
 * @return a table with the milliseconds that each subject took: the program's own reading, and the
 * library's query, which runs beside it.
 */
std::string timingText(Machine const& machine, Layout const& layout);

}
