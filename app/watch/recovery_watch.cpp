#include "app/watch/recovery_watch.h"

#include "app/watch/StopSignals.h"

#include <ctime>

namespace app {

namespace {

using Clock = std::chrono::steady_clock;

/** The engine replaces its file: a look may find none, or half of one. */
constexpr auto GONE_AFTER = std::chrono::seconds(1);
constexpr auto UNREADABLE_AFTER = std::chrono::seconds(4);

/** The state of a watch after the looks so far. */
class Watch {
public:
    /** @return whether there is something to show. */
    bool observe(Machine const& machine, Clock::time_point now)
    {
        bool const missing = !machine.recovery && machine.problems.empty();
        if (machine.recovery || (missing && !m_seen)) {
            m_failingSince.reset();
            m_problem.reset();
            if (machine.recovery)
                observe(*machine.recovery);
            return true;
        }
        if (!m_failingSince)
            m_failingSince = now;
        // The library writes a cause to its trace only once: the first problem has it.
        if (!m_problem && !missing)
            m_problem = machine.problems.front();
        if (now - *m_failingSince < (missing ? GONE_AFTER : UNREADABLE_AFTER))
            return false;
        m_ended = true;
        m_gone = missing;
        if (missing)
            m_problem.reset();
        return false;
    }

    bool hasEnded() const { return m_ended; }

    /** @return whether it has ended because the status file is gone. */
    bool isGone() const { return m_gone; }

    /** @return the recovery at its end; nothing where none was seen. */
    std::optional<Recovery> const& last() const { return m_last; }
    std::optional<Problem> const& problem() const { return m_problem; }

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
    bool m_gone = false;
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
        int error = watch.observe(machine, Clock::now()) ? view.show(machine.recovery) : 0;
        if (error == 0 && watch.isGone())
            error = view.showGone();
        if (error != 0)
            return {false, std::nullopt, error};
        if (watch.hasEnded())
            return {false, watch.problem(), view.end(watch.last(), std::time(nullptr))};
    } while (!signals.arriveWithin(interval));
    return {true, std::nullopt, 0};
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
