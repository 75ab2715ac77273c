#include "common/platform/Thread.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <ctime>

namespace dovrel {

void Thread::Sleep(unsigned milliseconds)
{
    using namespace std::chrono;
    auto const end = steady_clock::now() + std::chrono::milliseconds(milliseconds);
    nanoseconds left = std::chrono::milliseconds(milliseconds);
    int result = 0;
    do {
        auto const whole = duration_cast<seconds>(left);
        timespec const length{
            static_cast<time_t>(whole.count()), static_cast<long>((left - whole).count())};
        result = clock_nanosleep(CLOCK_MONOTONIC, 0, &length, nullptr);
        // The remaining time that the kernel reports is slightly too long. Frequent signals would
        // add up these errors and make the sleep many times as long.
        left = std::max<nanoseconds>(end - steady_clock::now(), nanoseconds::zero());
    } while (result == EINTR && left > nanoseconds::zero());
}

}
