#include "common/basic/processstream/src/UnixCommand.h"
#include "tests/common/processstream/Child.h"
#include "tests/common/processstream/OtherHost.h"
#include "tests/common/processstream/ProcessCalls.h"
#include "tests/support/DescriptorGuard.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <sstream>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

using child::addedTo;
using dovrel::UnixCommand;
using testkit::openDescriptors;

namespace {

constexpr size_t DESCRIPTORS = 6;

bool isClosedOnExec(int fd)
{
    return (::fcntl(fd, F_GETFD) & FD_CLOEXEC) != 0;
}

/** Starts a child in full use of its streams, and says what is not as it should be. */
void useAChild(std::ostream& complaints)
{
    UnixCommand command("read line; echo \"got $line\"; echo error >&2; exit 6");
    command.stdInOut().write("text\n", 5);
    if (std::string const text = child::everythingFrom(command.stdInOut()); text != "got text\n")
        complaints << "output: " << text << '\n';
    if (std::string const text = child::everythingFrom(command.stdErr()); text != "error\n")
        complaints << "error output: " << text << '\n';
    if (int const status = child::statusOf(command); status != 6)
        complaints << "status: " << status << '\n';
}

}

TEST(UnixCommandDescriptors, areAllClosedOnExecOfOtherChildren)
{
    auto const before = openDescriptors();
    UnixCommand const command("exit 0");
    auto const own = addedTo(before, openDescriptors());
    EXPECT_EQ(own.size(), DESCRIPTORS);
    for (int const fd : own)
        EXPECT_TRUE(isClosedOnExec(fd)) << fd;
}

TEST(UnixCommandDescriptors, leaveTheChildItsStreamsAndTheStatusSocketKept)
{
    std::vector<int> inherited;
    for (int const fd : openDescriptors())
        if (fd > STDERR_FILENO && !isClosedOnExec(fd))
            inherited.push_back(fd);

    auto const before = openDescriptors();
    UnixCommand command("exec " DESCRIPTOR_LISTER);
    auto const own = addedTo(before, openDescriptors());
    std::istringstream list(child::everythingFrom(command.stdInOut()));
    std::vector<std::string> added;
    for (std::string entry; list >> entry;) {
        int const fd = std::stoi(entry);
        if (fd > STDERR_FILENO && !std::count(inherited.begin(), inherited.end(), fd))
            added.push_back(entry);
    }
    ASSERT_EQ(added.size(), 1U);
    EXPECT_EQ(added[0].back(), 's') << added[0];
    EXPECT_TRUE(std::count(own.begin(), own.end(), std::stoi(added[0])));
    EXPECT_EQ(child::statusOf(command), 0);
}

TEST(UnixCommandDescriptors, areNotLeftToTheNextChild)
{
    auto const before = openDescriptors();
    UnixCommand const first("exec /testkit/bin/sleep 0.2");
    auto const ofFirst = addedTo(before, openDescriptors());
    UnixCommand second("exec " DESCRIPTOR_LISTER);
    std::istringstream list(child::everythingFrom(second.stdInOut()));
    for (std::string entry; list >> entry;)
        EXPECT_FALSE(std::count(ofFirst.begin(), ofFirst.end(), std::stoi(entry))) << entry;
}

TEST(UnixCommandDescriptors, keepTheirNumbersUntilTheyAreDestroyed)
{
    auto const before = openDescriptors();
    UnixCommand command("exit 0");
    auto const own = addedTo(before, openDescriptors());
    ASSERT_EQ(own.size(), DESCRIPTORS);

    int const file = ::open("/tmp/file", O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    EXPECT_EQ(std::count(own.begin(), own.end(), file), 0);
    struct stat opened { };
    ASSERT_EQ(::fstat(file, &opened), 0);

    command.destroy();
    EXPECT_EQ(addedTo(before, openDescriptors()), std::vector<int>{file});
    struct stat still { };
    ASSERT_EQ(::fstat(file, &still), 0);
    EXPECT_EQ(still.st_ino, opened.st_ino);

    command.destroy();
    EXPECT_EQ(addedTo(before, openDescriptors()), std::vector<int>{file});
    EXPECT_EQ(::close(file), 0);
    EXPECT_EQ(child::statusOf(command), 0) << "the status can still be had";
}

TEST(UnixCommandDescriptors, areGoneForTheStreamsAfterTheyAreDestroyed)
{
    UnixCommand command("exit 0");
    command.destroy();
    // Whoever opens files now is given the same numbers.
    std::array<int, 8> files;
    for (int& file : files)
        file = ::open("/dev/null", O_RDWR | O_CLOEXEC);
    char byte = 0;
    EXPECT_THROW(command.stdInOut().read(&byte, 1), dovrel::ProcessException);
    EXPECT_THROW(command.stdInOut().write(&byte, 1), dovrel::ProcessException);
    EXPECT_THROW(command.stdErr().read(&byte, 1), dovrel::ProcessException);
    for (int const file : files)
        ::close(file);
}

TEST(UnixCommandDescriptors, areClosedOnce)
{
    int fd = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    int const number = fd;
    UnixCommand::checkClose(fd);
    EXPECT_EQ(fd, -1);
    EXPECT_EQ(::fcntl(number, F_GETFD), -1);
    errno = 0;
    UnixCommand::checkClose(fd);
    EXPECT_EQ(fd, -1);
    EXPECT_EQ(errno, 0) << "there was nothing to close";
}

TEST(UnixCommandDescriptors, keepOffTheStandardThreeThatAHostHasClosed)
{
    for (unsigned closed = 1; closed < 8; ++closed) {
        EXPECT_EQ(complaintsOfAnotherHost([&](std::ostream& complaints) {
            for (int fd = 0; fd < 3; ++fd)
                if ((closed >> fd & 1) != 0)
                    ::close(fd);
            useAChild(complaints);
            UnixCommand const command("exit 0");
            for (int fd = 0; fd < 3; ++fd)
                if ((closed >> fd & 1) != 0 && ::fcntl(fd, F_GETFD) != -1)
                    complaints << fd << " was taken\n";
        }),
            "")
            << closed;
    }
}

TEST(UnixCommandDescriptors, mayHaveNumbersBeyond1024)
{
    EXPECT_EQ(complaintsOfAnotherHost([](std::ostream& complaints) {
        constexpr rlim_t WANTED = 3000;
        rlimit limit{};
        ::getrlimit(RLIMIT_NOFILE, &limit);
        limit.rlim_cur = std::min(limit.rlim_max, WANTED);
        ::setrlimit(RLIMIT_NOFILE, &limit);
        int last = 0;
        while (last < 2000) {
            last = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
            if (last < 0) {
                complaints << "the system does not allow 2,000 descriptors\n";
                return;
            }
        }
        useAChild(complaints);
    }),
        "");
}

TEST(UnixCommandDescriptors, areAllGivenBackWhereTheHostHasNoMore)
{
    EXPECT_EQ(complaintsOfAnotherHost([](std::ostream& complaints) {
        // The sanitizers look through a pipe at an object whose type they have not seen before: let
        // them see a start and an exception while there are descriptors for it.
        {
            UnixCommand const first("exit 0");
        }
        try {
            processcalls::FailingCall const failing(
                processcalls::FORK, EAGAIN, processcalls::IN_PARENT, 1);
            UnixCommand const second("exit 0");
            complaints << "started without a process\n";
        } catch (dovrel::ProcessException const& exception) {
            if (exception.code() != EAGAIN)
                complaints << "without a process: " << exception.what() << '\n';
        }
        auto const before = openDescriptors();
        for (rlim_t room = 0; room <= DESCRIPTORS; ++room) {
            rlimit limit{};
            ::getrlimit(RLIMIT_NOFILE, &limit);
            rlimit const former = limit;
            // The lowest numbers may have gaps; fill them, so that the room is what is said here.
            int const next = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
            ::close(next);
            limit.rlim_cur = static_cast<rlim_t>(next) + room;
            ::setrlimit(RLIMIT_NOFILE, &limit);
            bool started = true;
            try {
                UnixCommand const command("exit 0");
            } catch (dovrel::ProcessException const& exception) {
                started = false;
                if (exception.code() != EMFILE)
                    complaints << "room " << room << ": " << exception.what() << '\n';
            }
            ::setrlimit(RLIMIT_NOFILE, &former);
            if (started && room < DESCRIPTORS)
                complaints << "started with room for " << room << '\n';
            if (openDescriptors() != before)
                complaints << "room " << room << ": descriptors were left open\n";
        }
    }),
        "");
}

TEST(UnixCommandDescriptors, giveTheHostNoControllingTerminal)
{
    EXPECT_EQ(complaintsOfAnotherHost([](std::ostream& complaints) {
        if (::setsid() == -1)
            complaints << "no session\n";
        auto const before = openDescriptors();
        UnixCommand const command("exit 0");
        int terminals = 0;
        for (int const fd : addedTo(before, openDescriptors())) {
            char name[64];
            if (::ptsname_r(fd, name, sizeof name) != 0)
                continue;
            ++terminals;
            if (::tcgetsid(fd) != -1)
                complaints << name << " is the session's terminal\n";
        }
        if (terminals != 1)
            complaints << terminals << " terminals\n";
    }),
        "");
}
