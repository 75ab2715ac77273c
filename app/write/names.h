#pragma once

#include "app/model/Problem.h"
#include "app/model/Recovery.h"

#include <optional>
#include <string>

namespace app {

/** @return a hypervisor's name, nothing for a code without one. */
std::optional<std::string> hypervisorName(unsigned code);

/** The code of a machine without a hypervisor. */
inline constexpr unsigned NO_HYPERVISOR = 0;

/** @return "restoring", or "early operation 4000". */
std::string phaseText(Recovery const& recovery);

/** @return "cannot read the processors from /proc/stat: " and the reason, in one line. */
std::string problemText(Problem const& problem);

inline constexpr char const* NO_RECOVERY = "no recovery has been started on this machine";

}
