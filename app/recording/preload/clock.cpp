// The time of a recording, and the sleep between two samples of the kernel's counters.

#include "app/recording/preload/clock.h"
#include "app/recording/preload/answers.h"
#include "app/recording/preload/stage.h"

#include <atomic>
#include <chrono>
#include <cstring>
#include <ctime>
#include <unistd.h>

namespace preload {

namespace {

/** A sleep as long as this separates two samples of the kernel's counters. */
constexpr long LONG_SLEEP_NS = 250'000'000;

std::atomic<bool> later = false;

/** @return false where the sleep is no wait between two samples. */
bool isBetweenSamples(timespec const& length)
{
    if ((!isRecording() && !answersCalls())
        || (length.tv_sec == 0 && length.tv_nsec < LONG_SLEEP_NS))
        return false;
    later = true;
    return true;
}

bool endsAtOnce(timespec const& length)
{
    return isBetweenSamples(length) && answersCalls();
}

}

bool isLater()
{
    return later;
}

void noteSample()
{
    using Clock = std::chrono::steady_clock;
    constexpr auto BETWEEN_SAMPLES = std::chrono::milliseconds(900);
    static Clock::time_point const first = Clock::now();
    if (Clock::now() - first > BETWEEN_SAMPLES)
        later = true;
}

}

using preload::answers;
using preload::answersCalls;
using preload::real;

ANSWERED time_t time(time_t* out) noexcept
{
    static auto* const next = real<time_t(time_t*)>("time");
    bool const isAnswered = answersCalls() && answers().time;
    time_t const now = isAnswered ? static_cast<time_t>(*answers().time) : next(nullptr);
    if (out)
        *out = now;
    return now;
}

ANSWERED int clock_gettime(clockid_t clock, timespec* out) noexcept
{
    static auto* const next = real<int(clockid_t, timespec*)>("clock_gettime");
    if (clock != CLOCK_REALTIME || !answersCalls() || !answers().time)
        return next(clock, out);
    *out = {static_cast<time_t>(*answers().time), 0};
    return 0;
}

ANSWERED int nanosleep(timespec const* length, timespec* left)
{
    static auto* const next = real<int(timespec const*, timespec*)>("nanosleep");
    return preload::endsAtOnce(*length) ? 0 : next(length, left);
}

ANSWERED int clock_nanosleep(clockid_t clock, int flags, timespec const* end, timespec* left)
{
    static auto* const next =
        real<int(clockid_t, int, timespec const*, timespec*)>("clock_nanosleep");
    timespec length = *end;
    if (flags & TIMER_ABSTIME) {
        timespec now{};
        clock_gettime(clock, &now);
        constexpr long SECOND_NS = 1'000'000'000;
        length = {end->tv_sec - now.tv_sec, end->tv_nsec - now.tv_nsec};
        if (length.tv_nsec < 0)
            length = {length.tv_sec - 1, length.tv_nsec + SECOND_NS};
    }
    return length.tv_sec >= 0 && preload::endsAtOnce(length) ? 0 : next(clock, flags, end, left);
}

ANSWERED int usleep(useconds_t length)
{
    constexpr useconds_t SECOND = 1'000'000;
    constexpr long NANOSECONDS = 1000;
    timespec const time = {
        static_cast<time_t>(length / SECOND), static_cast<long>(length % SECOND) * NANOSECONDS};
    return nanosleep(&time, nullptr);
}
