#pragma once

#include "tests/sysinfo/HostileCase.h"

#include <string>

namespace testkit {

/** The outcome of a case. */
struct HostileRun {
    std::string result; ///< That of the query, `HELD`, or "died".
    double seconds = 0;
    unsigned mebibytes = 0; ///< By how much the process of the query grew, at its largest.
    bool leftDescriptor = false;
    bool leftChild = false;
    std::string nextResult; ///< That of the same query afterwards, on a good machine.
};

/** Makes the query of @p hostile in a child process, which it kills with its tools after @p
 * limitSeconds. */
HostileRun run(HostileCase const& hostile, double limitSeconds);

}
