#include "common/basic/noncopyable.h"
#include "common/basic/processstream/src/UnixCommand.h"
#include "tests/common/processstream/ProcessCalls.h"
#include "tests/common/processstream/ThrownFailure.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <string>
#include <termios.h>
#include <unistd.h>

using processcalls::FailingCall;

namespace {

/** @return the failure that @p work throws. Expects that it has a line. */
template <class Work> Failure failureWithLineOf(Work work)
{
    auto const exception = exceptionOf(work);
    EXPECT_TRUE(exception && exception->line() != 0);
    return exception ? Failure(exception->reason(), exception->code()) : NO_FAILURE;
}

class UnixPipe : public testing::Test {
protected:
    UnixPipe()
    {
        EXPECT_EQ(::pipe2(m_ends, O_CLOEXEC | O_NONBLOCK), 0);
        m_reading.setDescriptor(m_ends[0]);
        m_writing.setDescriptor(m_ends[1]);
    }
    ~UnixPipe() override
    {
        for (int& end : m_ends)
            dovrel::UnixCommand::checkClose(end);
    }

    int m_ends[2] = {-1, -1};
    dovrel::UnixPipe m_reading;
    dovrel::UnixPipe m_writing;
    char m_data[8] = {};
};

/** A pseudo-terminal whose slave side is open. */
struct Terminal : dovrel::noncopyable_::noncopyable {
    Terminal() : master(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC))
    {
        ::grantpt(master);
        ::unlockpt(master);
        slave = ::open(::ptsname(master), O_RDWR | O_NOCTTY | O_CLOEXEC);
    }
    ~Terminal()
    {
        dovrel::UnixCommand::checkClose(slave);
        dovrel::UnixCommand::checkClose(master);
    }

    int master;
    int slave = -1;
};

}

TEST_F(UnixPipe, readsTheAvailableData)
{
    EXPECT_EQ(m_writing.write("abc", 3), 3);
    EXPECT_EQ(m_reading.read(m_data, 2), 2);
    EXPECT_EQ(m_reading.read(m_data + 2, 5), 1);
    EXPECT_STREQ(m_data, "abc");
}

TEST_F(UnixPipe, readReturns0WhenNoDataIsAvailable)
{
    EXPECT_EQ(m_reading.read(m_data, sizeof m_data), 0);
}

TEST_F(UnixPipe, readReturnsMinus1WhenTheOtherSideIsClosed)
{
    m_writing.write("a", 1);
    dovrel::UnixCommand::checkClose(m_ends[1]);
    EXPECT_EQ(m_reading.read(m_data, sizeof m_data), 1);
    errno = EAGAIN;
    EXPECT_EQ(m_reading.read(m_data, sizeof m_data), -1) << "it must ignore an old errno";
}

TEST_F(UnixPipe, readReturnsMinus1WhenTheTerminalsOtherSideIsClosed)
{
    Terminal terminal;
    m_reading.setDescriptor(terminal.master);
    m_writing.setDescriptor(terminal.slave);
    m_writing.write("a", 1);
    dovrel::UnixCommand::checkClose(terminal.slave);
    EXPECT_EQ(m_reading.read(m_data, sizeof m_data), 1);
    EXPECT_EQ(m_reading.read(m_data, sizeof m_data), -1);
}

TEST_F(UnixPipe, readThrowsWhenTheDescriptorCannotBeRead)
{
    dovrel::UnixPipe none;
    EXPECT_EQ(
        failureWithLineOf([&] { none.read(m_data, 1); }), Failure(dovrel::REASON_PIPE, EBADF));
    EXPECT_EQ(
        failureWithLineOf([&] { m_writing.read(m_data, 1); }), Failure(dovrel::REASON_PIPE, EBADF));
}

TEST_F(UnixPipe, writeThrowsWhenTheDescriptorCannotBeWritten)
{
    EXPECT_EQ(
        failureWithLineOf([&] { m_reading.write("a", 1); }), Failure(dovrel::REASON_PIPE, EBADF));
}

TEST_F(UnixPipe, writeThrowsWhenThePipeIsFull)
{
    std::string const much(1 << 20, 'a');
    int const taken = m_writing.write(much.data(), static_cast<unsigned>(much.size()));
    EXPECT_GT(taken, 0);
    EXPECT_LT(taken, 1 << 20);
    EXPECT_EQ(
        failureWithLineOf([&] { m_writing.write("a", 1); }), Failure(dovrel::REASON_PIPE, EAGAIN));
}

TEST_F(UnixPipe, repeatsInterruptedReadsAndWrites)
{
    {
        FailingCall const interrupted(processcalls::WRITE, EINTR);
        EXPECT_EQ(m_writing.write("a", 1), 1);
        EXPECT_EQ(processcalls::callsMade(processcalls::WRITE), 2U);
    }
    FailingCall const interrupted(processcalls::READ, EINTR);
    EXPECT_EQ(m_reading.read(m_data, 1), 1);
    EXPECT_EQ(processcalls::callsMade(processcalls::READ), 2U);
}

TEST(MakeTermRaw, passesBytesUnchanged)
{
    Terminal const terminal;
    ASSERT_TRUE(dovrel::makeTermRaw(terminal.slave));
    termios mode{};
    ASSERT_EQ(::tcgetattr(terminal.slave, &mode), 0);
    EXPECT_EQ(
        mode.c_lflag & static_cast<tcflag_t>(ICANON | ECHO | ECHOE | ECHOK | ECHONL | ISIG), 0U);
    EXPECT_EQ(mode.c_oflag & static_cast<tcflag_t>(OPOST), 0U);
    EXPECT_EQ(mode.c_iflag & static_cast<tcflag_t>(ICRNL | IXON), 0U);
    EXPECT_EQ(mode.c_cc[VMIN], 0);
    EXPECT_EQ(mode.c_cc[VTIME], 1);

    EXPECT_EQ(::write(terminal.master, "\r\x03\n", 3), 3);
    char text[4] = {};
    EXPECT_EQ(::read(terminal.slave, text, 3), 3);
    EXPECT_STREQ(text, "\r\x03\n");
    EXPECT_EQ(::read(terminal.slave, text, 3), 0) << "a read must end after a tenth of a second";
}

TEST(MakeTermRaw, returnsFalseWhenTheDescriptorIsNoTerminal)
{
    EXPECT_FALSE(dovrel::makeTermRaw(-1));
    EXPECT_EQ(errno, EBADF);
    int const null = ::open("/dev/null", O_RDWR | O_CLOEXEC);
    EXPECT_FALSE(dovrel::makeTermRaw(null));
    EXPECT_EQ(errno, ENOTTY);
    ::close(null);
}

TEST(MakeTermRaw, returnsFalseWhenTheModeCannotBeSet)
{
    Terminal const terminal;
    FailingCall const failing(processcalls::TCSETATTR, EIO);
    EXPECT_FALSE(dovrel::makeTermRaw(terminal.slave));
    EXPECT_EQ(errno, EIO);
}
