#include "tests/common/processstream/HostThread.h"

#include <gtest/gtest.h>

#include <pthread.h>
#include <sanitizer/asan_interface.h>

namespace {

/** Marks the frames below as unused for the address sanitizer: a cancelled thread leaves them
 * without a return. */
struct CleanStack {
    CleanStack() = default;
    CleanStack(CleanStack const&) = delete;
    CleanStack& operator=(CleanStack const&) = delete;
    ~CleanStack()
    {
        constexpr size_t DEPTH = 32 * 1024;
        ASAN_UNPOISON_MEMORY_REGION(reinterpret_cast<char const*>(this) - DEPTH, DEPTH);
    }
};

void* call(void* work)
{
    CleanStack const cleanAtTheEnd;
    (*static_cast<std::function<void()> const*>(work))();
    return nullptr;
}

/** @return the result of the thread, pthread_join(3). */
void* resultOfThread(std::function<void()> const& work, pthread_attr_t const* attributes)
{
    pthread_t thread{};
    void* result = nullptr;
    void* const argument = const_cast<std::function<void()>*>(&work);
    if (::pthread_create(&thread, attributes, call, argument) != 0)
        ADD_FAILURE() << "pthread_create failed";
    else
        EXPECT_EQ(::pthread_join(thread, &result), 0);
    return result;
}

}

void runOnSmallStack(std::function<void()> const& work)
{
    pthread_attr_t small;
    ::pthread_attr_init(&small);
    ::pthread_attr_setstacksize(&small, 64 * 1024);
    EXPECT_EQ(resultOfThread(work, &small), nullptr);
    ::pthread_attr_destroy(&small);
}

void runWithPendingCancellation(std::function<void()> const& work)
{
    auto const cancelFirst = [&] {
        ::pthread_cancel(::pthread_self());
        work();
    };
    EXPECT_EQ(resultOfThread(cancelFirst, nullptr), PTHREAD_CANCELED);
}
