#pragma once

#include "app/exit_status.h"

#include <chrono>

namespace app {

class Session;

/**
 * Follows a recovery on standard output until it is over, or until Ctrl-C.
 *
 * Waits for one where none runs yet. A recovery that is found over at the first look is shown. One
 * that was seen has ended when `Recovery::isOver` says so, or when its status is gone.
 *
 * @return `EXIT_STATUS_OK`, `EXIT_STATUS_INTERRUPTED`, or with the user told
 * `EXIT_STATUS_QUERY_FAILED` or `EXIT_STATUS_OUTPUT`.
 */
ExitStatus watchRecovery(Session& session, std::chrono::steady_clock::duration interval);

}
