#pragma once

#include <chrono>
#include <cstdint>
#include <optional>

namespace app {

/** The stages of the recovery engine's work. */
enum class RecoveryPhase { IDLE, EARLY, RESTORING, FINAL_SYNC, LATER };

/** The result of a recovery that is over. */
enum class RecoveryOutcome {
    FINISHED,
    FAILED, ///< Its end is written, and less than all is restored.
    UNWRITTEN ///< No end or no percentage is written: the status file may be gone.
};

/** The engine's numbers of the operations that stand for a phase. */
enum RecoveryOperation : int32_t {
    OPERATION_IDLE = 1000,
    OPERATION_RESTORE = 5000,
    OPERATION_FINAL_SYNC = 5500
};

/** A recovery at one moment. Times are seconds since 1970, sizes MB of 1,048,576 bytes. */
struct Recovery {
    int32_t operation = 0;
    std::optional<unsigned> percent;
    std::optional<uint32_t> filesDone;
    std::optional<uint32_t> filesTotal;
    std::optional<uint32_t> megabytesDone;
    std::optional<uint32_t> megabytesTotal;
    std::optional<uint32_t> megabytesPerSecond; ///< The average since the start of the restore.
    std::optional<int64_t> recoverStart;
    std::optional<int64_t> recoverEnd;
    std::optional<int64_t> restoreStart;
    std::optional<int64_t> restoreEnd; ///< Unknown while the restore runs.

    bool operator==(Recovery const& other) const = default;

    RecoveryPhase phase() const;

    /**
     * Whether the recovery has ended at @p now.
     *
     * True where the engine is idle, where the recovery's end is written, and some seconds after
     * the end of a whole restore that no later operation has followed: some engines write no end of
     * the recovery.
     */
    bool isOver(int64_t now) const;

    /** @return whether the recovery is over and has figures, which an idle engine has not. */
    bool hasEnded(int64_t now) const { return phase() != RecoveryPhase::IDLE && isOver(now); }

    /** @return the written end of the recovery, else that of its restore; nothing where none is
     * written. */
    std::optional<int64_t> end() const;

    /** @return the result; of a recovery that is over. */
    RecoveryOutcome outcome() const;

    /** @return the time that the restore still takes at its average rate; nothing where unknown. */
    std::optional<std::chrono::seconds> timeLeft(int64_t now) const;
};

}
