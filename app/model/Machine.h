#pragma once

#include "app/model/Adapter.h"
#include "app/model/Disk.h"
#include "app/model/Memory.h"
#include "app/model/Mount.h"
#include "app/model/Problem.h"
#include "app/model/Processor.h"
#include "app/model/Recovery.h"
#include "app/model/System.h"

#include <algorithm>
#include <optional>
#include <set>
#include <vector>

namespace app {

using Subjects = std::set<Subject>;

/**
 * The facts that were read of one machine.
 *
 * A part is nothing where it was not asked for or where none of it could be read. A part that could
 * be read in parts only has a problem beside it.
 */
struct Machine {
    Subjects subjects; ///< Those that were asked for.
    std::optional<System> system;
    std::optional<std::vector<Processor>> processors;
    bool loadsMeasured = false; ///< Whether the processors' loads were asked for.
    std::optional<Memory> memory;
    std::optional<std::vector<Disk>> disks;
    std::optional<std::vector<Mount>> mounts;
    std::optional<Networks> networks;
    std::optional<Recovery> recovery; ///< Without one and without a problem: none was started.
    std::vector<Problem> problems;

    bool wasAskedFor(Subject subject) const { return subjects.count(subject) != 0; }

    bool hasProblem(Subject subject) const
    {
        return std::any_of(problems.begin(), problems.end(),
            [subject](Problem const& problem) { return problem.subject == subject; });
    }
};

}
