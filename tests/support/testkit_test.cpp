#include "tests/support/CapturedTrace.h"
#include "tests/support/Channel.h"
#include "tests/support/DescriptorGuard.h"
#include "tests/support/Machine.h"
#include "tests/support/SystemCalls.h"
#include "tests/support/commands.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <system_error>

using testkit::calls;
using testkit::CapturedTrace;
using testkit::DescriptorGuard;
using testkit::machine;
using testkit::outputOf;

namespace fs = std::filesystem;

namespace {

int sleepUpTo(int secondsFromNow)
{
    timespec end{};
    ::clock_gettime(CLOCK_MONOTONIC, &end);
    end.tv_sec += secondsFromNow;
    return ::clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &end, nullptr);
}

}

TEST(Machine, isEmptyAtTheStartOfATest)
{
    for (char const* folder : {"/proc", "/sys", "/etc", "/sbin", "/usr/bin", "/usr/sbin"})
        EXPECT_TRUE(fs::is_empty(folder)) << folder;
    EXPECT_FALSE(fs::exists("/dev/kmsg"));
    EXPECT_FALSE(fs::exists("/home"));
}

// Runs twice in one process: the second run would find the files and sleeps of the first.
class TestRun : public testing::TestWithParam<int> { };
INSTANTIATE_TEST_SUITE_P(Twice, TestRun, testing::Values(1, 2));

TEST_P(TestRun, startsWithoutTheFilesAndSleepsOfAnotherTest)
{
    EXPECT_FALSE(fs::exists("/etc/made"));
    machine.file("/etc/made", "");
    EXPECT_TRUE(calls.sleeps().empty());
    sleepUpTo(1);
}

TEST(Machine, emptyRemovesTheFilesOfATest)
{
    machine.file("/proc/stat", "cpu 1\n");
    machine.file("/new/folder/file", "text");
    machine.link("/etc/link", "/usr/lib");
    machine.folder("/sys/locked");
    machine.file("/sys/locked/file", "");
    fs::permissions("/sys/locked", fs::perms::none);
    machine.empty();
    EXPECT_FALSE(fs::exists("/proc/stat"));
    EXPECT_FALSE(fs::exists("/new"));
    EXPECT_FALSE(fs::exists("/sys/locked"));
    EXPECT_TRUE(fs::is_empty("/etc"));
    EXPECT_FALSE(fs::is_empty("/usr/lib")) << "empty followed a link";
    EXPECT_TRUE(fs::exists("/bin/sh"));
}

TEST(Machine, writesAFileAndReplacesIt)
{
    machine.file("/etc/some/file", "a long first text\n");
    machine.file("/etc/some/file", std::string("b\0c", 3));
    EXPECT_EQ(testkit::contentsOf("/etc/some/file"), std::string("b\0c", 3));
}

TEST(Machine, replacesALinkAndNotItsTarget)
{
    machine.file("/etc/target", "target");
    machine.link("/etc/link", "target");
    machine.file("/etc/link", "file");
    EXPECT_EQ(testkit::contentsOf("/etc/target"), "target");
}

TEST(Machine, throwsWhenAFileCannotBeChanged)
{
    machine.file("/etc/file", "");
    EXPECT_THROW(machine.file("/etc/file/below", ""), std::system_error);
    EXPECT_THROW(machine.remove("/etc/nothing"), std::system_error);
    EXPECT_THROW(machine.link("/etc/file", "/"), std::system_error);
    EXPECT_THROW(testkit::contentsOf("/etc/nothing"), std::system_error);
}

TEST(Machine, obeysFilePermissions)
{
    machine.file("/etc/secret", "text");
    fs::permissions("/etc/secret", fs::perms::none);
    EXPECT_EQ(::open("/etc/secret", O_RDONLY | O_CLOEXEC), -1);
    EXPECT_EQ(errno, EACCES);
    EXPECT_NE(outputOf("/testkit/bin/cat /etc/secret 2>&1"), "text");
}

TEST(Machine, mountsTheRealMachineReadOnly)
{
    EXPECT_THROW(machine.file("/usr/lib/testkit", ""), std::system_error);
    EXPECT_THROW(machine.file(DOVREL_BUILD_FOLDER "/testkit", ""), std::system_error);
    EXPECT_FALSE(fs::exists("/usr/lib/testkit"));
}

TEST(Machine, runsAToolThroughTheShell)
{
    machine.file("/etc/words", "one\ntwo\n");
    machine.tool("/sbin/ifconfig", "grep two /etc/words; echo \"$1\"");
    EXPECT_EQ(outputOf("/sbin/ifconfig -a"), "two\n-a\n");
    EXPECT_EQ(outputOf("ifconfig -a"), "two\n-a\n");
}

TEST(Machine, hasOnlyTheToolsOfTheTest)
{
    EXPECT_EQ(outputOf("command -v cat ls dmidecode"), "");
}

TEST(Machine, opensAPseudoTerminal)
{
    auto const terminal = testkit::Channel::terminal();
    std::string const name = ::ptsname(terminal.reader);
    EXPECT_TRUE(name.starts_with("/dev/pts/")) << name;
    EXPECT_EQ(::write(terminal.writer, "x\n", 2), 2);
    char text[8] = {};
    EXPECT_EQ(::read(terminal.reader, text, sizeof text), 3);
    EXPECT_STREQ(text, "x\r\n");
}

TEST(Machine, hasANullDevice)
{
    int const null = ::open("/dev/null", O_RDWR | O_CLOEXEC);
    ASSERT_GE(null, 0);
    struct stat status { };
    ASSERT_EQ(::fstat(null, &status), 0);
    EXPECT_TRUE(S_ISCHR(status.st_mode));
    EXPECT_EQ(::write(null, "text", 4), 4);
    char byte = 0;
    EXPECT_EQ(::read(null, &byte, 1), 0);
    ::close(null);
}

TEST(Machine, hasTheBuildFolderAtItsRealPath)
{
    EXPECT_FALSE(fs::is_empty(DOVREL_BUILD_FOLDER));
    EXPECT_FALSE(fs::is_empty("/testkit/recorded"));
}

TEST(DescriptorGuard, passesWhenNothingStaysOpen)
{
    DescriptorGuard guard;
    ::close(::open("/", O_RDONLY | O_CLOEXEC));
}

TEST(DescriptorGuard, reportsADescriptorThatStaysOpen)
{
    int leaked = -1;
    EXPECT_NONFATAL_FAILURE(
        {
            DescriptorGuard guard;
            leaked = ::open("/", O_RDONLY | O_CLOEXEC);
        },
        "descriptors");
    ::close(leaked);
}

TEST(DescriptorGuard, reportsADescriptorThatWasClosed)
{
    int const open = ::open("/", O_RDONLY | O_CLOEXEC);
    EXPECT_NONFATAL_FAILURE(
        {
            DescriptorGuard guard;
            ::close(open);
        },
        "descriptors");
}

TEST(ChildGuard, reportsAChildThatWasNotWaitedFor)
{
    pid_t const child = ::fork();
    if (child == 0)
        ::_exit(0);
    ASSERT_GT(child, 0);
    EXPECT_NONFATAL_FAILURE(testkit::expectNoChildren(), "child");
    siginfo_t ended{};
    ASSERT_EQ(::waitid(P_PID, static_cast<id_t>(child), &ended, WEXITED | WNOWAIT), 0);
    EXPECT_NONFATAL_FAILURE(testkit::expectNoChildren(), "child");
    EXPECT_EQ(::waitpid(child, nullptr, 0), child);
    testkit::expectNoChildren();
}

TEST(ChildGuard, waitsForAChildThatIsBeingKilled)
{
    pid_t const child = ::fork();
    if (child == 0) {
        ::poll(nullptr, 0, 100);
        ::raise(SIGKILL);
    }
    ASSERT_GT(child, 0);
    testkit::reapKilledChildren();
    testkit::expectNoChildren();
}

TEST(ChildGuard, reportsAChildThatEndsByItselfLater)
{
    pid_t const child = ::fork();
    if (child == 0) {
        ::poll(nullptr, 0, 100);
        ::_exit(0);
    }
    ASSERT_GT(child, 0);
    testkit::reapKilledChildren();
    EXPECT_NONFATAL_FAILURE(testkit::expectNoChildren(), "child");
    EXPECT_EQ(::waitpid(child, nullptr, 0), child);
}

TEST(SystemCalls, endsAbsoluteSleepsAtOnceAndRecordsThem)
{
    int handled = 0;
    EXPECT_EQ(sleepUpTo(4'000), 0);
    calls.onSleep([&](int64_t) { ++handled; });
    EXPECT_EQ(sleepUpTo(7), 0);
    EXPECT_EQ(calls.sleeps(), (std::vector<int64_t>{4'000'000'000, 7'000'000}));
    EXPECT_EQ(handled, 1);
}

TEST(SystemCalls, passesRelativeSleepsToTheCLibrary)
{
    constexpr long MILLISECOND = 1'000'000;
    timespec const duration{0, 20 * MILLISECOND};
    auto const begin = std::chrono::steady_clock::now();
    EXPECT_EQ(::clock_nanosleep(CLOCK_MONOTONIC, 0, &duration, nullptr), 0);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(20));
    EXPECT_TRUE(calls.sleeps().empty());
}

TEST(SystemCalls, sleepForRealPassesAbsoluteSleepsToTheCLibrary)
{
    calls.sleepForReal();
    auto const begin = std::chrono::steady_clock::now();
    EXPECT_EQ(sleepUpTo(1), 0);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::seconds(1));
    EXPECT_TRUE(calls.sleeps().empty());
}

TEST(SystemCalls, endsRelativeSleepsWithAChildWhereATestWaitsForTools)
{
    // The child takes longer than one sleep, and a fraction of twenty.
    for (bool const waits : {false, true}) {
        if (waits)
            calls.waitForTools();
        pid_t const child = ::fork();
        ASSERT_GE(child, 0);
        timespec const second{1, 0};
        if (child == 0) {
            ::nanosleep(&second, nullptr);
            ::_exit(0);
        }
        timespec const length{0, 200'000'000};
        EXPECT_EQ(::clock_nanosleep(CLOCK_MONOTONIC, 0, &length, nullptr), 0);
        EXPECT_EQ(testkit::isChildRunning(), !waits);
        ::waitpid(child, nullptr, 0);
    }
}

TEST(SystemCalls, returnsTheRealTimeUnlessATestSetsOne)
{
    timespec real{};
    ASSERT_EQ(::clock_gettime(CLOCK_REALTIME, &real), 0);
    time_t out = 0;
    EXPECT_GE(::time(&out), real.tv_sec);
    EXPECT_LE(out, real.tv_sec + 60);

    calls.onTime([] { return time_t{1364133909}; });
    EXPECT_EQ(::time(&out), 1364133909);
    EXPECT_EQ(out, 1364133909);
    EXPECT_EQ(::time(nullptr), 1364133909);
    calls.reset();
    EXPECT_GE(::time(nullptr), real.tv_sec);
}

TEST(CapturedTrace, collectsUpToItsLevelUntilItIsDestroyed)
{
    auto const say = [](unsigned level, char const* word) {
        DOVREL_TRACE_SCOPE("void scope()");
        trace.write(level, "word: %s", word);
    };
    {
        CapturedTrace captured(3);
        say(3, "three");
        say(4, "four");
        ASSERT_EQ(captured.lines().size(), 1U);
        EXPECT_EQ(captured.lines()[0].scope, "void scope()");
        EXPECT_EQ(captured.text(3), "word: three\n");
        EXPECT_TRUE(captured.contains(3, "three"));
        EXPECT_FALSE(captured.contains(3, "four"));
        EXPECT_FALSE(captured.contains(1, "three"));
    }
    int called = 0;
    auto const count = [](void* context, unsigned, char const*, dovrel::string const&) {
        ++*static_cast<int*>(context);
    };
    dovrel::trace::setSink(count, &called);
    say(1, "one");
    EXPECT_EQ(called, 0) << "the level is still set";
    {
        CapturedTrace captured;
    }
    dovrel::trace::setDetailLevel(5);
    say(1, "without a sink");
    dovrel::trace::setDetailLevel(0);
    EXPECT_EQ(called, 0) << "the sink is still set";
}
