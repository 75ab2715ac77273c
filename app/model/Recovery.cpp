#include "app/model/Recovery.h"

namespace app {

namespace {

/** An end before the start belongs to an earlier recovery. */
bool isEndOf(std::optional<int64_t> end, std::optional<int64_t> start)
{
    return end && (!start || *end >= *start);
}

}

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
    if (isEndOf(recoverEnd, recoverStart))
        return true;
    bool const restored = isEndOf(restoreEnd, restoreStart) && percent.value_or(100) >= 100;
    if (!restored || phase() == RecoveryPhase::LATER)
        return false;
    // A later operation follows within seconds, or not at all. An end in the future was written by
    // another clock.
    constexpr int64_t SETTLED_SECONDS = 3;
    return now < *restoreEnd || now - *restoreEnd >= SETTLED_SECONDS;
}

std::optional<int64_t> Recovery::end() const
{
    if (isEndOf(recoverEnd, recoverStart))
        return recoverEnd;
    return isEndOf(restoreEnd, restoreStart) ? restoreEnd : std::nullopt;
}

RecoveryOutcome Recovery::outcome() const
{
    if (!percent || !end())
        return RecoveryOutcome::UNWRITTEN;
    return *percent < 100 ? RecoveryOutcome::FAILED : RecoveryOutcome::FINISHED;
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
