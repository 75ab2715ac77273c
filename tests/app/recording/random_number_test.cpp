#include "app/recording/redaction/random_number.h"
#include "tests/app/SyscallFilter.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <set>
#include <sys/syscall.h>
#include <system_error>
#include <unistd.h>

namespace {

constexpr app_test::SyscallRule NO_GETRANDOM = {SYS_getrandom, SECCOMP_RET_ERRNO | ENOSYS};

}

/** Kernels before 3.17 have no such call, and filters of containers may forbid it. */
TEST(RandomNumber, comesFromTheDeviceWhereThereIsNoCall)
{
    EXPECT_EXIT(
        {
            app_test::filterSyscalls({NO_GETRANDOM});
            std::set<uint32_t> numbers;
            for (int i = 0; i < 100; ++i)
                numbers.insert(app::randomBelow(1'000'000));
            _exit(numbers.size() > 90 ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}

/** A number that everybody can guess would give the redacted values away. */
TEST(RandomNumber, isAnErrorWhereThereIsNoSource)
{
    EXPECT_EXIT(
        {
            app_test::filterSyscalls({NO_GETRANDOM, {SYS_openat, SECCOMP_RET_ERRNO | EACCES}});
            try {
                (void)app::randomBelow(10);
            } catch (std::system_error const&) {
                _exit(0);
            }
            _exit(1);
        },
        testing::ExitedWithCode(0), "");
}

TEST(RandomNumber, isBelowItsLimit)
{
    for (uint32_t const limit : {1U, 2U, 10U, 3'000'000'000U})
        for (int i = 0; i < 1000; ++i)
            EXPECT_LT(app::randomBelow(limit), limit);
}
