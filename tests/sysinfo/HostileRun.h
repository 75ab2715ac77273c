#pragma once

#include "tests/sysinfo/HostileCase.h"

#include <string>

namespace testkit {

/** The outcome of a case. */
struct HostileRun {
    std::string result; ///< That of the query, `HELD`, "still runs", or "died" and how.
    double seconds = 0;
    unsigned mebibytes = 0; ///< By how much the process of the query grew, at its largest.
    unsigned toolMebibytes = 0; ///< By how much its largest tool was larger than that process.
    bool leftDescriptor = false;
    bool leftChild = false;
    std::string nextResult; ///< That of the same query afterwards, on a good machine.
};

/** Makes the query of @p hostile in a child process, which it kills with its tools after the case's
 * limit. */
HostileRun run(HostileCase const& hostile);

}
