#include "app/recovery_watch.h"

#include "app/RecoveryView.h"
#include "app/Session.h"
#include "app/StopSignals.h"
#include "app/standard_streams.h"

#include <cstring>
#include <ctime>
#include <optional>
#include <unistd.h>

namespace app {

namespace {

using Clock = std::chrono::steady_clock;

/** How long looks may find nothing while the engine writes its file anew. */
constexpr auto GONE_AFTER = std::chrono::seconds(1);
constexpr auto UNREADABLE_AFTER = std::chrono::seconds(4);

enum class Course { GOES_ON, OVER, UNREADABLE };

ViewKind wantedView(Settings const& settings)
{
    if (settings.json)
        return ViewKind::JSON;
    // A trace on the same terminal would tear the bar.
    bool const drawn = isatty(STDOUT_FILENO) == 1 && settings.traceLevel == 0;
    return drawn ? ViewKind::BAR : ViewKind::LINES;
}

/** What the looks so far come to. */
class Watch {
public:
    /** @return whether the answer tells something to show. */
    bool isNews(RecoveryAnswer const& answer, Clock::time_point now)
    {
        m_course = Course::GOES_ON;
        if (answer.recovery) {
            m_inVainSince.reset();
            m_cause.clear();
            // An idle engine may be about to start; any other state is a recovery.
            m_seen = m_seen || answer.recovery->phase() != RecoveryPhase::IDLE;
            if (m_seen && answer.recovery->isOver(std::time(nullptr)))
                m_course = Course::OVER;
            return true;
        }
        if (answer.missing && !m_seen) {
            m_inVainSince.reset();
            return true;
        }
        if (!m_inVainSince)
            m_inVainSince = now;
        // The library names the same cause only once.
        if (!answer.cause.empty())
            m_cause = answer.cause;
        if (now - *m_inVainSince < (answer.missing ? GONE_AFTER : UNREADABLE_AFTER))
            return false;
        m_course = answer.missing ? Course::OVER : Course::UNREADABLE;
        return answer.missing;
    }

    Course course() const { return m_course; }
    std::string const& cause() const { return m_cause; }

private:
    Course m_course = Course::GOES_ON;
    bool m_seen = false;
    std::optional<Clock::time_point> m_inVainSince; // The first look that told nothing.
    std::string m_cause;
};

ExitStatus followWith(RecoveryView& view, Session& session, Clock::duration interval, int& error)
{
    StopSignals const signals;
    Watch watch;
    do {
        RecoveryAnswer answer;
        if (!pollRecovery(session, answer))
            return EXIT_STATUS_QUERY_FAILED;
        if (watch.isNews(answer, Clock::now()))
            error = view.show(answer.recovery);
        if (error != 0)
            return EXIT_STATUS_OUTPUT;
        if (watch.course() == Course::GOES_ON)
            continue;
        error = view.close();
        if (watch.course() == Course::OVER)
            return EXIT_STATUS_OK;
        complain("cannot read the recovery" + (watch.cause().empty() ? "" : ": " + watch.cause()));
        return EXIT_STATUS_QUERY_FAILED;
    } while (!signals.arriveWithin(interval));
    error = view.close();
    return EXIT_STATUS_INTERRUPTED;
}

}

ExitStatus watchRecovery(Session& session, std::chrono::steady_clock::duration interval)
{
    int error = 0;
    auto const view = makeRecoveryView(wantedView(session.settings()));
    ExitStatus const status = followWith(*view, session, interval, error);
    if (error == 0)
        error = view->close();
    if (error == 0)
        return status;
    complain(std::string("cannot write to standard output: ") + std::strerror(error));
    return EXIT_STATUS_OUTPUT;
}

}
