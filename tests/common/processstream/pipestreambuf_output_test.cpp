#include "tests/common/processstream/FakeChild.h"
#include "tests/common/processstream/ForkedProcess.h"
#include "tests/common/processstream/ProcessCalls.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>

using dovrel::ProcessException;
using processcalls::RecordedSleeps;
using Milliseconds = std::vector<unsigned>;
using Strings = std::vector<std::string>;

namespace {

constexpr int END = std::char_traits<char>::eof();
constexpr int WHOLE_BUFFER = 256;
FakeResult const ALL{FakePipe::ALL};
FakeResult const NO_ROOM{0};
FakeResult const REJECTED{-1};

class PipeBufferOutput : public testing::Test {
protected:
    void setWrites(std::deque<FakeResult> results)
    {
        m_command.pipe.writes.set(std::move(results));
    }
    void put(std::string const& text)
    {
        EXPECT_EQ(m_buffer.sputn(text.data(), static_cast<std::streamsize>(text.size())),
            static_cast<std::streamsize>(text.size()));
    }
    Strings const& attempts() const { return m_command.pipe.attempts; }

    /** Flushes the pending bytes. @return the data of the write. */
    std::string pending()
    {
        setWrites({ALL});
        m_command.pipe.attempts.clear();
        EXPECT_TRUE(m_buffer.flushInput());
        return attempts().empty() ? "" : attempts().back();
    }

    FakeCommand m_command;
    pipestreambuf m_buffer{m_command, m_command.pipe, std::ios_base::openmode()};
    RecordedSleeps m_sleeps;
};

}

TEST_F(PipeBufferOutput, sendsPendingBytesInOneWrite)
{
    put("answer\n");
    EXPECT_TRUE(m_buffer.flushInput());
    EXPECT_EQ(attempts(), Strings{"answer\n"});
    EXPECT_EQ(m_command.checks, 0U);
    EXPECT_EQ(m_sleeps.milliseconds(), Milliseconds{});
}

TEST_F(PipeBufferOutput, writesNothingWhenNothingIsPending)
{
    EXPECT_TRUE(m_buffer.flushInput());
    EXPECT_EQ(m_buffer.pubsync(), 0);
    EXPECT_EQ(attempts(), Strings{});
}

TEST_F(PipeBufferOutput, removesAPartialWriteFromTheEndKept)
{
    setWrites({{2}, {1}, ALL});
    put("abcdef");
    EXPECT_TRUE(m_buffer.flushInput());
    EXPECT_EQ(attempts(), (Strings{"abcdef", "abcd", "abc"}));
    EXPECT_EQ(m_sleeps.milliseconds(), Milliseconds(4, 10))
        << "it must wait after each partial write";
}

TEST_F(PipeBufferOutput, keepsPendingBytesWhenAWriteReturnsAnInvalidCount)
{
    for (int const count : {-1, 4}) {
        m_command.pipe.attempts.clear();
        setWrites({{count}});
        put("abc");
        EXPECT_FALSE(m_buffer.flushInput());
        EXPECT_EQ(attempts(), Strings{"abc"}) << count;
        EXPECT_EQ(m_command.checks, 0U);
        EXPECT_EQ(pending(), "abc") << count;
    }
}

TEST_F(PipeBufferOutput, waitsForRoomUntilTheTimeOut)
{
    setWrites({NO_ROOM});
    put("abc");
    EXPECT_FALSE(m_buffer.flushInput());
    EXPECT_EQ(attempts(), Strings(11, "abc"));
    EXPECT_EQ(m_command.checks, 10U);
    EXPECT_EQ(m_sleeps.milliseconds(), Milliseconds(20, 10));
    EXPECT_EQ(pending(), "abc");
}

TEST_F(PipeBufferOutput, hasOneTimeOutForAWholeFlush)
{
    setWrites({{1}});
    put(std::string(50, 'a'));
    EXPECT_FALSE(m_buffer.flushInput());
    EXPECT_EQ(attempts().size(), 11U);
    EXPECT_EQ(pending(), std::string(39, 'a'));
}

TEST_F(PipeBufferOutput, restartsItsTimeOutForTheNextFlush)
{
    setWrites({NO_ROOM});
    m_buffer.setTimeout(20);
    put("abc");
    EXPECT_EQ(m_buffer.pubsync(), -1);
    EXPECT_EQ(m_buffer.pubsync(), -1);
    EXPECT_EQ(attempts().size(), 6U);
}

TEST_F(PipeBufferOutput, doesNotWaitWithATimeOutBelow10)
{
    setWrites({NO_ROOM});
    m_buffer.setTimeout(9);
    put("abc");
    EXPECT_EQ(m_buffer.pubsync(), -1);
    EXPECT_EQ(attempts().size(), 1U);
    EXPECT_EQ(m_sleeps.milliseconds(), Milliseconds{});
}

TEST_F(PipeBufferOutput, writesOnceMoreAfterTheChildHasEnded)
{
    m_command.states.set({{0}});
    setWrites({NO_ROOM});
    put("abc");
    EXPECT_FALSE(m_buffer.flushInput());
    EXPECT_EQ(attempts().size(), 2U);
    EXPECT_EQ(m_sleeps.milliseconds(), Milliseconds{});
}

TEST_F(PipeBufferOutput, syncReturnsWhetherAllWasSent)
{
    put("abc");
    EXPECT_EQ(m_buffer.pubsync(), 0);
    setWrites({REJECTED});
    put("def");
    EXPECT_EQ(m_buffer.pubsync(), -1);
}

TEST_F(PipeBufferOutput, overflowSendsItsCharacter)
{
    EXPECT_EQ(m_buffer.overflow('x'), 'x');
    EXPECT_EQ(m_buffer.overflow(0xFF), 0xFF);
    EXPECT_EQ(attempts(), (Strings{"x", "\xFF"}));
}

TEST_F(PipeBufferOutput, overflowSendsNothingForEndOfFile)
{
    put("a");
    EXPECT_EQ(m_buffer.overflow(END), END);
    EXPECT_EQ(attempts(), Strings{});
}

TEST_F(PipeBufferOutput, sendsAFullPutAreaWithTheNextCharacter)
{
    put(std::string(255, 'a'));
    EXPECT_EQ(attempts(), Strings{});
    EXPECT_EQ(m_buffer.sputc('b'), 'b');
    EXPECT_EQ(attempts(), Strings{std::string(255, 'a') + 'b'});
}

TEST_F(PipeBufferOutput, sendsALongStringInPiecesOfTheBuffersSize)
{
    put(std::string(1000, 'a'));
    EXPECT_EQ(attempts(), Strings(3, std::string(WHOLE_BUFFER, 'a')));
    EXPECT_EQ(pending(), std::string(1000 - 3 * WHOLE_BUFFER, 'a'));
}

TEST_F(PipeBufferOutput, storesNoCharacterPastTheBufferWhenWritesFail)
{
    setWrites({REJECTED});
    put(std::string(255, 'a'));
    EXPECT_EQ(m_buffer.sputc('b'), END);
    for (int i = 0; i < 1000; ++i) {
        EXPECT_EQ(m_buffer.sputc('c'), END);
        EXPECT_EQ(m_buffer.overflow('d'), END);
    }
    for (std::string const& attempt : attempts())
        ASSERT_LE(attempt.size(), static_cast<size_t>(WHOLE_BUFFER));
    EXPECT_EQ(pending().substr(0, 255), std::string(255, 'a'));
}

TEST_F(PipeBufferOutput, acceptsACharacterOnceAFullBufferIsSent)
{
    setWrites({REJECTED});
    put(std::string(255, 'a'));
    EXPECT_EQ(m_buffer.sputc('b'), END);
    setWrites({ALL});
    EXPECT_EQ(m_buffer.overflow('c'), 'c');
    EXPECT_EQ(attempts().back().back(), 'c');
    EXPECT_EQ(pending(), "");
}

// In a forked process, as a copy past the buffer's end would destroy the test program.
TEST_F(PipeBufferOutput, storesNoStringPastTheBufferWhenWritesFail)
{
    inForkedProcess([&] {
        setWrites({REJECTED});
        std::string const text(WHOLE_BUFFER, 'a');
        m_buffer.sputn(text.data(), WHOLE_BUFFER);
        EXPECT_EQ(m_buffer.sputn("bc", 2), 0);
        std::string const left = pending();
        EXPECT_GE(left.size(), 255U);
        EXPECT_EQ(left, text.substr(0, left.size()));
    });
}

TEST_F(PipeBufferOutput, isFlushedAfterEachOperationOfAStream)
{
    dovrel::pstream stream(&m_buffer);
    stream << "abc" << 4711;
    stream.put('x');
    stream.write("yz", 2);
    EXPECT_EQ(attempts(), (Strings{"abc", "4711", "x", "yz"}));
    stream << std::string(300, 'a');
    ASSERT_EQ(attempts().size(), 6U);
    EXPECT_EQ(attempts()[4], std::string(WHOLE_BUFFER, 'a'));
    EXPECT_EQ(attempts()[5], std::string(300 - WHOLE_BUFFER, 'a'));
    EXPECT_TRUE(stream.good());
}

// In a forked process, as an exception out of such a flush would end the test program.
TEST_F(PipeBufferOutput, makesAStreamBadWhenAnOperationCannotBeSent)
{
    inForkedProcess([&] {
        for (FakeResult const& rejection : {thrown(dovrel::REASON_PIPE), REJECTED, NO_ROOM}) {
            setWrites({rejection});
            dovrel::pstream stream(&m_buffer);
            stream << "abc";
            EXPECT_TRUE(stream.bad());
        }
    });
}

TEST_F(PipeBufferOutput, syncReturnsMinus1WhenThePipeThrows)
{
    setWrites({thrown(dovrel::REASON_PIPE)});
    put("abc");
    EXPECT_EQ(m_buffer.pubsync(), -1);
    EXPECT_EQ(pending(), "abc");
}

TEST_F(PipeBufferOutput, throwsAFailureOfThePipeAndMakesAStreamBad)
{
    setWrites({thrown(dovrel::REASON_PIPE)});
    std::ostream stream(&m_buffer);
    stream << "abc" << std::flush;
    EXPECT_TRUE(stream.bad());
    EXPECT_THROW(m_buffer.flushInput(), ProcessException);
    EXPECT_EQ(pending(), "abc");
}
