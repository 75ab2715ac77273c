#include "tests/support/SystemCalls.h"

#include <unistd.h>

#include <utility>

namespace testkit {

SystemCalls calls;

void SystemCalls::onUsleep(std::function<void(useconds_t)> handler)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_onUsleep = std::move(handler);
}

std::vector<useconds_t> SystemCalls::usleeps() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_usleeps;
}

void SystemCalls::onTime(std::function<time_t()> handler)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_onTime = std::move(handler);
}

void SystemCalls::reset()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_onTime = nullptr;
    m_onUsleep = nullptr;
    m_usleeps.clear();
}

void SystemCalls::answerUsleep(useconds_t microseconds)
{
    std::function<void(useconds_t)> handler;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_usleeps.push_back(microseconds);
        handler = m_onUsleep;
    }
    if (handler)
        handler(microseconds);
}

time_t SystemCalls::answerTime()
{
    std::function<time_t()> handler;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        handler = m_onTime;
    }
    if (handler)
        return handler();
    timespec now{};
    ::clock_gettime(CLOCK_REALTIME, &now);
    return now.tv_sec;
}

}

extern "C" __attribute__((visibility("default"))) int usleep(useconds_t microseconds)
{
    testkit::calls.answerUsleep(microseconds);
    return 0;
}

extern "C" __attribute__((visibility("default"))) time_t time(time_t* out) noexcept
{
    time_t const now = testkit::calls.answerTime();
    if (out)
        *out = now;
    return now;
}
