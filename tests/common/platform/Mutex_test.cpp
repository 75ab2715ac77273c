#include "common/platform/Mutex.h"

#include <gtest/gtest.h>

#include <latch>
#include <mutex>
#include <thread>
#include <type_traits>
#include <vector>

namespace {

TEST(Mutex, admitsOneThreadAtATime)
{
    constexpr int THREADS = 4;
    constexpr int ROUNDS = 200;
    dovrel::Mutex mutex;
    std::latch start(THREADS);
    int count = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < THREADS; ++i) {
        threads.emplace_back([&] {
            start.arrive_and_wait();
            for (int round = 0; round < ROUNDS; ++round) {
                std::lock_guard const lock(mutex);
                int const before = count;
                std::this_thread::yield(); // Lets other threads run between read and write.
                count = before + 1;
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(count, THREADS * ROUNDS);
}

TEST(Mutex, tryLockReturnsWithoutWaiting)
{
    dovrel::Mutex mutex;
    bool gotHeld = true;
    bool gotFree = false;
    ASSERT_TRUE(mutex.try_lock());
    std::thread([&] { gotHeld = mutex.try_lock(); }).join();
    mutex.unlock();
    std::thread([&] {
        gotFree = mutex.try_lock();
        if (gotFree)
            mutex.unlock();
    }).join();
    EXPECT_FALSE(gotHeld);
    EXPECT_TRUE(gotFree);
}

TEST(Mutex, isUnlockedWhenTheGuardEnds)
{
    dovrel::Mutex mutex;
    {
        std::lock_guard const lock(mutex);
    }
    EXPECT_TRUE(mutex.try_lock());
    mutex.unlock();
}

TEST(Mutex, cannotBeCopiedOrAssigned)
{
    EXPECT_FALSE(std::is_copy_constructible_v<dovrel::Mutex>);
    EXPECT_FALSE(std::is_copy_assignable_v<dovrel::Mutex>);
    EXPECT_EQ(sizeof(dovrel::Mutex), sizeof(pthread_mutex_t));
}

}
