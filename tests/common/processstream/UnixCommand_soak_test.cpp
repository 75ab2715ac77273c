#include "common/basic/processstream/src/UnixCommand.h"
#include "tests/common/processstream/Child.h"
#include "tests/common/processstream/ProcessCalls.h"
#include "tests/common/processstream/StartStep.h"
#include "tests/support/DescriptorGuard.h"
#include "tests/support/allocation_counter.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <fcntl.h>
#include <malloc.h>
#include <string>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <vector>

using dovrel::UnixCommand;

namespace {

/** 200, or what the environment variable DOVREL_SOAK_ROUNDS says. */
int soakRounds()
{
    char const* const rounds = std::getenv("DOVREL_SOAK_ROUNDS");
    return rounds ? std::stoi(rounds) : 200;
}

/** Threads of a host that open and close files, and find out where one of theirs was touched. */
class BusyThreads {
public:
    BusyThreads()
    {
        for (int i = 0; i < THREADS; ++i)
            m_threads.emplace_back([this, i] { work("/tmp/file" + std::to_string(i)); });
    }
    BusyThreads(BusyThreads const&) = delete;
    BusyThreads& operator=(BusyThreads const&) = delete;
    ~BusyThreads() { stop(); }

    /** @return the files that were not their own any more. */
    int stop()
    {
        m_stopped = true;
        for (std::thread& thread : m_threads)
            thread.join();
        m_threads.clear();
        return m_lost;
    }

    int opened() const { return m_opened; }

private:
    static constexpr int THREADS = 2;

    void work(std::string const& path)
    {
        while (!m_stopped) {
            int const file = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
            struct stat opened { };
            struct stat still { };
            bool own = ::fstat(file, &opened) == 0;
            // A child that wants memory would wait for ever for the lock that is held here.
            std::string const ballast(5000, 'x');
            std::this_thread::yield();
            own = own && ::fstat(file, &still) == 0 && still.st_ino == opened.st_ino;
            own = ::write(file, ballast.data(), 1) == 1 && own;
            own = ::close(file) == 0 && own;
            ++m_opened;
            m_lost += own ? 0 : 1;
        }
    }

    std::atomic<bool> m_stopped = false;
    std::atomic<int> m_lost = 0;
    std::atomic<int> m_opened = 0;
    std::vector<std::thread> m_threads;
};

/** Starts and ends one child. @return whether all was as it should be. */
bool isWholeRound(int round)
{
    std::string const status = std::to_string(round % 200);
    UnixCommand command("echo " + status + "; exit " + status);
    return child::everythingFrom(command.stdInOut()) == status + "\n"
        && child::statusOf(command) == round % 200;
}

int failedRounds(int rounds)
{
    int failed = 0;
    for (int round = 0; round < rounds; ++round) {
        try {
            failed += isWholeRound(round) ? 0 : 1;
        } catch (dovrel::ProcessException const& exception) {
            ADD_FAILURE() << "round " << round << ": " << exception.what();
            ++failed;
        }
    }
    return failed;
}

/** Expects at its end descriptors, children and memory as they were at its beginning. */
class NothingLeft {
public:
    NothingLeft() = default;
    NothingLeft(NothingLeft const&) = delete;
    NothingLeft& operator=(NothingLeft const&) = delete;
    ~NothingLeft()
    {
        EXPECT_LE(::mallinfo2().uordblks, m_memory + NOISE);
        EXPECT_EQ(testkit::openDescriptors(), m_descriptors);
        testkit::expectNoChildren();
    }

private:
    static constexpr size_t NOISE = 64 * 1024; // Less than 200 stream buffers would be.

    std::vector<int> const m_descriptors = testkit::openDescriptors();
    size_t const m_memory = ::mallinfo2().uordblks;
};

constexpr int WARM_UP = 10; // What the C library keeps for itself it has by then.

}

TEST(UnixCommandSoak, leavesDescriptorsChildrenAndMemoryAsTheyWere)
{
    EXPECT_EQ(failedRounds(WARM_UP), 0);
    NothingLeft const nothingLeft;
    testkit::AllocationCounter const counter;
    EXPECT_EQ(failedRounds(soakRounds()), 0);
    EXPECT_EQ(counter.liveBlocks(), 0);
}

TEST(UnixCommandSoak, leavesDescriptorsChildrenAndMemoryAsTheyWereInABusyHost)
{
    {
        BusyThreads threads;
        EXPECT_EQ(failedRounds(WARM_UP), 0);
    }
    NothingLeft const nothingLeft;
    BusyThreads threads;
    testkit::AllocationCounter const counter;
    EXPECT_EQ(failedRounds(soakRounds()), 0);
    EXPECT_EQ(counter.liveBlocks(), 0);
    EXPECT_GT(threads.opened(), 0);
    EXPECT_EQ(threads.stop(), 0) << "a descriptor of the host's own was closed";
}

TEST(UnixCommandSoak, startsChildrenOfSeveralThreadsAtOnce)
{
    auto const descriptors = testkit::openDescriptors();
    std::atomic<int> failed = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i)
        threads.emplace_back([&] { failed += failedRounds(soakRounds() / 4); });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(failed, 0);
    EXPECT_EQ(testkit::openDescriptors(), descriptors);
    testkit::expectNoChildren();
}

TEST(UnixCommandSoak, leavesNothingOfStartsThatFailAtAnyStep)
{
    constexpr int SHARE = 20; // There are about as many steps, and all share the rounds.
    for (processcalls::StartStep const& step : processcalls::START_STEPS) {
        SCOPED_TRACE(step.name);
        NothingLeft const nothingLeft;
        testkit::AllocationCounter const counter;
        for (int round = 0; round < soakRounds() / SHARE; ++round) {
            processcalls::FailingCall const failing(step.call, step.code, step.side, step.number);
            EXPECT_THROW(UnixCommand("exit 0"), dovrel::ProcessException);
        }
        EXPECT_EQ(counter.liveBlocks(), 0);
    }
}
