#pragma once

#include "app/model/Adapter.h"
#include "app/model/Difference.h"
#include "app/model/Disk.h"
#include "app/model/Library.h"
#include "app/model/Memory.h"
#include "app/model/Mount.h"
#include "app/model/Problem.h"
#include "app/model/Processor.h"
#include "app/model/Recovery.h"
#include "app/model/System.h"

#include <algorithm>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <vector>

namespace app {

using Subjects = std::set<Subject>;

/**
 * The facts that were read of one machine.
 *
 * A part is nothing where it was not asked for or where none of it could be read. A part of which
 * only some facts could be read has a problem beside it.
 */
struct Machine {
    Subjects subjects; ///< Those that were asked for.
    int64_t time = 0; ///< Of the reading, in seconds since 1970.
    std::optional<System> system;
    std::optional<Processors> processors;
    std::optional<Memory> memory;
    std::optional<std::vector<Disk>> disks; ///< All block devices, in natural order.
    std::optional<std::vector<Mount>> mounts; ///< In natural order of the mount points.
    std::optional<Networks> networks;
    std::optional<Recovery> recovery; ///< Without one and without a problem: none was started.
    std::vector<Problem> problems; ///< Facts that could not be read.
    std::vector<Problem> unavailable; ///< Facts that this machine or this user does not have.

    std::map<Subject, LibraryAnswer> library; ///< The library's answer to the same question.
    std::vector<Difference> differences; ///< Between the two.

    std::map<Subject, double> readSeconds; ///< The time that the program took for its own reading.
    double seconds = 0; ///< Of the whole reading; the library's queries run beside it.

    bool wasAskedFor(Subject subject) const { return subjects.count(subject) != 0; }

    bool hasProblem(Subject subject) const
    {
        return std::any_of(problems.begin(), problems.end(),
            [subject](Problem const& problem) { return problem.subject == subject; });
    }
};

}
