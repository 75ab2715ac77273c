#pragma once

#include "tests/sysinfo/FaultCalls.h"
#include "tests/sysinfo/FaultResult.h"

#include <ostream>
#include <vector>

namespace testkit {

/** A query with all getters of its records. */
struct Query {
    char const* name;
    Result (*run)();
    Fault cause = NO_FAULT; ///< A fault that the machine always has.
};

/** For the names of tests. */
void PrintTo(Query const& query, std::ostream* out);

extern std::vector<Query> const QUERIES;

/** Fills the fake machine: two disks of /proc/partitions and one at the USB, a logical volume,
 * two adapters, two memory modules, a recovery. */
void fillFaultMachine();

}
