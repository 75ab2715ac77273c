#pragma once

#include "app/model/Recovery.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace app {

/** @return one line that changes only when the recovery does: no clock is in it. */
std::string recoveryLine(Recovery const& recovery);

/**
 * A line with a bar, of @p columns at most.
 *
 * Fields that do not fit are left out: first the files, then the phase, the rate, the MB, the time
 * left, and at last the bar.
 */
std::string recoveryBar(Recovery const& recovery, size_t columns, int64_t now, bool blocks);

}
