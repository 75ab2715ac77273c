#pragma once

#include "app/model/Recovery.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace app {

/** @return one line with the state and, from the restore on, the figures. */
std::string recoveryLine(Recovery const& recovery);

/** @return the state of a recovery that runs; of one that has ended at @p now its result and,
 * unless it finished, its last state: "failed, last state: restoring". */
std::string stateText(Recovery const& recovery, int64_t now);

/**
 * @return one line that says how a recovery ended: "finished: 200 of 200 files and 1000 of 1000 MB
 * in 0:10:00, at 2026-03-24 14:15:00".
 *
 * @param recovery its last state. @param now the time of the end where none is written.
 */
std::string recoveryOutcome(Recovery const& recovery, int64_t now);

/**
 * A line with a bar, of @p columns at most.
 *
 * Fields that do not fit are left out: first the files, then the phase, the rate, the MB, the time
 * left, and at last the bar.
 */
std::string recoveryBar(Recovery const& recovery, size_t columns, int64_t now, bool blocks);

}
