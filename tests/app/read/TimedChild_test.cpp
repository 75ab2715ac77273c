#include "app/read/TimedChild.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <poll.h>
#include <stdexcept>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

using app::TimedChild;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

// The kit fails a test that leaves a descriptor or a child behind.

namespace {

constexpr milliseconds LONG(20000);
constexpr milliseconds SHORT(200);

TimedChild::Result resultOf(std::function<std::string()> const& work, milliseconds limit = LONG)
{
    TimedChild child(work, true);
    return child.wait(steady_clock::now() + limit);
}

std::string hang()
{
    for (;;)
        pause();
}

/** A pipe whose writing end processes inherit: it ends when the last of them does. */
class Lifeline {
public:
    Lifeline() { EXPECT_EQ(pipe(m_ends.data()), 0); }
    Lifeline(Lifeline const&) = delete;
    Lifeline& operator=(Lifeline const&) = delete;
    ~Lifeline()
    {
        letGo();
        close(m_ends[0]);
    }

    /** Closes the writing end of this process. */
    void letGo()
    {
        if (m_ends[1] >= 0)
            close(m_ends[1]);
        m_ends[1] = -1;
    }

    /** Tells the reader that a process has got as far as this. */
    void signal() const { EXPECT_EQ(write(m_ends[1], "x", 1), 1); }

    void awaitSignal() const
    {
        char byte = 0;
        EXPECT_EQ(read(m_ends[0], &byte, 1), 1);
    }

    /** @return whether all processes with the writing end have ended, after 20 s at most. */
    bool hasEnded() const
    {
        pollfd end = {m_ends[0], POLLIN, 0};
        return poll(&end, 1, 20000) == 1 && (end.revents & POLLHUP) != 0;
    }

private:
    std::array<int, 2> m_ends = {-1, -1};
};

}

TEST(TimedChild, handsOverTheResult)
{
    auto const result = resultOf([] { return "done"; });
    EXPECT_EQ(result.end, TimedChild::ENDED);
    EXPECT_EQ(result.bytes, "done");
}

TEST(TimedChild, handsOverAnEmptyResult)
{
    auto const result = resultOf([] { return ""; });
    EXPECT_EQ(result.end, TimedChild::ENDED);
    EXPECT_EQ(result.bytes, "");
}

TEST(TimedChild, handsOverAResultLargerThanAPipe)
{
    std::string const large(size_t{5} * 1024 * 1024, '\0');
    auto const result = resultOf([&large] { return large; });
    EXPECT_EQ(result.end, TimedChild::ENDED);
    EXPECT_TRUE(result.bytes == large);
}

TEST(TimedChild, reportsAnExceptionAsACrash)
{
    auto const result = resultOf([]() -> std::string { throw std::runtime_error("x"); });
    EXPECT_EQ(result.end, TimedChild::CRASHED);
    EXPECT_EQ(result.bytes, "");
}

TEST(TimedChild, reportsASignalAsACrash)
{
    EXPECT_EQ(resultOf([] {
        std::raise(SIGKILL);
        return "";
    }).end,
        TimedChild::CRASHED);
}

TEST(TimedChild, reportsAnEarlyExitAsACrash)
{
    EXPECT_EQ(resultOf([]() -> std::string { _exit(3); }).end, TimedChild::CRASHED);
}

TEST(TimedChild, isKilledAtTheLimit)
{
    auto const begun = steady_clock::now();
    EXPECT_EQ(resultOf(hang, SHORT).end, TimedChild::NOT_ENDED);
    EXPECT_GE(steady_clock::now() - begun, SHORT);
    EXPECT_LT(steady_clock::now() - begun, LONG);
}

TEST(TimedChild, isKilledAtTheLimitThoughItIgnoresSigterm)
{
    Lifeline lifeline;
    TimedChild child(
        [&lifeline] {
            std::signal(SIGTERM, SIG_IGN);
            lifeline.signal();
            return hang();
        },
        true);
    lifeline.letGo();
    lifeline.awaitSignal();
    EXPECT_EQ(child.wait(steady_clock::now()).end, TimedChild::NOT_ENDED);
    EXPECT_TRUE(lifeline.hasEnded());
}

TEST(TimedChild, isKilledWithTheProcessesThatItStarted)
{
    Lifeline lifeline;
    TimedChild child(
        [&lifeline] {
            if (fork() == 0) {
                lifeline.signal();
                hang();
            }
            return hang();
        },
        true);
    lifeline.letGo();
    lifeline.awaitSignal();
    EXPECT_EQ(child.wait(steady_clock::now()).end, TimedChild::NOT_ENDED);
    EXPECT_TRUE(lifeline.hasEnded());
}

TEST(TimedChild, leavesNoProcessBehindThatItStarted)
{
    Lifeline lifeline;
    TimedChild child(
        [&lifeline] {
            if (fork() == 0) {
                // As an exec would.
                for (int descriptor = 0; descriptor < 100; ++descriptor)
                    if ((fcntl(descriptor, F_GETFD) & FD_CLOEXEC) != 0)
                        close(descriptor);
                lifeline.signal();
                hang();
            }
            lifeline.awaitSignal();
            return std::string("done");
        },
        true);
    lifeline.letGo();
    EXPECT_EQ(child.wait(steady_clock::now() + LONG).end, TimedChild::ENDED);
    EXPECT_TRUE(lifeline.hasEnded());
}

TEST(TimedChild, readsTheResultsOfTheOthersWhileOneIsWaitedFor)
{
    Lifeline writer;
    TimedChild slow(
        [&writer] {
            writer.letGo();
            return std::string(writer.hasEnded() ? "ended" : "hangs");
        },
        true);
    std::string const large(size_t{5} * 1024 * 1024, 'x');
    TimedChild other([&large] { return large; }, true);
    writer.letGo();
    EXPECT_EQ(slow.wait(steady_clock::now() + LONG).bytes, "ended");
    auto const result = other.wait(steady_clock::now());
    EXPECT_EQ(result.end, TimedChild::ENDED) << "it had ended in time";
    EXPECT_TRUE(result.bytes == large);
}

TEST(TimedChild, isReapedAfterAllThatAreLateWereKilled)
{
    TimedChild child(hang, true);
    EXPECT_EQ(child.wait(steady_clock::now()).end, TimedChild::NOT_ENDED);
    siginfo_t ended{};
    EXPECT_EQ(waitid(P_ALL, 0, &ended, WEXITED | WNOWAIT), 0) << "its end costs the next no time";
    EXPECT_EQ(ended.si_status, SIGKILL);
}

TEST(TimedChild, isKilledWhereNobodyWaitsForIt)
{
    Lifeline lifeline;
    {
        TimedChild const child(hang, true);
        lifeline.letGo();
    }
    EXPECT_TRUE(lifeline.hasEnded());
}

TEST(TimedChild, endsWithItsParent)
{
    Lifeline lifeline;
    pid_t const parent = fork();
    if (parent == 0) {
        TimedChild const child(
            [&lifeline] {
                lifeline.signal();
                return hang();
            },
            true);
        lifeline.awaitSignal();
        _exit(0);
    }
    lifeline.letGo();
    EXPECT_EQ(waitpid(parent, nullptr, 0), parent);
    EXPECT_TRUE(lifeline.hasEnded());
}

TEST(TimedChild, isWaitedForDespiteSignals)
{
    struct sigaction action { };
    action.sa_handler = [](int) {};
    struct sigaction before { };
    sigaction(SIGUSR1, &action, &before);
    auto const result = resultOf([] {
        for (int i = 0; i < 5; ++i) {
            kill(getppid(), SIGUSR1);
            std::this_thread::sleep_for(milliseconds(20));
        }
        return "done";
    });
    sigaction(SIGUSR1, &before, nullptr);
    EXPECT_EQ(result.bytes, "done");
}

TEST(TimedChild, writesNoMessagesWhereItIsSilent)
{
    testing::internal::CaptureStderr();
    auto const complain = [] {
        std::fputs("complaint", stderr);
        return "";
    };
    resultOf(complain);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    testing::internal::CaptureStderr();
    TimedChild(complain, false).wait(steady_clock::now() + LONG);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "complaint");
}
