// Tests that must fail: each leaks something, and the kit has to report it.

#include <fcntl.h>
#include <unistd.h>

#include <gtest/gtest.h>

TEST(LeftBehind, aDescriptor)
{
    ASSERT_GE(::open("/", O_RDONLY | O_CLOEXEC), 0);
}

TEST(LeftBehind, aChild)
{
    pid_t const child = ::fork();
    if (child == 0)
        ::_exit(0);
    ASSERT_GT(child, 0);
}
