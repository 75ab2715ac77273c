#pragma once

#include "tests/app/RecoveryMachine.h"

#include <string>

/** The states of a recovery that the tests of --watch follow. */
namespace app_test::watched {

/** A restore that has run for 100 seconds. */
inline std::string restore(unsigned filesDone, unsigned megabytesDone, std::string const& end = "")
{
    std::string const start = "RestoreStart=" + engineTime(-100) + "\n";
    return RecoveryMachine::restore("5000", start + end, filesDone, megabytesDone);
}

/** A restore that has ended after 50 seconds. */
inline std::string ended(unsigned filesDone, unsigned megabytesDone)
{
    return RecoveryMachine::restore("5000",
        "RestoreStart=24-03-2026 14:05:00\nRestoreEnd=24-03-2026 14:05:50\n", filesDone,
        megabytesDone);
}

inline constexpr char const* WAITING = "waiting for a recovery to start";
inline constexpr char const* EARLY = "[Main]\nStatus=4000\n";
inline constexpr char const* IDLE = "[Main]\nStatus=1000\n";

/** The last line of a watch of `ended(200, 1000)`. */
inline constexpr char const* FINISHED =
    "finished: 200 of 200 files and 1000 of 1000 MB in 0:00:50, at 2026-03-24 14:05:50";

}
