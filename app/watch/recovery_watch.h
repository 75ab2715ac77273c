#pragma once

#include "app/model/Machine.h"
#include "app/watch/RecoveryView.h"

#include <chrono>
#include <functional>
#include <optional>

namespace app {

/** The end of a watch. */
struct WatchEnd {
    bool interrupted = false; ///< By Ctrl-C, SIGTERM or SIGHUP.
    bool failed = false; ///< The recovery has ended and not all is restored.
    std::optional<Problem> problem; ///< The recovery could not be read for some seconds.
    int outputError = 0; ///< The errno of a failed write to standard output.
};

/**
 * Shows a recovery on standard output until it is over.
 *
 * Waits for one where none runs yet. A recovery that is over at the first look is shown. A later
 * one has ended when `Recovery::isOver` says so, or when its status file is gone.
 *
 * @param read returns the machine with its recovery; called once every @p interval.
 */
WatchEnd watchRecovery(std::function<Machine()> const& read,
    std::chrono::steady_clock::duration interval, ViewKind kind);

}
