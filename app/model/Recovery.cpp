#include "app/model/Recovery.h"

namespace app {

RecoveryPhase Recovery::phase() const
{
    if (operation == OPERATION_IDLE)
        return RecoveryPhase::IDLE;
    if (operation < OPERATION_RESTORE)
        return RecoveryPhase::EARLY;
    if (operation == OPERATION_RESTORE)
        return RecoveryPhase::RESTORING;
    return operation == OPERATION_FINAL_SYNC ? RecoveryPhase::FINAL_SYNC : RecoveryPhase::LATER;
}

bool Recovery::isOver(int64_t now) const
{
    if (phase() == RecoveryPhase::IDLE)
        return true;
    // An end before the start belongs to an earlier recovery.
    if (recoverEnd && (!recoverStart || *recoverEnd >= *recoverStart))
        return true;
    bool const restored = restoreEnd && (!restoreStart || *restoreEnd >= *restoreStart)
        && percent.value_or(100) >= 100;
    if (!restored || phase() == RecoveryPhase::LATER)
        return false;
    // A later operation follows within seconds, or not at all. An end in the future was written by
    // another clock.
    constexpr int64_t SETTLED_SECONDS = 3;
    return now < *restoreEnd || now - *restoreEnd >= SETTLED_SECONDS;
}

std::optional<std::chrono::seconds> Recovery::timeLeft(int64_t now) const
{
    if (restoreEnd || !restoreStart || now <= *restoreStart)
        return std::nullopt;
    int64_t const elapsed = now - *restoreStart;
    if (megabytesDone && megabytesTotal && *megabytesDone > 0 && *megabytesTotal >= *megabytesDone)
        return std::chrono::seconds(
            elapsed * (int64_t{*megabytesTotal} - *megabytesDone) / *megabytesDone);
    if (percent && *percent > 0 && *percent <= 100)
        return std::chrono::seconds(elapsed * (100 - *percent) / *percent);
    return std::nullopt;
}

}
