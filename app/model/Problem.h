#pragma once

#include <string>

namespace app {

/** The parts of a machine that can be read by themselves. */
enum class Subject { SYSTEM, PROCESSORS, MEMORY, DISKS, MOUNTS, NETWORKS, RECOVERY };

/** A fact that could not be read. */
struct Problem {
    Subject subject;
    std::string fact; ///< As in "cannot read the processors".
    std::string reason; ///< A sentence without its full stop; may hold names from the machine.
    std::string source; ///< The files or tools that the fact comes from.
};

}
