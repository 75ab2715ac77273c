#include "common/basic/processstream/src/UnixCommand.h"
#include "tests/common/processstream/Child.h"
#include "tests/common/processstream/ForkedProcess.h"
#include "tests/common/processstream/ProcessCalls.h"
#include "tests/common/processstream/ThrownFailure.h"
#include "tests/support/DescriptorGuard.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <fcntl.h>
#include <sstream>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

using child::openedSince;
using dovrel::UnixCommand;
using testkit::openDescriptors;

namespace {

constexpr size_t DESCRIPTORS = 6;

bool isCloseOnExec(int fd)
{
    return (::fcntl(fd, F_GETFD) & FD_CLOEXEC) != 0;
}

bool contains(std::vector<int> const& descriptors, int fd)
{
    return std::find(descriptors.begin(), descriptors.end(), fd) != descriptors.end();
}

/** A descriptor that is open in a child. */
struct Inherited {
    int fd;
    bool isSocket;
};

/** @return the open descriptors of a child that runs the lister. */
std::vector<Inherited> descriptorsIn(UnixCommand& lister)
{
    std::istringstream list(child::readAll(lister.stdInOut()));
    std::vector<Inherited> descriptors;
    for (std::string entry; list >> entry;)
        descriptors.push_back({std::stoi(entry), entry.back() == 's'});
    return descriptors;
}

/** Starts a child, and uses all of its streams. */
void useAChild()
{
    UnixCommand command("read line; echo \"got $line\"; echo error >&2; exit 6");
    command.stdInOut().write("text\n", 5);
    EXPECT_EQ(child::readAll(command.stdInOut()), "got text\n");
    EXPECT_EQ(child::readAll(command.stdErr()), "error\n");
    EXPECT_EQ(child::exitStatusOf(command), 6);
}

/** Starts a child while only @p room more descriptors are allowed. @return the failure. */
Failure failureWithRoomFor(rlim_t room)
{
    rlimit limit{};
    ::getrlimit(RLIMIT_NOFILE, &limit);
    rlimit const former = limit;
    // The limit is on numbers: count from the lowest free one.
    int const next = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    ::close(next);
    limit.rlim_cur = static_cast<rlim_t>(next) + room;
    ::setrlimit(RLIMIT_NOFILE, &limit);
    Failure const failure = failureOf([] { UnixCommand const command("exit 0"); });
    ::setrlimit(RLIMIT_NOFILE, &former);
    return failure;
}

}

TEST(UnixCommandDescriptors, areAllCloseOnExec)
{
    auto const before = openDescriptors();
    UnixCommand const command("exit 0");
    auto const own = openedSince(before);
    EXPECT_EQ(own.size(), DESCRIPTORS);
    for (int const fd : own)
        EXPECT_TRUE(isCloseOnExec(fd)) << fd;
}

TEST(UnixCommandDescriptors, passTheChildOnlyItsStreamsAndTheStatusSocketKept)
{
    auto const before = openDescriptors();
    UnixCommand command("exec " DESCRIPTOR_LISTER);
    auto const own = openedSince(before);
    std::vector<Inherited> added;
    for (Inherited const& descriptor : descriptorsIn(command)) {
        int const fd = descriptor.fd;
        bool const isTheHosts = contains(before, fd) && !isCloseOnExec(fd);
        if (fd > STDERR_FILENO && !isTheHosts)
            added.push_back(descriptor);
    }
    ASSERT_EQ(added.size(), 1U);
    EXPECT_TRUE(added[0].isSocket);
    EXPECT_TRUE(contains(own, added[0].fd));
    EXPECT_EQ(child::exitStatusOf(command), 0);
}

TEST(UnixCommandDescriptors, areNotInheritedByAnotherChild)
{
    auto const before = openDescriptors();
    UnixCommand const first("exec /testkit/bin/sleep 0.2");
    auto const ofFirst = openedSince(before);
    UnixCommand second("exec " DESCRIPTOR_LISTER);
    auto const ofSecond = descriptorsIn(second);
    EXPECT_GT(ofSecond.size(), 3U);
    for (Inherited const& descriptor : ofSecond)
        EXPECT_FALSE(contains(ofFirst, descriptor.fd)) << descriptor.fd;
}

TEST(UnixCommandDescriptors, keepTheirNumbersReservedUntilDestroy)
{
    auto const before = openDescriptors();
    UnixCommand command("exit 0");
    auto const own = openedSince(before);
    ASSERT_EQ(own.size(), DESCRIPTORS);

    int const file = ::open("/tmp/file", O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    EXPECT_FALSE(contains(own, file));
    struct stat opened { };
    ASSERT_EQ(::fstat(file, &opened), 0);

    command.destroy();
    EXPECT_EQ(openedSince(before), std::vector<int>{file});
    struct stat still { };
    ASSERT_EQ(::fstat(file, &still), 0);
    EXPECT_EQ(still.st_ino, opened.st_ino);

    command.destroy();
    EXPECT_EQ(openedSince(before), std::vector<int>{file});
    EXPECT_EQ(::close(file), 0);
    EXPECT_EQ(child::exitStatusOf(command), 0) << "the status must still be available";
}

TEST(UnixCommandDescriptors, cannotBeReadOrWrittenAfterDestroy)
{
    UnixCommand command("exit 0");
    command.destroy();
    // These files get the numbers that the command had.
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

TEST(UnixCommandDescriptors, areClosedOnceByCheckClose)
{
    int fd = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    int const number = fd;
    UnixCommand::checkClose(fd);
    EXPECT_EQ(fd, -1);
    EXPECT_EQ(::fcntl(number, F_GETFD), -1);
    errno = 0;
    UnixCommand::checkClose(fd);
    EXPECT_EQ(fd, -1);
    EXPECT_EQ(errno, 0) << "it must not call close with -1";
}

TEST(UnixCommandDescriptors, areAbove2WhenTheHostHasClosed0To2)
{
    withStandardDescriptorsClosed([](std::vector<int> const& closed) {
        useAChild();
        UnixCommand const command("exit 0");
        for (int const fd : closed)
            EXPECT_EQ(::fcntl(fd, F_GETFD), -1) << fd;
    });
}

TEST(UnixCommandDescriptors, mayBeAbove1024)
{
    inForkedProcess([] {
        constexpr rlim_t WANTED = 3000;
        rlimit limit{};
        ::getrlimit(RLIMIT_NOFILE, &limit);
        limit.rlim_cur = std::min(limit.rlim_max, WANTED);
        ::setrlimit(RLIMIT_NOFILE, &limit);
        for (int last = 0; last < 2000;) {
            last = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
            ASSERT_GE(last, 0) << "the system does not allow 2,000 descriptors";
        }
        useAChild();
    });
}

TEST(UnixCommandDescriptors, areAllClosedWhenAStartRunsOutOfDescriptors)
{
    inForkedProcess([] {
        // The sanitizers open a pipe to check an object of a type that is new to them. Show them a
        // start and an exception before the descriptors run out.
        {
            UnixCommand const first("exit 0");
        }
        {
            processcalls::FailingCall const failing(processcalls::FORK, EAGAIN);
            EXPECT_EQ(failureOf([] { UnixCommand const second("exit 0"); }),
                Failure(dovrel::REASON_FORK, EAGAIN));
        }
        auto const before = openDescriptors();
        for (rlim_t room = 0; room <= DESCRIPTORS; ++room) {
            Failure const failure = failureWithRoomFor(room);
            EXPECT_TRUE(failure.second == EMFILE || (room == DESCRIPTORS && failure == NO_FAILURE))
                << "with room for " << room << " the code is " << failure.second;
            EXPECT_EQ(openDescriptors(), before) << "with room for " << room;
        }
    });
}

TEST(UnixCommandDescriptors, doNotGiveTheHostAControllingTerminal)
{
    inForkedProcess([] {
        EXPECT_NE(::setsid(), -1);
        auto const before = openDescriptors();
        UnixCommand const command("exit 0");
        int terminals = 0;
        for (int const fd : openedSince(before)) {
            char name[64];
            if (::ptsname_r(fd, name, sizeof name) != 0)
                continue;
            ++terminals;
            EXPECT_EQ(::tcgetsid(fd), -1) << name << " must not be the session's terminal";
        }
        EXPECT_EQ(terminals, 1);
    });
}
