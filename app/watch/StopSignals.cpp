#include "app/watch/StopSignals.h"

#include <algorithm>
#include <cerrno>
#include <ctime>

namespace app {

StopSignals::StopSignals() noexcept
{
    sigemptyset(&m_signals);
    for (int const signal : {SIGINT, SIGTERM, SIGHUP}) {
        // A signal that is blocked is kept even where it would be ignored.
        struct sigaction action { };
        if (sigaction(signal, nullptr, &action) == 0 && action.sa_handler != SIG_IGN)
            sigaddset(&m_signals, signal);
    }
    pthread_sigmask(SIG_BLOCK, &m_signals, &m_formerMask);
}

StopSignals::~StopSignals()
{
    pthread_sigmask(SIG_SETMASK, &m_formerMask, nullptr);
}

bool StopSignals::haveCome() const noexcept
{
    sigset_t come;
    sigpending(&come);
    for (int const signal : {SIGINT, SIGTERM, SIGHUP})
        if (sigismember(&m_signals, signal) == 1 && sigismember(&come, signal) == 1)
            return true;
    return false;
}

bool StopSignals::arriveWithin(std::chrono::steady_clock::duration time) const noexcept
{
    using std::chrono::steady_clock;
    auto const deadline = steady_clock::now() + time;
    for (;;) {
        auto const left = std::max(deadline - steady_clock::now(), steady_clock::duration::zero());
        auto const seconds = std::chrono::duration_cast<std::chrono::seconds>(left);
        std::chrono::nanoseconds const rest = left - seconds;
        timespec const wait = {static_cast<std::time_t>(seconds.count()),
            static_cast<decltype(timespec::tv_nsec)>(rest.count())};
        if (sigtimedwait(&m_signals, nullptr, &wait) > 0)
            return true;
        // Stopped and continued, for example.
        if (errno != EINTR)
            return false;
    }
}

}
