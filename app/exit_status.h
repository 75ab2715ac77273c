#pragma once

namespace app {

/** The program's exit statuses; help and README.md list them. Those from 64 on are of sysexits(3).
 */
enum ExitStatus : int {
    EXIT_STATUS_OK = 0,
    EXIT_STATUS_QUERY_FAILED = 1,
    EXIT_STATUS_NO_RECOVERY = 2,
    EXIT_STATUS_RECOVERY_FAILED = 3,
    EXIT_STATUS_DIFFERENT = 4,
    EXIT_STATUS_USAGE = 64,
    EXIT_STATUS_ARCHIVE = 65,
    EXIT_STATUS_NO_NAMESPACE = 69,
    EXIT_STATUS_INTERNAL = 70,
    EXIT_STATUS_OUTPUT = 74,
    EXIT_STATUS_INTERRUPTED = 130 ///< As a shell reports Ctrl-C.
};

}
