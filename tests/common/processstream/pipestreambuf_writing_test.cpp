#include "tests/common/processstream/FakeChild.h"
#include "tests/common/processstream/OtherHost.h"
#include "tests/common/processstream/ProcessCalls.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>

using dovrel::ProcessException;
using processcalls::RecordedSleeps;
using Milliseconds = std::vector<unsigned>;
using Texts = std::vector<std::string>;

namespace {

constexpr int END = std::char_traits<char>::eof();
constexpr int WHOLE_BUFFER = 256;
Answer const ALL{FakePipe::ALL};
Answer const NO_ROOM{0};
Answer const REFUSED{-1};

class Writing : public testing::Test {
protected:
    void willTake(std::deque<Answer> answers) { m_command.pipe.writes.set(std::move(answers)); }
    void put(std::string const& text)
    {
        EXPECT_EQ(m_buffer.sputn(text.data(), static_cast<std::streamsize>(text.size())),
            static_cast<std::streamsize>(text.size()));
    }
    Texts const& attempts() const { return m_command.pipe.attempts; }

    /** What is pending, as the next write is given it. */
    std::string pending()
    {
        willTake({ALL});
        m_command.pipe.attempts.clear();
        EXPECT_TRUE(m_buffer.flushInput());
        return attempts().empty() ? "" : attempts().back();
    }

    FakeCommand m_command;
    pipestreambuf m_buffer{m_command, m_command.pipe, std::ios_base::openmode()};
    RecordedSleeps m_sleeps;
};

}

TEST_F(Writing, sendsWhatIsPendingInOnePiece)
{
    put("answer\n");
    EXPECT_TRUE(m_buffer.flushInput());
    EXPECT_EQ(attempts(), Texts{"answer\n"});
    EXPECT_EQ(m_command.looks, 0U);
    EXPECT_EQ(m_sleeps.milliseconds(), Milliseconds{});
}

TEST_F(Writing, sendsNothingWhereNothingIsPending)
{
    EXPECT_TRUE(m_buffer.flushInput());
    EXPECT_EQ(m_buffer.pubsync(), 0);
    EXPECT_EQ(attempts(), Texts{});
}

TEST_F(Writing, takesAPartialWriteOffTheEndKept)
{
    willTake({{2}, {1}, ALL});
    put("abcdef");
    EXPECT_TRUE(m_buffer.flushInput());
    EXPECT_EQ(attempts(), (Texts{"abcdef", "abcd", "abc"}));
    EXPECT_EQ(m_sleeps.milliseconds(), Milliseconds(4, 10)) << "a round after each partial write";
}

TEST_F(Writing, stopsAtANegativeCountAndKeepsWhatIsPending)
{
    willTake({REFUSED});
    put("abc");
    EXPECT_FALSE(m_buffer.flushInput());
    EXPECT_EQ(attempts(), Texts{"abc"});
    EXPECT_EQ(m_command.looks, 0U);
    EXPECT_EQ(pending(), "abc");
}

TEST_F(Writing, stopsAtACountThatIsLargerThanAskedAndKeepsWhatIsPending)
{
    willTake({{4}});
    put("abc");
    EXPECT_FALSE(m_buffer.flushInput());
    EXPECT_EQ(attempts(), Texts{"abc"});
    EXPECT_EQ(pending(), "abc");
}

TEST_F(Writing, waitsForRoomAsLongAsItsTimeLasts)
{
    willTake({NO_ROOM});
    put("abc");
    EXPECT_FALSE(m_buffer.flushInput());
    EXPECT_EQ(attempts(), Texts(11, "abc"));
    EXPECT_EQ(m_command.looks, 10U);
    EXPECT_EQ(m_sleeps.milliseconds(), Milliseconds(20, 10));
    EXPECT_EQ(pending(), "abc");
}

TEST_F(Writing, hasOneTimeForAWholeFlush)
{
    willTake({{1}});
    put(std::string(50, 'a'));
    EXPECT_FALSE(m_buffer.flushInput());
    EXPECT_EQ(attempts().size(), 11U);
    EXPECT_EQ(pending(), std::string(39, 'a'));
}

TEST_F(Writing, hasAFreshTimeForTheNextFlush)
{
    willTake({NO_ROOM});
    m_buffer.setTimeout(20);
    put("abc");
    EXPECT_EQ(m_buffer.pubsync(), -1);
    EXPECT_EQ(m_buffer.pubsync(), -1);
    EXPECT_EQ(attempts().size(), 6U);
}

TEST_F(Writing, doesNotWaitWithATimeOutBelowTen)
{
    willTake({NO_ROOM});
    m_buffer.setTimeout(9);
    put("abc");
    EXPECT_EQ(m_buffer.pubsync(), -1);
    EXPECT_EQ(attempts().size(), 1U);
    EXPECT_EQ(m_sleeps.milliseconds(), Milliseconds{});
}

TEST_F(Writing, triesOnceMoreAfterTheChildsEnd)
{
    m_command.states.set({{0}});
    willTake({NO_ROOM});
    put("abc");
    EXPECT_FALSE(m_buffer.flushInput());
    EXPECT_EQ(attempts().size(), 2U);
    EXPECT_EQ(m_sleeps.milliseconds(), Milliseconds{});
}

TEST_F(Writing, tellsByItsResultWhetherAllWasSent)
{
    put("abc");
    EXPECT_EQ(m_buffer.pubsync(), 0);
    willTake({REFUSED});
    put("def");
    EXPECT_EQ(m_buffer.pubsync(), -1);
}

TEST_F(Writing, sendsACharacterThatOverflows)
{
    EXPECT_EQ(m_buffer.overflow('x'), 'x');
    EXPECT_EQ(m_buffer.overflow(0xFF), 0xFF);
    EXPECT_EQ(attempts(), (Texts{"x", "\xFF"}));
}

TEST_F(Writing, sendsNothingForTheEndOfFile)
{
    put("a");
    EXPECT_EQ(m_buffer.overflow(END), END);
    EXPECT_EQ(attempts(), Texts{});
}

TEST_F(Writing, sendsAFullPutAreaWithTheCharacterThatDoesNotFit)
{
    put(std::string(255, 'a'));
    EXPECT_EQ(attempts(), Texts{});
    EXPECT_EQ(m_buffer.sputc('b'), 'b');
    EXPECT_EQ(attempts(), Texts{std::string(255, 'a') + 'b'});
}

TEST_F(Writing, sendsALongTextInPiecesOfTheBuffersSize)
{
    put(std::string(1000, 'a'));
    EXPECT_EQ(attempts(), Texts(3, std::string(WHOLE_BUFFER, 'a')));
    EXPECT_EQ(pending(), std::string(1000 - 3 * WHOLE_BUFFER, 'a'));
}

TEST_F(Writing, storesNothingPastTheBufferWhereNothingCanBeSent)
{
    willTake({REFUSED});
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

TEST_F(Writing, takesTheCharacterWhereAFullBufferCanBeSentAtLast)
{
    willTake({REFUSED});
    put(std::string(255, 'a'));
    EXPECT_EQ(m_buffer.sputc('b'), END);
    willTake({ALL});
    EXPECT_EQ(m_buffer.overflow('c'), 'c');
    EXPECT_EQ(attempts().back().back(), 'c');
    EXPECT_EQ(pending(), "");
}

// In a process of its own: a text that is copied past the buffer's end takes the program with it.
TEST_F(Writing, storesNoTextPastTheBufferWhereNothingCanBeSent)
{
    EXPECT_EQ(complaintsOfAnotherHost([&](std::ostream& complaints) {
        willTake({REFUSED});
        std::string const text(WHOLE_BUFFER, 'a');
        m_buffer.sputn(text.data(), WHOLE_BUFFER);
        if (auto const taken = m_buffer.sputn("bc", 2); taken != 0)
            complaints << "without room it took " << taken << " of a text\n";
        std::string const left = pending();
        if (left.size() < 255 || text.compare(0, left.size(), left) != 0)
            complaints << "what was pending has become " << left << '\n';
    }),
        "");
}

TEST_F(Writing, sendsTheOutputOfEachOperationOfTheChildsStream)
{
    dovrel::pstream stream(&m_buffer);
    stream << "abc" << 4711;
    stream.put('x');
    stream.write("yz", 2);
    EXPECT_EQ(attempts(), (Texts{"abc", "4711", "x", "yz"}));
    stream << std::string(300, 'a');
    ASSERT_EQ(attempts().size(), 6U);
    EXPECT_EQ(attempts()[4], std::string(WHOLE_BUFFER, 'a'));
    EXPECT_EQ(attempts()[5], std::string(300 - WHOLE_BUFFER, 'a'));
    EXPECT_TRUE(stream.good());
}

// In a process of its own: an exception out of a flush behind an operation ends the program.
TEST_F(Writing, setsTheBadStateWhereAnOperationOfTheChildsStreamCannotBeSent)
{
    EXPECT_EQ(complaintsOfAnotherHost([&](std::ostream& complaints) {
        for (Answer const& refusal : {thrown(dovrel::REASON_PIPE), REFUSED, NO_ROOM}) {
            willTake({refusal});
            dovrel::pstream stream(&m_buffer);
            stream << "abc";
            if (!stream.bad())
                complaints << "the stream is not bad\n";
        }
    }),
        "");
}

TEST_F(Writing, reportsAFailureOfSyncByItsResult)
{
    willTake({thrown(dovrel::REASON_PIPE)});
    put("abc");
    EXPECT_EQ(m_buffer.pubsync(), -1);
    EXPECT_EQ(pending(), "abc");
}

TEST_F(Writing, passesAFailureOnWhichAStreamTurnsIntoItsBadState)
{
    willTake({thrown(dovrel::REASON_PIPE)});
    std::ostream stream(&m_buffer);
    stream << "abc" << std::flush;
    EXPECT_TRUE(stream.bad());
    EXPECT_THROW(m_buffer.flushInput(), ProcessException);
    EXPECT_EQ(pending(), "abc");
}
