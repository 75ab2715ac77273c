#include "tests/support/DescriptorGuard.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <csignal>

namespace testkit {

std::vector<int> openDescriptors()
{
    rlimit limit{};
    ::getrlimit(RLIMIT_NOFILE, &limit);
    // The kernel returns the lowest free number, so a leak shows below this bound.
    int const end = static_cast<int>(std::min<rlim_t>(limit.rlim_cur, 16384));
    std::vector<int> open;
    for (int descriptor = 0; descriptor < end; ++descriptor)
        if (::fcntl(descriptor, F_GETFD) >= 0)
            open.push_back(descriptor);
    return open;
}

DescriptorGuard::DescriptorGuard() : m_before(openDescriptors())
{
}

DescriptorGuard::~DescriptorGuard()
{
    EXPECT_EQ(openDescriptors(), m_before) << "the open descriptors are not those of before";
}

void reapKilledChildren()
{
    constexpr int LOOKS = 1000;
    constexpr int MILLISECONDS_BETWEEN = 5;
    for (int look = 0; look < LOOKS; ++look) {
        siginfo_t child{};
        if (::waitid(P_ALL, 0, &child, WEXITED | WNOHANG | WNOWAIT) != 0)
            return;
        if (child.si_pid == 0)
            ::poll(nullptr, 0, MILLISECONDS_BETWEEN);
        else if (child.si_code == CLD_KILLED && child.si_status == SIGKILL)
            ::waitpid(child.si_pid, nullptr, 0);
        else
            return;
    }
}

void expectNoChildren()
{
    siginfo_t child{};
    int const result = ::waitid(P_ALL, 0, &child, WEXITED | WNOHANG | WNOWAIT);
    EXPECT_TRUE(result != 0 && errno == ECHILD) << "a child was left behind";
}

}
