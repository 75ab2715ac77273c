#pragma once

#include "app/recovery_state.h"

#include <memory>
#include <optional>
#include <string>

namespace app {

/** Standard output while a recovery is followed. Every function returns 0, or the errno of a write
 * that failed. */
class RecoveryView {
public:
    virtual ~RecoveryView() = default;

    /** @param recovery null where none has been started. */
    [[nodiscard]] virtual int show(std::optional<Recovery> const& recovery) = 0;

    /** Leaves the cursor at the beginning of a line. */
    [[nodiscard]] virtual int close() = 0;
};

enum class ViewKind {
    BAR, // One line of a terminal, drawn over itself.
    LINES, // A line a change.
    JSON // An object a line and change.
};

std::unique_ptr<RecoveryView> makeRecoveryView(ViewKind kind);

}
