#include "common/platform/trace.h"
#include "tests/common/platform/SinkRecorder.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <latch>
#include <thread>
#include <vector>

namespace {

constexpr int THREADS = 8;

/** Runs @p work in all threads at once. */
void together(std::function<void(int)> const& work)
{
    std::latch start(THREADS);
    std::vector<std::thread> threads;
    for (int i = 0; i < THREADS; ++i) {
        threads.emplace_back([&, i] {
            start.arrive_and_wait();
            work(i);
        });
    }
    for (std::thread& thread : threads)
        thread.join();
}

TEST(TraceThreads, mayEnterAScopeForTheFirstTimeAtOnce)
{
    constexpr int ROUNDS = 200;
    SinkRecorder const recorder(1);
    for (int round = 0; round < ROUNDS; ++round) {
        hashedfunction const* function = nullptr;
        together([&](int thread) {
            traceobject trace(function, "void shared()");
            trace.write(1, "thread %d", thread);
        });
        EXPECT_NE(function, nullptr);
    }
    ASSERT_EQ(recorder.lines().size(), static_cast<size_t>(ROUNDS * THREADS));
    int perThread[THREADS] = {};
    for (auto const& line : recorder.lines()) {
        ASSERT_EQ(line.scope, "void shared()");
        ++perThread[line.text.at(7) - L'0'];
    }
    for (int const count : perThread)
        EXPECT_EQ(count, ROUNDS);
}

void countingSink(void* context, unsigned, char const*, dovrel::string const&)
{
    ++*static_cast<std::atomic<int>*>(context);
}

TEST(TraceThreads, mayTraceWhileLevelAndSinkChange)
{
    SinkRecorder const recorder(0);
    std::atomic<int> first = 0;
    std::atomic<int> second = 0;
    std::atomic<int> other = 0;
    dovrel::trace::setDetailLevel(2);
    dovrel::trace::setSink(countingSink, &first);
    hashedfunction const* function = nullptr;
    together([&](int thread) {
        for (int round = 0; round < 300; ++round) {
            if (thread == 0)
                dovrel::trace::setDetailLevel(round % 2 ? 2 : 1);
            else if (thread == 1)
                dovrel::trace::setSink(countingSink, round % 2 ? &first : &second);
            traceobject trace(function, "void shared()");
            trace.write(1, "always");
            if (trace.admits(2))
                ++other;
            trace.write(2, "now and then");
        }
    });
    EXPECT_EQ(first + second, 300 * THREADS + other);
}

}
