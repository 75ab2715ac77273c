#include "tests/support/SystemCalls.h"

#include <dlfcn.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/wait.h>

#include <cstdlib>
#include <utility>

namespace testkit {

namespace {

/** This thread's last reading of CLOCK_MONOTONIC. */
thread_local timespec lastReading{};

int64_t toMicroseconds(timespec const& time)
{
    return int64_t{time.tv_sec} * 1'000'000 + time.tv_nsec / 1000;
}

/** @return the C library's function, or a sanitizer's wrapper of it. */
template <class Function> Function next(char const* name)
{
    auto const function = reinterpret_cast<Function>(::dlsym(RTLD_NEXT, name));
    if (!function)
        std::abort();
    return function;
}

/** @return whether a pseudo-terminal of this process has something to read. */
bool hasToolWritten()
{
    constexpr int MOST_DESCRIPTORS = 64; // Of a test.
    for (int file = 0; file < MOST_DESCRIPTORS; ++file) {
        int number = 0;
        pollfd input = {file, POLLIN, 0};
        if (::ioctl(file, TIOCGPTN, &number) == 0 && ::poll(&input, 1, 0) > 0
            && (input.revents & POLLIN) != 0)
            return true;
    }
    return false;
}

}

bool isChildRunning()
{
    siginfo_t child{};
    return ::waitid(P_ALL, 0, &child, WEXITED | WNOHANG | WNOWAIT) == 0 && child.si_pid == 0;
}

SystemCalls calls;

void SystemCalls::onSleep(std::function<void(int64_t)> handler)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_onSleep = std::move(handler);
}

void SystemCalls::sleepForReal()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_sleepsAreReal = true;
}

void SystemCalls::waitForTools()
{
    m_waitsForTools = true;
}

std::vector<int64_t> SystemCalls::sleeps() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_sleeps;
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
    m_onSleep = nullptr;
    m_sleeps.clear();
    m_sleepsAreReal = false;
    m_waitsForTools = false;
}

bool SystemCalls::endSleep(timespec const& end)
{
    int64_t const microseconds = toMicroseconds(end) - toMicroseconds(lastReading);
    std::function<void(int64_t)> handler;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_sleepsAreReal)
            return false;
        m_sleeps.push_back(microseconds);
        handler = m_onSleep;
    }
    if (handler)
        handler(microseconds);
    return true;
}

void SystemCalls::recordReading(timespec const& now)
{
    lastReading = now;
}

time_t SystemCalls::currentTime()
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

// Weak: a test program may define its own.
extern "C" __attribute__((visibility("default"), weak)) int clock_nanosleep(
    clockid_t clock, int flags, timespec const* time, timespec* left)
{
    if (clock == CLOCK_MONOTONIC && (flags & TIMER_ABSTIME) != 0 && testkit::calls.endSleep(*time))
        return 0;
    using Sleep = int (*)(clockid_t, int, timespec const*, timespec*);
    static auto const real = testkit::next<Sleep>("clock_nanosleep");
    int result = real(clock, flags, time, left);
    constexpr int MOST_SLEEPS = 20;
    bool const mayBeLonger = testkit::calls.waitsForTools() && (flags & TIMER_ABSTIME) == 0;
    for (int slept = 1; mayBeLonger && slept < MOST_SLEEPS && result == 0
         && testkit::isChildRunning() && !testkit::hasToolWritten();
         ++slept)
        result = real(clock, flags, time, left);
    return result;
}

// Weak for the same reason.
extern "C" __attribute__((visibility("default"), weak)) int clock_gettime(
    clockid_t clock, timespec* out) noexcept
{
    static auto const real = testkit::next<int (*)(clockid_t, timespec*)>("clock_gettime");
    int const result = real(clock, out);
    if (result == 0 && clock == CLOCK_MONOTONIC)
        testkit::SystemCalls::recordReading(*out);
    return result;
}

extern "C" __attribute__((visibility("default"))) time_t time(time_t* out) noexcept
{
    time_t const now = testkit::calls.currentTime();
    if (out)
        *out = now;
    return now;
}
