#include "common/basic/processstream/src/UnixCommand.h"
#include "tests/common/processstream/Child.h"
#include "tests/common/processstream/ForkedProcess.h"
#include "tests/common/processstream/ProcessCalls.h"
#include "tests/common/processstream/RepeatedAlarm.h"
#include "tests/common/processstream/ThrownFailure.h"
#include "tests/support/Machine.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <string>
#include <unistd.h>
#include <utility>
#include <vector>

using child::outputOf;
using dovrel::UnixCommand;

namespace {

/** @return for each signal, whether it is blocked, and its handler. */
std::vector<std::pair<bool, sighandler_t>> signalsOfTheHost()
{
    sigset_t blocked;
    ::pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
    std::vector<std::pair<bool, sighandler_t>> signals;
    for (int number = 1; number < NSIG; ++number) {
        struct sigaction action { };
        ::sigaction(number, nullptr, &action);
        signals.emplace_back(::sigismember(&blocked, number) == 1, action.sa_handler);
    }
    return signals;
}

}

TEST(UnixCommandHost, keepsItsLangWhileTheChildHasC)
{
    inForkedProcess([] {
        ::setenv("LANG", "de_DE.UTF-8", 1);
        ::setenv("LANGUAGE", "de", 1);
        EXPECT_EQ(outputOf("/testkit/bin/env | /testkit/bin/grep '^LANG='"), "LANG=C\n");
        EXPECT_EQ(outputOf("echo $LANGUAGE"), "de\n");
        EXPECT_STREQ(std::getenv("LANG"), "de_DE.UTF-8");
    });
}

TEST(UnixCommandHost, exitHandlersAndBuffersAreNotUsedByTheChild)
{
    inForkedProcess([] {
        static int handled[2];
        ASSERT_EQ(::pipe2(handled, O_CLOEXEC | O_NONBLOCK), 0);
        std::atexit([] { [[maybe_unused]] auto const n = ::write(handled[1], "exit", 4); });
        FILE* const buffered = std::fopen("/tmp/buffered", "we");
        std::fputs("pending", buffered);
        {
            processcalls::FailingCall const failing(
                processcalls::ISATTY, ENOTTY, processcalls::IN_CHILD);
            EXPECT_NE(failureOf([] { UnixCommand const command("echo text"); }), NO_FAILURE);
        }
        {
            child::MissingFile const shell("/bin/sh");
            UnixCommand command("echo text");
            child::exitStatusOf(command);
        }
        EXPECT_EQ(testkit::contentsOf("/tmp/buffered"), "");
        std::fclose(buffered);
        char piece[8];
        EXPECT_EQ(::read(handled[0], piece, sizeof piece), -1);
    });
}

TEST(UnixCommandHost, keepsItsSignalHandlersAndItsSignalMask)
{
    inForkedProcess([] {
        sigset_t all;
        ::sigfillset(&all);
        ::pthread_sigmask(SIG_BLOCK, &all, nullptr);
        auto const before = signalsOfTheHost();
        {
            UnixCommand command("echo text; exit 5");
            EXPECT_EQ(child::readAll(command.stdInOut()), "text\n");
            EXPECT_EQ(child::exitStatusOf(command), 5);
        }
        EXPECT_TRUE(signalsOfTheHost() == before);
    });
}

TEST(UnixCommandHost, survivesAWriteToAChildThatHasEnded)
{
    inForkedProcess([] {
        ::signal(SIGPIPE, SIG_DFL);
        UnixCommand command("exit 5");
        EXPECT_EQ(child::exitStatusOf(command), 5);
        auto const exception = exceptionOf([&] { command.stdInOut().write("text\n", 5); });
        if (exception) {
            EXPECT_EQ(exception->code(), EIO);
        }
    });
}

TEST(UnixCommandHost, readsAllOutputDespiteRepeatedSignals)
{
    inForkedProcess([] {
        RepeatedAlarm const alarm(500);
        for (int round = 0; round < 30; ++round) {
            UnixCommand command("echo text; echo error >&2; exit 5");
            EXPECT_EQ(child::readAll(command.stdInOut()), "text\n");
            EXPECT_EQ(child::readAll(command.stdErr()), "error\n");
            EXPECT_EQ(child::exitStatusOf(command), 5);
        }
    });
}
