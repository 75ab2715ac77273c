#pragma once

#include <chrono>
#include <csignal>

namespace app {

/**
 * Keeps Ctrl-C and its like from ending the process while it exists, so that what is on the
 * terminal can be brought to an end first.
 *
 * Nothing is interrupted: a signal waits until it is asked for. One that the process was started to
 * ignore, as nohup(1) has it, stays ignored. Only for a process with one thread.
 */
class StopSignals {
public:
    StopSignals() noexcept;
    StopSignals(StopSignals const&) = delete;
    StopSignals& operator=(StopSignals const&) = delete;
    ~StopSignals();

    /** @return true as soon as one has come, false when the time is over. */
    bool arriveWithin(std::chrono::steady_clock::duration time) const noexcept;

    /** @return whether one has come. It takes effect when the object is gone. */
    bool haveCome() const noexcept;

private:
    sigset_t m_signals;
    sigset_t m_formerMask;
};

}
