#include "common/platform/Thread.h"

#include <cerrno>
#include <ctime>

namespace dovrel {

void Thread::Sleep(unsigned milliseconds)
{
    timespec left{};
    left.tv_sec = static_cast<time_t>(milliseconds / 1000);
    left.tv_nsec = static_cast<long>(milliseconds % 1000) * 1'000'000L;
    while (clock_nanosleep(CLOCK_MONOTONIC, 0, &left, &left) == EINTR) { }
}

}
