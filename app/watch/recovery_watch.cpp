#include "app/watch/recovery_watch.h"

#include "app/watch/StopSignals.h"

#include <ctime>

namespace app {

namespace {

using Clock = std::chrono::steady_clock;

/** The engine replaces its file: a look may find none, or half of one. */
constexpr auto GONE_AFTER = std::chrono::seconds(1);
constexpr auto UNREADABLE_AFTER = std::chrono::seconds(4);

/** What a look has found. */
enum class Look {
    STATE, ///< A recovery, or none yet.
    END, ///< An engine that is idle again or whose file is gone.
    FAILURE ///< Nothing, which may be so for a moment.
};

/** The state of a watch after the looks so far. */
class Watch {
public:
    Look observe(Machine const& machine, Clock::time_point now)
    {
        bool const missing = !machine.recovery && machine.problems.empty();
        if (machine.recovery || (missing && !m_seen)) {
            m_failingSince.reset();
            m_problem.reset();
            if (machine.recovery)
                observe(*machine.recovery);
            return m_ended && machine.recovery->phase() == RecoveryPhase::IDLE ? Look::END
                                                                               : Look::STATE;
        }
        if (!m_failingSince)
            m_failingSince = now;
        // The library writes a cause to its trace only once: the first problem has it.
        if (!m_problem && !missing)
            m_problem = machine.problems.front();
        if (now - *m_failingSince < (missing ? GONE_AFTER : UNREADABLE_AFTER))
            return Look::FAILURE;
        m_ended = true;
        if (!missing)
            return Look::FAILURE;
        m_problem.reset();
        return Look::END;
    }

    bool hasEnded() const { return m_ended; }

    /** @return the recovery at its end; nothing where none was seen. */
    std::optional<Recovery> const& last() const { return m_last; }
    std::optional<Problem> const& problem() const { return m_problem; }
    bool hasFailed() const
    {
        return !m_problem && m_last && m_last->outcome() == RecoveryOutcome::FAILED;
    }

private:
    void observe(Recovery const& recovery)
    {
        // An idle engine may be about to start; any other state is a recovery.
        m_seen = m_seen || recovery.phase() != RecoveryPhase::IDLE;
        m_ended = m_seen && recovery.isOver(std::time(nullptr));
        // An engine that is idle again has no figures of the recovery any more.
        if (m_seen && recovery.phase() != RecoveryPhase::IDLE)
            m_last = recovery;
        else if (m_last && m_last->percent.value_or(0) >= 100 && !m_last->recoverEnd)
            m_last->recoverEnd = recovery.recoverEnd;
    }

    bool m_ended = false;
    bool m_seen = false;
    std::optional<Recovery> m_last;
    std::optional<Clock::time_point> m_failingSince;
    std::optional<Problem> m_problem;
};

WatchEnd watchWith(
    RecoveryView& view, std::function<Machine()> const& read, Clock::duration interval)
{
    StopSignals const signals;
    Watch watch;
    do {
        Machine const machine = read();
        Look const look = watch.observe(machine, Clock::now());
        int error = 0;
        if (look == Look::STATE)
            error = view.show(machine);
        else if (look == Look::END)
            error = view.showRest(machine);
        if (error != 0)
            return {false, false, std::nullopt, error};
        if (watch.hasEnded())
            return {false, watch.hasFailed(), watch.problem(),
                view.end(watch.last(), std::time(nullptr))};
    } while (!signals.arriveWithin(interval));
    return {true, false, std::nullopt, 0};
}

}

WatchEnd watchRecovery(
    std::function<Machine()> const& read, Clock::duration interval, ViewKind kind)
{
    auto const view = makeRecoveryView(kind);
    WatchEnd end = watchWith(*view, read, interval);
    int const error = view->close();
    if (end.outputError == 0)
        end.outputError = error;
    return end;
}

}
