#include "common/basic/processstream/src/UnixCommand.h"
#include "tests/common/processstream/Child.h"
#include "tests/common/processstream/ThrownFailure.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <string>
#include <sys/wait.h>

using child::outputOf;
using dovrel::UnixCommand;
using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

TEST(UnixCommand, readsTheOutputOfTheChild)
{
    EXPECT_EQ(outputOf("printf 'one\\ntwo\\n'"), "one\ntwo\n");
    EXPECT_EQ(outputOf("echo \"a  b\" '$HOME' | { read x; echo \"[$x]\"; }"), "[a  b $HOME]\n");
}

TEST(UnixCommand, readsTheErrorOutputSeparately)
{
    UnixCommand command("echo out; echo err >&2");
    EXPECT_EQ(child::readAll(command.stdErr()), "err\n");
    EXPECT_EQ(child::readAll(command.stdInOut()), "out\n");
    EXPECT_EQ(child::exitStatusOf(command), 0);
}

TEST(UnixCommand, sendsInputWithoutEcho)
{
    UnixCommand command("read line; echo \"got $line\"");
    EXPECT_EQ(command.stdInOut().write("text\n", 5), 5);
    EXPECT_EQ(child::readAll(command.stdInOut()), "got text\n");
}

TEST(UnixCommand, connectsInputAndOutputButNotErrorsToATerminal)
{
    EXPECT_EQ(outputOf("[ -t 0 ] && [ -t 1 ] && ! [ -t 2 ] && printf yes"), "yes");
}

TEST(UnixCommand, doesNotBlockAChildThatReadsInput)
{
    EXPECT_EQ(outputOf("printf 'Password: '; read word || echo none"), "Password: none\n");
}

TEST(UnixCommand, acceptsEmptyAndLongCommands)
{
    UnixCommand nothing("");
    EXPECT_EQ(child::exitStatusOf(nothing), 0);
    EXPECT_EQ(outputOf(": " + std::string(100'000, 'x') + "; echo end"), "end\n");
}

TEST(UnixCommand, readsAllOfALargeOutput)
{
    constexpr size_t SIZE = 3 << 20;
    UnixCommand command("/testkit/bin/yes 0123456789abcde | /testkit/bin/head -c 3145728");
    std::string const text = child::readAll(command.stdInOut());
    ASSERT_EQ(text.size(), SIZE);
    for (size_t at = 0; at < SIZE; at += 16)
        ASSERT_EQ(text.compare(at, 16, "0123456789abcde\n"), 0) << at;
    EXPECT_EQ(child::exitStatusOf(command), 0);
}

TEST(UnixCommand, readsAllOfALargeErrorOutput)
{
    UnixCommand command("/testkit/bin/yes | /testkit/bin/head -c 1048576 >&2");
    EXPECT_EQ(child::readAll(command.stdErr()).size(), 1U << 20);
}

TEST(UnixCommand, readsTheOutputOfAChildThatHasEnded)
{
    UnixCommand command("echo $$; echo left");
    pid_t const pid = child::readPid(command);
    child::waitUntilEnded(pid);
    EXPECT_EQ(child::exitStatusOf(command), 0);
    EXPECT_EQ(child::readAll(command.stdInOut()), "left\n");
}

TEST(UnixCommand, readsTheEndOfTheOutputWhileTheChildRuns)
{
    UnixCommand command("echo $$; exec <&- >&- 2>&-; exec /testkit/bin/sleep 60");
    pid_t const pid = child::readPid(command);
    EXPECT_EQ(child::readAll(command.stdInOut()), "");
    EXPECT_EQ(child::readAll(command.stdErr()), "");
    EXPECT_EQ(reasonOf([&] { command.exitCode(20, 10); }), dovrel::REASON_NOT_EXITED);
    child::killAndReap(pid);
}

TEST(UnixCommand, destructorWaitsASecondAndDoesNotEndTheChild)
{
    pid_t pid = -1;
    Clock::time_point start;
    {
        UnixCommand command("echo $$; exec /testkit/bin/sleep 60");
        pid = child::readPid(command);
        start = Clock::now();
    }
    auto const time = Clock::now() - start;
    EXPECT_GE(time, milliseconds(900));
    EXPECT_LE(time, milliseconds(4000));
    EXPECT_EQ(::kill(pid, 0), 0);
    EXPECT_EQ(::waitpid(pid, nullptr, WNOHANG), 0) << "the child must still run";
    child::killAndReap(pid);
}

TEST(UnixCommand, destructorReapsTheChild)
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
        grandchild = child::readPid(command);
        EXPECT_EQ(child::exitStatusOf(command), 4);
    }
    EXPECT_LE(Clock::now() - start, milliseconds(4000));
    ::kill(grandchild, SIGKILL);
}
