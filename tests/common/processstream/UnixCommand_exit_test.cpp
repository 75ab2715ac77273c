#include "common/basic/processstream/src/UnixCommand.h"
#include "tests/common/processstream/Child.h"
#include "tests/common/processstream/ForkedProcess.h"
#include "tests/common/processstream/HostThread.h"
#include "tests/common/processstream/ProcessCalls.h"
#include "tests/common/processstream/ThrownFailure.h"
#include "tests/support/Machine.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <string>
#include <sys/wait.h>

using dovrel::UnixCommand;
using processcalls::callsMade;

namespace {

int reasonOfExitCode(UnixCommand& command, unsigned totalMs)
{
    return reasonOf([&] { command.exitCode(totalMs, 10); });
}

Failure failureOfCheck(UnixCommand& command)
{
    return failureOf([&] { command.uncachedExitCode(); });
}

}

TEST(UnixCommandExit, hasTheStatusOfTheShell)
{
    for (int status : {0, 1, 7, 255}) {
        UnixCommand command("exit " + std::to_string(status));
        EXPECT_EQ(child::exitStatusOf(command), status);
        EXPECT_EQ(command.exitCode(0, 0), status);
    }
}

TEST(UnixCommandExit, hasStatus127WhenTheCommandDoesNotExist)
{
    UnixCommand command("/sbin/nosuchtool -a");
    EXPECT_EQ(child::readAll(command.stdInOut()), "");
    EXPECT_NE(child::readAll(command.stdErr()).find("not found"), std::string::npos);
    EXPECT_EQ(child::exitStatusOf(command), 127);
}

TEST(UnixCommandExit, hasStatus126WhenTheCommandCannotBeRun)
{
    testkit::machine.folder("/sbin/folder");
    testkit::machine.file("/sbin/data", "no program");
    for (char const* const path : {"/sbin/folder", "/sbin/data"}) {
        UnixCommand command(path);
        EXPECT_EQ(child::readAll(command.stdInOut()), "");
        EXPECT_EQ(child::exitStatusOf(command), 126) << path;
    }
}

TEST(UnixCommandExit, hasStatus255WhenThereIsNoShell)
{
    child::MissingFile const shell("/bin/sh");
    UnixCommand command("echo text");
    EXPECT_EQ(child::readAll(command.stdInOut()), "");
    EXPECT_EQ(child::exitStatusOf(command), 255);
}

TEST(UnixCommandExit, hasStatus255WhenTheCommandIsTooLongForTheKernel)
{
    UnixCommand command(": " + std::string(1 << 20, 'x'));
    EXPECT_EQ(child::exitStatusOf(command), 255);
}

TEST(UnixCommandExit, isNotWaitedForAgain)
{
    UnixCommand command("exit 3");
    EXPECT_EQ(child::exitStatusOf(command), 3);
    processcalls::forgetCalls();
    EXPECT_EQ(failureOfCheck(command), Failure(dovrel::REASON_EXIT_STATUS, ECHILD));
    EXPECT_EQ(command.exitCode(10, 10), 3);
    EXPECT_EQ(callsMade(processcalls::WAITPID), 0U) << "the number may be another child's";
}

TEST(UnixCommandExit, isCheckedByTheFunctionOfADerivedClass)
{
    class DerivedCommand : public UnixCommand {
    public:
        using UnixCommand::UnixCommand;
        int uncachedExitCode() override { return 40 + UnixCommand::uncachedExitCode(); }
    };
    class PlainCommand : public UnixCommand {
    public:
        using UnixCommand::UnixCommand;
    };
    DerivedCommand command("/testkit/bin/sleep 0.1; exit 2");
    EXPECT_EQ(reasonOfExitCode(command, 10), dovrel::REASON_NOT_EXITED);
    EXPECT_EQ(child::exitStatusOf(command), 42);
    EXPECT_EQ(command.exitCode(10, 10), 42);
    PlainCommand plain("/testkit/bin/sleep 0.1; exit 2");
    EXPECT_EQ(reasonOfExitCode(plain, 10), dovrel::REASON_NOT_EXITED);
    EXPECT_EQ(child::exitStatusOf(plain), 2);
}

TEST(UnixCommandExit, hasNotHappenedWhileTheChildRuns)
{
    UnixCommand command("echo $$; exec /testkit/bin/sleep 60");
    pid_t const pid = child::readPid(command);
    EXPECT_EQ(failureOfCheck(command).first, dovrel::REASON_NOT_EXITED);
    EXPECT_EQ(reasonOfExitCode(command, 10), dovrel::REASON_NOT_EXITED);
    child::killAndReap(pid);
}

TEST(UnixCommandExit, hasNotHappenedWhileTheChildIsStopped)
{
    UnixCommand command("echo $$; kill -STOP $$; echo on; exit 5");
    pid_t const pid = child::readPid(command);
    siginfo_t stopped{};
    EXPECT_EQ(::waitid(P_PID, static_cast<id_t>(pid), &stopped, WSTOPPED | WNOWAIT), 0);
    EXPECT_EQ(reasonOfExitCode(command, 20), dovrel::REASON_NOT_EXITED);
    ::kill(pid, SIGCONT);
    EXPECT_EQ(child::readAll(command.stdInOut()), "on\n");
    EXPECT_EQ(child::exitStatusOf(command), 5);
}

TEST(UnixCommandExit, hasNotHappenedWhenASignalEndsTheChildKept)
{
    UnixCommand command("echo $$; exec /testkit/bin/sleep 60");
    pid_t const pid = child::readPid(command);
    ::kill(pid, SIGTERM);
    child::waitUntilEnded(pid);
    EXPECT_EQ(reasonOfExitCode(command, 50), dovrel::REASON_NOT_EXITED);

    processcalls::forgetCalls();
    EXPECT_EQ(reasonOfExitCode(command, 50), dovrel::REASON_NOT_EXITED);
    EXPECT_EQ(callsMade(processcalls::WAITPID), 0U) << "the number may be another child's";
}

TEST(UnixCommandExit, isUnknownWhenTheHostHasReapedTheChild)
{
    UnixCommand command("echo $$; exit 3");
    pid_t const pid = child::readPid(command);
    EXPECT_EQ(::waitpid(pid, nullptr, 0), pid);
    EXPECT_EQ(failureOfCheck(command), Failure(dovrel::REASON_EXIT_STATUS, ECHILD));
}

TEST(UnixCommandExit, isUnknownWhenTheHostIgnoresSigchld)
{
    inForkedProcess([] {
        ::signal(SIGCHLD, SIG_IGN);
        UnixCommand command("echo text");
        EXPECT_EQ(child::readAll(command.stdInOut()), "text\n");
        EXPECT_EQ(reasonOfExitCode(command, 5000), dovrel::REASON_EXIT_STATUS);
    });
}

TEST(UnixCommandExit, canBeWaitedForByAThreadThatIsCancelled)
{
    inForkedProcess([] {
        UnixCommand command("/testkit/bin/sleep 0.2; exit 3");
        runWithPendingCancellation([&] { command.exitCode(10000, 10); });
        EXPECT_EQ(child::exitStatusOf(command), 3);
    });
}
