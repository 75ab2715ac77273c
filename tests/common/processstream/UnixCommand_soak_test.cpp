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

/** @return the value of the environment variable DOVREL_SOAK_ROUNDS; 200 if it is not set. */
int soakRounds()
{
    char const* const rounds = std::getenv("DOVREL_SOAK_ROUNDS");
    return rounds ? std::stoi(rounds) : 200;
}

/** Threads that open and close files, and check that nobody else closes them. */
class BusyThreads : dovrel::noncopyable_::noncopyable {
public:
    BusyThreads()
    {
        for (int i = 0; i < THREADS; ++i)
            m_threads.emplace_back([this, i] { work("/tmp/file" + std::to_string(i)); });
    }
    ~BusyThreads() { stop(); }

    /** @return the number of files that somebody else closed or replaced. */
    int stop()
    {
        m_stopped = true;
        for (std::thread& thread : m_threads)
            thread.join();
        m_threads.clear();
        return m_lostFiles;
    }

    int openedFiles() const { return m_openedFiles; }

private:
    static constexpr int THREADS = 2;

    void work(std::string const& path)
    {
        while (!m_stopped) {
            int const file = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
            struct stat opened { };
            struct stat still { };
            bool isOurs = ::fstat(file, &opened) == 0;
            // Allocates, so that this thread often holds the heap's lock at a fork. A child that
            // allocates would then hang.
            std::string const ballast(5000, 'x');
            std::this_thread::yield();
            isOurs = isOurs && ::fstat(file, &still) == 0 && still.st_ino == opened.st_ino;
            isOurs = ::write(file, ballast.data(), 1) == 1 && isOurs;
            isOurs = ::close(file) == 0 && isOurs;
            ++m_openedFiles;
            m_lostFiles += isOurs ? 0 : 1;
        }
    }

    std::atomic<bool> m_stopped = false;
    std::atomic<int> m_lostFiles = 0;
    std::atomic<int> m_openedFiles = 0;
    std::vector<std::thread> m_threads;
};

/** Runs one child. @return whether its output and its status are right. */
bool roundSucceeds(int round)
{
    std::string const status = std::to_string(round % 200);
    UnixCommand command("echo " + status + "; exit " + status);
    return child::readAll(command.stdInOut()) == status + "\n"
        && child::exitStatusOf(command) == round % 200;
}

int failedRounds(int rounds)
{
    int failed = 0;
    for (int round = 0; round < rounds; ++round) {
        try {
            failed += roundSucceeds(round) ? 0 : 1;
        } catch (dovrel::ProcessException const& exception) {
            ADD_FAILURE() << "round " << round << ": " << exception.what();
            ++failed;
        }
    }
    return failed;
}

/** Expects at its end the descriptors and the memory of its beginning, and no children. */
class NothingLeft : dovrel::noncopyable_::noncopyable {
public:
    ~NothingLeft()
    {
        EXPECT_LE(::mallinfo2().uordblks, m_memory + NOISE);
        EXPECT_EQ(testkit::openDescriptors(), m_descriptors);
        testkit::expectNoChildren();
    }

private:
    static constexpr size_t NOISE = 64 * 1024; // Less than 200 stream buffers.

    std::vector<int> const m_descriptors = testkit::openDescriptors();
    size_t const m_memory = ::mallinfo2().uordblks;
};

constexpr int WARM_UP = 10; // Rounds in which the C library allocates what it keeps.

}

TEST(UnixCommandSoak, leavesNoDescriptorsChildrenOrMemory)
{
    EXPECT_EQ(failedRounds(WARM_UP), 0);
    NothingLeft const nothingLeft;
    testkit::AllocationCounter const counter;
    EXPECT_EQ(failedRounds(soakRounds()), 0);
    EXPECT_EQ(counter.liveBlocks(), 0);
}

TEST(UnixCommandSoak, leavesNothingWhileOtherThreadsOpenAndCloseFiles)
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
    EXPECT_GT(threads.openedFiles(), 0);
    EXPECT_EQ(threads.stop(), 0) << "the library closed a descriptor of another thread";
}

TEST(UnixCommandSoak, startsChildrenOnSeveralThreads)
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

TEST(UnixCommandSoak, leavesNothingWhenStartsFail)
{
    constexpr int SHARE = 20; // About the number of steps, which share the rounds.
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
