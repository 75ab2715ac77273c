#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

namespace app {

class Session;

/** What the recovery engine is about. */
enum class RecoveryPhase { IDLE, EARLY, RESTORING, FINAL_SYNC, LATER };

/** What is known of a recovery at one moment. Times are seconds since 1970, sizes MB of 1,048,576
 * bytes. */
struct Recovery {
    int32_t operation = 0;
    std::optional<unsigned> percent;
    std::optional<uint32_t> filesDone;
    std::optional<uint32_t> filesTotal;
    std::optional<uint32_t> megabytesDone;
    std::optional<uint32_t> megabytesTotal;
    std::optional<uint32_t> megabytesPerSecond; // The average since the restore has started.
    std::optional<int64_t> recoverStart;
    std::optional<int64_t> recoverEnd;
    std::optional<int64_t> restoreStart;
    std::optional<int64_t> restoreEnd; // Unknown while the restore runs.

    RecoveryPhase phase() const;

    /**
     * @return true where nothing more is to come at @p now: idle, recovered, or restored as a whole
     * some seconds ago without a later operation, for an engine that writes no end of the recovery.
     */
    bool isOver(int64_t now) const;

    /** @return what the restore still takes if it goes on as it went so far. */
    std::optional<std::chrono::seconds> timeLeft(int64_t now) const;
};

/** @return "restoring", or "early operation 4000". */
std::string phaseText(Recovery const& recovery);

/** What one question brought; neither a recovery nor @ref missing where the engine's file cannot be
 * read, or is half written. */
struct RecoveryAnswer {
    std::optional<Recovery> recovery;
    bool missing = false; // No recovery has been started.
    std::string cause; // Why there is none, in the library's words; may be empty.
};

/** Asks once. @return false, with the user told, where the answer is neither. */
bool readRecovery(Session& session, RecoveryAnswer& answer);

/** Asks as one who will ask again: the user is told only of a library that throws.
 * @return false in that case. */
bool pollRecovery(Session& session, RecoveryAnswer& answer);

}
