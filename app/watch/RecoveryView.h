#pragma once

#include "app/model/Machine.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace app {

/** The view of a recovery on standard output. Every function returns 0, or the errno of a failed
 * write. */
class RecoveryView {
public:
    virtual ~RecoveryView() = default;

    /** @param machine has no recovery where none has been started. */
    [[nodiscard]] virtual int show(Machine const& machine) = 0;

    /** Shows, for scripts, what is left after a recovery. @param machine has that of an idle
     * engine, or none where the status file is gone. */
    [[nodiscard]] virtual int showRest(Machine const& /*machine*/) { return 0; }

    /** Shows how the recovery ended, for people. @param recovery its last state; nothing where none
     * was seen. */
    [[nodiscard]] virtual int end(std::optional<Recovery> const& recovery, int64_t now) = 0;

    /** Leaves the cursor at the beginning of a line. */
    [[nodiscard]] virtual int close() = 0;
};

enum class ViewKind {
    BAR, ///< One line of a terminal, drawn over itself.
    LINES, ///< One line for each change.
    JSON ///< One object on one line for each change.
};

std::unique_ptr<RecoveryView> makeRecoveryView(ViewKind kind);

}
