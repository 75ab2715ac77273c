#pragma once

#include "common/basic/noncopyable.h"

#include <csignal>
#include <sys/time.h>

/** While it lives, sends the process a SIGALRM at each interval. The handler does not restart
 * system calls. */
class RepeatedAlarm : dovrel::noncopyable_::noncopyable {
public:
    explicit RepeatedAlarm(int microseconds)
    {
        struct sigaction action { };
        action.sa_handler = [](int) { delivered = delivered + 1; };
        ::sigaction(SIGALRM, &action, &m_former);
        setInterval(microseconds);
    }

    ~RepeatedAlarm()
    {
        setInterval(0);
        ::sigaction(SIGALRM, &m_former, nullptr);
    }

    static inline volatile std::sig_atomic_t delivered = 0;

private:
    static void setInterval(int microseconds)
    {
        itimerval const interval{{0, microseconds}, {0, microseconds}};
        ::setitimer(ITIMER_REAL, &interval, nullptr);
    }

    struct sigaction m_former { };
};
