#include "common/basic/processstream/src/UnixCommand.h"
#include "tests/common/processstream/Child.h"
#include "tests/common/processstream/OtherHost.h"
#include "tests/common/processstream/ProcessCalls.h"
#include "tests/support/Machine.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <pthread.h>
#include <sanitizer/asan_interface.h>
#include <string>
#include <sys/time.h>
#include <unistd.h>
#include <utility>
#include <vector>

using dovrel::ProcessException;
using dovrel::UnixCommand;
using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

namespace {

/** Reason and code of a look at the child. */
std::string failureOfLook(UnixCommand& command)
{
    try {
        return "exited with " + std::to_string(command.uncachedExitCode());
    } catch (ProcessException const& exception) {
        return std::to_string(exception.reason()) + '/' + std::to_string(exception.code());
    }
}

int reasonOfExit(UnixCommand& command, unsigned totalMs)
{
    try {
        command.exitCode(totalMs, 10);
    } catch (ProcessException const& exception) {
        return static_cast<int>(exception.reason());
    }
    return -1;
}

/** Waits until the child has ended, and leaves it to be reaped. */
void awaitEnd(pid_t pid)
{
    siginfo_t ended{};
    EXPECT_EQ(::waitid(P_PID, static_cast<id_t>(pid), &ended, WEXITED | WNOWAIT), 0);
}

/** Whether each signal is blocked, and what handles it. */
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

std::string outputOf(std::string const& text)
{
    UnixCommand command(text);
    return child::everythingFrom(command.stdInOut());
}

/** Where a cancelled thread ends, tells the address sanitizer that the frames below are gone. */
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

/** Sets a variable of the host's environment while it lives. */
class Variable {
public:
    Variable(char const* name, char const* value) : m_name(name) { ::setenv(name, value, 1); }
    Variable(Variable const&) = delete;
    Variable& operator=(Variable const&) = delete;
    ~Variable() { ::unsetenv(m_name); }

private:
    char const* m_name;
};

}

TEST(UnixCommand, givesTheChildsOutput)
{
    EXPECT_EQ(outputOf("printf 'one\\ntwo\\n'"), "one\ntwo\n");
    EXPECT_EQ(outputOf("echo \"a  b\" '$HOME' | { read x; echo \"[$x]\"; }"), "[a  b $HOME]\n");
}

TEST(UnixCommand, hasTheErrorOutputBeside)
{
    UnixCommand command("echo out; echo err >&2");
    EXPECT_EQ(child::everythingFrom(command.stdErr()), "err\n");
    EXPECT_EQ(child::everythingFrom(command.stdInOut()), "out\n");
    EXPECT_EQ(child::statusOf(command), 0);
}

TEST(UnixCommand, passesInputOnWithoutEcho)
{
    UnixCommand command("read line; echo \"got $line\"");
    EXPECT_EQ(command.stdInOut().write("text\n", 5), 5);
    EXPECT_EQ(child::everythingFrom(command.stdInOut()), "got text\n");
}

TEST(UnixCommand, givesTheChildATerminalForInputAndOutputAlone)
{
    EXPECT_EQ(outputOf("[ -t 0 ] && [ -t 1 ] && ! [ -t 2 ] && printf yes"), "yes");
}

TEST(UnixCommand, makesTheChildSpeakEnglish)
{
    Variable const german("LANG", "de_DE.UTF-8");
    Variable const other("LANGUAGE", "de");
    EXPECT_EQ(outputOf("/testkit/bin/env | /testkit/bin/grep '^LANG='"), "LANG=C\n");
    EXPECT_EQ(outputOf("echo $LANGUAGE"), "de\n");
    EXPECT_STREQ(std::getenv("LANG"), "de_DE.UTF-8") << "the host's environment is the host's";
}

TEST(UnixCommand, startsForAHostWithoutEnvironment)
{
    EXPECT_EQ(complaintsOfAnotherHost([](std::ostream& complaints) {
        ::clearenv();
        if (std::string const text = outputOf("echo $LANG"); text != "C\n")
            complaints << "the child said " << text;
    }),
        "");
}

TEST(UnixCommand, givesTheExitStatus)
{
    for (int status : {0, 1, 7, 255}) {
        UnixCommand command("exit " + std::to_string(status));
        EXPECT_EQ(child::statusOf(command), status);
        EXPECT_EQ(command.exitCode(0, 0), status);
    }
}

TEST(UnixCommand, looksForAnEndedChildNoMore)
{
    UnixCommand command("exit 3");
    EXPECT_EQ(child::statusOf(command), 3);
    processcalls::forgetCalls();
    EXPECT_EQ(failureOfLook(command), "6/" + std::to_string(ECHILD));
    EXPECT_EQ(command.exitCode(10, 10), 3);
    EXPECT_EQ(processcalls::callsMade(processcalls::WAITPID), 0U) << "it may be another's child";
}

TEST(UnixCommand, isLookedAtThroughTheFunctionOfAClassThatAHostDerives)
{
    class HostsCommand : public UnixCommand {
    public:
        using UnixCommand::UnixCommand;
        int uncachedExitCode() override { return 40 + UnixCommand::uncachedExitCode(); }
    };
    class PlainCommand : public UnixCommand {
    public:
        using UnixCommand::UnixCommand;
    };
    HostsCommand command("/testkit/bin/sleep 0.1; exit 2");
    EXPECT_EQ(reasonOfExit(command, 10), dovrel::REASON_NOT_EXITED);
    EXPECT_EQ(child::statusOf(command), 42);
    EXPECT_EQ(command.exitCode(10, 10), 42);
    PlainCommand plain("/testkit/bin/sleep 0.1; exit 2");
    EXPECT_EQ(reasonOfExit(plain, 10), dovrel::REASON_NOT_EXITED);
    EXPECT_EQ(child::statusOf(plain), 2);
}

TEST(UnixCommand, saysThatARunningChildHasNotExited)
{
    UnixCommand command("echo $$; exec /testkit/bin/sleep 60");
    pid_t const pid = std::stoi(child::lineFrom(command.stdInOut()));
    EXPECT_EQ(failureOfLook(command).substr(0, 2), "3/");
    EXPECT_EQ(reasonOfExit(command, 10), dovrel::REASON_NOT_EXITED);
    child::end(pid);
}

TEST(UnixCommand, letsAThreadBeCancelledThatWaitsForTheExit)
{
    EXPECT_EQ(complaintsOfAnotherHost([](std::ostream& complaints) {
        UnixCommand command("/testkit/bin/sleep 0.2; exit 3");
        auto const work = [](void* argument) -> void* {
            CleanStack const cleanAtTheEnd;
            ::pthread_cancel(::pthread_self());
            static_cast<UnixCommand*>(argument)->exitCode(10000, 10);
            return nullptr;
        };
        pthread_t thread{};
        void* result = nullptr;
        ::pthread_create(&thread, nullptr, work, &command);
        ::pthread_join(thread, &result);
        if (result != PTHREAD_CANCELED)
            complaints << "the thread is not cancelled\n";
        if (child::statusOf(command) != 3)
            complaints << "another status\n";
    }),
        "");
}

TEST(UnixCommand, takesAChildThatASignalEndedForOneThatRunsKept)
{
    UnixCommand command("echo $$; exec /testkit/bin/sleep 60");
    pid_t const pid = std::stoi(child::lineFrom(command.stdInOut()));
    ::kill(pid, SIGTERM);
    awaitEnd(pid);
    EXPECT_EQ(reasonOfExit(command, 50), dovrel::REASON_NOT_EXITED);

    processcalls::forgetCalls();
    EXPECT_EQ(reasonOfExit(command, 50), dovrel::REASON_NOT_EXITED);
    EXPECT_EQ(processcalls::callsMade(processcalls::WAITPID), 0U) << "it may be another's child";
}

TEST(UnixCommand, cannotFindTheStatusWhereTheHostHasTakenIt)
{
    UnixCommand command("echo $$; exit 3");
    pid_t const pid = std::stoi(child::lineFrom(command.stdInOut()));
    EXPECT_EQ(::waitpid(pid, nullptr, 0), pid);
    EXPECT_EQ(failureOfLook(command), "6/" + std::to_string(ECHILD));
}

TEST(UnixCommand, cannotFindTheStatusWhereTheHostIgnoresItsChildren)
{
    EXPECT_EQ(complaintsOfAnotherHost([](std::ostream& complaints) {
        ::signal(SIGCHLD, SIG_IGN);
        UnixCommand command("echo text");
        if (child::everythingFrom(command.stdInOut()) != "text\n")
            complaints << "the output is not whole\n";
        if (reasonOfExit(command, 5000) != dovrel::REASON_EXIT_STATUS)
            complaints << "the status was found\n";
    }),
        "");
}

TEST(UnixCommand, startsACommandThatDoesNotExist)
{
    UnixCommand command("/sbin/nosuchtool -a");
    EXPECT_EQ(child::everythingFrom(command.stdInOut()), "");
    EXPECT_NE(child::everythingFrom(command.stdErr()).find("not found"), std::string::npos);
    EXPECT_EQ(child::statusOf(command), 127);
}

TEST(UnixCommand, endsWithTheShellsStatusWhereACommandCannotBeRun)
{
    testkit::machine.folder("/sbin/folder");
    testkit::machine.file("/sbin/data", "no program");
    for (char const* const path : {"/sbin/folder", "/sbin/data"}) {
        UnixCommand command(path);
        EXPECT_EQ(child::everythingFrom(command.stdInOut()), "");
        EXPECT_EQ(child::statusOf(command), 126) << path;
    }
}

TEST(UnixCommand, givesAChildThatWaitsForInputNone)
{
    EXPECT_EQ(outputOf("printf 'Password: '; read word || echo none"), "Password: none\n");
}

TEST(UnixCommand, takesAChildThatHasStoppedForOneThatRuns)
{
    UnixCommand command("echo $$; kill -STOP $$; echo on; exit 5");
    pid_t const pid = std::stoi(child::lineFrom(command.stdInOut()));
    siginfo_t stopped{};
    EXPECT_EQ(::waitid(P_PID, static_cast<id_t>(pid), &stopped, WSTOPPED | WNOWAIT), 0);
    EXPECT_EQ(reasonOfExit(command, 20), dovrel::REASON_NOT_EXITED);
    ::kill(pid, SIGCONT);
    EXPECT_EQ(child::everythingFrom(command.stdInOut()), "on\n");
    EXPECT_EQ(child::statusOf(command), 5);
}

TEST(UnixCommand, endsWith255WhereThereIsNoShell)
{
    child::MissingFile const shell("/bin/sh");
    UnixCommand command("echo text");
    EXPECT_EQ(child::everythingFrom(command.stdInOut()), "");
    EXPECT_EQ(child::statusOf(command), 255);
}

TEST(UnixCommand, endsWith255WhereTheCommandIsLongerThanTheKernelTakes)
{
    UnixCommand command(": " + std::string(1 << 20, 'x'));
    EXPECT_EQ(child::statusOf(command), 255);
}

TEST(UnixCommand, takesAnEmptyAndALongCommand)
{
    UnixCommand nothing("");
    EXPECT_EQ(child::statusOf(nothing), 0);
    EXPECT_EQ(outputOf(": " + std::string(100'000, 'x') + "; echo end"), "end\n");
}

TEST(UnixCommand, losesNothingOfAFlood)
{
    constexpr size_t SIZE = 3 << 20;
    UnixCommand command("/testkit/bin/yes 0123456789abcde | /testkit/bin/head -c 3145728");
    std::string const text = child::everythingFrom(command.stdInOut());
    ASSERT_EQ(text.size(), SIZE);
    for (size_t at = 0; at < SIZE; at += 16)
        ASSERT_EQ(text.compare(at, 16, "0123456789abcde\n"), 0) << at;
    EXPECT_EQ(child::statusOf(command), 0);
}

TEST(UnixCommand, losesNothingOfAFloodOfErrors)
{
    UnixCommand command("/testkit/bin/yes | /testkit/bin/head -c 1048576 >&2");
    EXPECT_EQ(child::everythingFrom(command.stdErr()).size(), 1U << 20);
}

TEST(UnixCommand, givesWhatAnEndedChildHasLeft)
{
    UnixCommand command("echo $$; echo left");
    pid_t const pid = std::stoi(child::lineFrom(command.stdInOut()));
    awaitEnd(pid);
    EXPECT_EQ(child::statusOf(command), 0);
    EXPECT_EQ(child::everythingFrom(command.stdInOut()), "left\n");
}

TEST(UnixCommand, seesTheEndOfOutputBeforeTheEndOfTheChild)
{
    UnixCommand command("echo $$; exec <&- >&- 2>&-; exec /testkit/bin/sleep 60");
    pid_t const pid = std::stoi(child::lineFrom(command.stdInOut()));
    EXPECT_EQ(child::everythingFrom(command.stdInOut()), "");
    EXPECT_EQ(child::everythingFrom(command.stdErr()), "");
    EXPECT_EQ(reasonOfExit(command, 20), dovrel::REASON_NOT_EXITED);
    child::end(pid);
}

TEST(UnixCommand, waitsForAChildAboutASecondAndDoesNotEndIt)
{
    pid_t pid = -1;
    Clock::time_point start;
    {
        UnixCommand command("echo $$; exec /testkit/bin/sleep 60");
        pid = std::stoi(child::lineFrom(command.stdInOut()));
        start = Clock::now();
    }
    auto const time = Clock::now() - start;
    EXPECT_GE(time, milliseconds(900));
    EXPECT_LE(time, milliseconds(4000));
    EXPECT_EQ(::kill(pid, 0), 0);
    EXPECT_EQ(::waitpid(pid, nullptr, WNOHANG), 0) << "it is not to have ended";
    child::end(pid);
}

TEST(UnixCommand, reapsAChildThatNobodyHasWaitedFor)
{
    UnixCommand("/testkit/bin/sleep 0.1");
    EXPECT_EQ(::waitpid(-1, nullptr, 0), -1);
    EXPECT_EQ(errno, ECHILD);
}

TEST(UnixCommand, doesNotWaitForAGrandchild)
{
    pid_t grandchild = -1;
    auto const start = Clock::now();
    {
        UnixCommand command("/testkit/bin/sleep 60 & echo $!; exit 4");
        grandchild = std::stoi(child::lineFrom(command.stdInOut()));
        EXPECT_EQ(child::statusOf(command), 4);
    }
    EXPECT_LE(Clock::now() - start, milliseconds(4000));
    ::kill(grandchild, SIGKILL);
}

TEST(UnixCommand, runsNoneOfTheHostsExitHandlersAndFlushesNoneOfItsBuffers)
{
    EXPECT_EQ(complaintsOfAnotherHost([](std::ostream& complaints) {
        static int handled[2];
        static FILE* buffered = nullptr;
        if (::pipe2(handled, O_CLOEXEC | O_NONBLOCK) != 0)
            complaints << "no pipe\n";
        std::atexit([] { [[maybe_unused]] auto const n = ::write(handled[1], "exit", 4); });
        buffered = std::fopen("/tmp/buffered", "we");
        std::fputs("pending", buffered);
        try {
            processcalls::FailingCall const failing(
                processcalls::ISATTY, ENOTTY, processcalls::IN_CHILD);
            UnixCommand const command("echo text");
            complaints << "the child was to fail\n";
        } catch (ProcessException const&) {
        }
        {
            child::MissingFile const shell("/bin/sh");
            UnixCommand command("echo text");
            child::statusOf(command);
        }
        char piece[8];
        FILE* const written = std::fopen("/tmp/buffered", "re");
        if (std::fread(piece, 1, sizeof piece, written) != 0)
            complaints << "a child flushed the host's buffer\n";
        std::fclose(written);
        std::fclose(buffered);
        if (::read(handled[0], piece, sizeof piece) != -1)
            complaints << "a child ran the host's exit handler\n";
    }),
        "");
}

TEST(UnixCommand, leavesTheHostsSignalsAsTheyAre)
{
    EXPECT_EQ(complaintsOfAnotherHost([](std::ostream& complaints) {
        sigset_t all;
        ::sigfillset(&all);
        ::pthread_sigmask(SIG_BLOCK, &all, nullptr);
        auto const before = signalsOfTheHost();
        {
            UnixCommand command("echo text; exit 5");
            if (child::everythingFrom(command.stdInOut()) != "text\n"
                || child::statusOf(command) != 5)
                complaints << "not what the child had to say\n";
        }
        if (signalsOfTheHost() != before)
            complaints << "not as they were\n";
    }),
        "");
}

TEST(UnixCommand, doesNotEndAHostThatWritesToAChildThatHasEnded)
{
    EXPECT_EQ(complaintsOfAnotherHost([](std::ostream& complaints) {
        ::signal(SIGPIPE, SIG_DFL);
        UnixCommand command("exit 5");
        if (child::statusOf(command) != 5)
            complaints << "another status\n";
        try {
            command.stdInOut().write("text\n", 5);
        } catch (ProcessException const& failure) {
            if (failure.code() != EIO)
                complaints << failure.what() << '\n';
        }
    }),
        "");
}

TEST(UnixCommand, isNotDisturbedByAStormOfSignals)
{
    EXPECT_EQ(complaintsOfAnotherHost([](std::ostream& complaints) {
        struct sigaction action { };
        action.sa_handler = [](int) {};
        action.sa_flags = 0; // No SA_RESTART: calls are to end with EINTR.
        ::sigaction(SIGALRM, &action, nullptr);
        itimerval const interval{{0, 500}, {0, 500}};
        ::setitimer(ITIMER_REAL, &interval, nullptr);
        for (int round = 0; round < 30; ++round) {
            UnixCommand command("echo text; echo error >&2; exit 5");
            if (child::everythingFrom(command.stdInOut()) != "text\n"
                || child::everythingFrom(command.stdErr()) != "error\n")
                complaints << "the output is not whole\n";
            if (child::statusOf(command) != 5)
                complaints << "another status\n";
        }
        itimerval const off{};
        ::setitimer(ITIMER_REAL, &off, nullptr);
    }),
        "");
}
