#pragma once

#include "app/json_text.h"
#include "app/recovery_state.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace app {

inline constexpr char const* NO_RECOVERY = "no recovery has been started on this machine";

/** A local time, "2026-03-24 14:05:09", or `UNKNOWN`. */
std::string timeText(std::optional<int64_t> seconds);

/** What is known, a line a fact. */
std::string recoveryTable(Recovery const& recovery);

/** The keys that README.md lists. */
Json recoveryJson(Recovery const& recovery);

/** One line that changes only when something happens: no clock is in it. */
std::string recoveryLine(Recovery const& recovery);

/**
 * A line with a bar, of exactly @p columns or less.
 *
 * What does not fit is left out: first the files, then the name of the phase, the rate, the MB, the
 * time that is left, and at last the bar.
 */
std::string recoveryBar(Recovery const& recovery, size_t columns, int64_t now, bool blocks);

}
