#pragma once

#include "app/model/Machine.h"

#include <ostream>

namespace app {

/** The choices of a table's reader. */
struct TableOptions {
    bool bytes = false; ///< Sizes as numbers of bytes.
    bool diskTree = false; ///< Mounts below their disks.
};

/** Writes a table for each part of the machine that could be read, a blank line between two. */
void writeTables(Machine const& machine, TableOptions const& options, std::ostream& out);

}
