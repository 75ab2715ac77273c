#include "tests/common/processstream/FakeChild.h"
#include "tests/common/processstream/ProcessCalls.h"

#include <gtest/gtest.h>

#include <istream>
#include <limits>
#include <string>

using dovrel::ProcessException;
using processcalls::RecordedSleeps;
using Milliseconds = std::vector<unsigned>;

namespace {

constexpr int END = std::char_traits<char>::eof();
constexpr std::streamoff NOWHERE = -1;
Answer const NOTHING{0};
Answer const NO_MORE{-1};

class Reading : public testing::Test {
protected:
    void willRead(std::deque<Answer> answers) { m_command.pipe.reads.set(std::move(answers)); }
    size_t reads() const { return m_command.pipe.readSizes.size(); }

    FakeCommand m_command;
    pipestreambuf m_buffer{m_command, m_command.pipe, std::ios_base::openmode()};
    RecordedSleeps m_sleeps;
};

}

TEST_F(Reading, asksForAtMost255Bytes)
{
    willRead({{0, std::string(1000, 'a')}, {0, "b"}, NO_MORE});
    EXPECT_EQ(m_buffer.sgetc(), 'a');
    EXPECT_EQ(m_buffer.in_avail(), 255);
    std::string text(300, '-');
    EXPECT_EQ(m_buffer.sgetn(text.data(), 300), 256);
    EXPECT_EQ(text.substr(0, 257), std::string(255, 'a') + "b-");
    EXPECT_EQ(m_command.pipe.readSizes, std::vector<unsigned>(3, 255));
}

TEST_F(Reading, joinsThePiecesOfADataStream)
{
    willRead({{0, "one\nt"}, NOTHING, {0, "wo\n"}, {0, "\nth"}, NOTHING, {0, "ree"}, NO_MORE});
    std::istream stream(&m_buffer);
    std::string line;
    std::string all;
    while (std::getline(stream, line))
        all += '[' + line + ']';
    EXPECT_EQ(all, "[one][two][][three]");
}

TEST_F(Reading, givesTheWaitingCharacterWithoutAsking)
{
    willRead({{0, "ab"}, {0, "cd"}});
    EXPECT_EQ(m_buffer.timed_underflow(0), 'a');
    EXPECT_EQ(m_buffer.timed_underflow(0), 'a');
    EXPECT_EQ(m_buffer.sbumpc(), 'a');
    EXPECT_EQ(m_buffer.underflow(), 'b');
    EXPECT_EQ(reads(), 1U);
}

TEST_F(Reading, takesAWaitingNewlineForNoneAndLosesWhatIsBehindItKept)
{
    willRead({{0, "a\nlost"}, {0, "next"}});
    EXPECT_EQ(m_buffer.sbumpc(), 'a');
    EXPECT_EQ(m_buffer.timed_underflow(100), 'n');
    EXPECT_EQ(reads(), 2U);
    EXPECT_EQ(m_buffer.in_avail(), 4);
}

TEST_F(Reading, endsAtAWaitingNewlineThatNothingFollowsKept)
{
    willRead({{0, "\nrest"}, NO_MORE});
    EXPECT_EQ(m_buffer.sgetc(), '\n');
    EXPECT_EQ(m_buffer.underflow(), END);
    EXPECT_EQ(m_buffer.sgetc(), '\n') << "the failed refill leaves what waits";
}

TEST_F(Reading, neitherSleepsNorLooksWithATimeOutBelowTen)
{
    EXPECT_EQ(m_buffer.timed_underflow(0), END);
    EXPECT_EQ(m_buffer.timed_underflow(9), END);
    EXPECT_EQ(reads(), 2U);
    EXPECT_EQ(m_command.looks, 0U);
    EXPECT_EQ(m_sleeps.milliseconds(), Milliseconds{});
}

TEST_F(Reading, takesTwentyMillisecondsForTenOfItsTimeKept)
{
    EXPECT_EQ(m_buffer.sgetc(), END);
    EXPECT_EQ(reads(), 11U);
    EXPECT_EQ(m_command.looks, 10U);
    EXPECT_EQ(m_sleeps.milliseconds(), Milliseconds(20, 10));
}

TEST_F(Reading, dropsWhatIsLeftOfItsTimeBelowTen)
{
    EXPECT_EQ(m_buffer.timed_underflow(29), END);
    EXPECT_EQ(reads(), 3U);
    EXPECT_EQ(m_sleeps.milliseconds(), Milliseconds(4, 10));
}

TEST_F(Reading, givesWhatComesWithinTheTime)
{
    willRead({NOTHING, NOTHING, NOTHING, {0, "late"}});
    EXPECT_EQ(m_buffer.timed_underflow(30), 'l');
    EXPECT_EQ(m_command.looks, 3U);
    EXPECT_EQ(m_sleeps.milliseconds(), Milliseconds(6, 10));
}

TEST_F(Reading, hasAFreshTimeForEachPiece)
{
    willRead({NOTHING, NOTHING, {0, "a"}, NOTHING, NOTHING, {0, "b"}, NOTHING});
    EXPECT_EQ(m_buffer.setTimeout(20), 100U);
    EXPECT_EQ(m_buffer.sbumpc(), 'a');
    EXPECT_EQ(m_buffer.sbumpc(), 'b');
    EXPECT_EQ(m_buffer.sbumpc(), END);
}

TEST_F(Reading, endsWhereThePipeSaysSo)
{
    willRead({NO_MORE});
    EXPECT_EQ(m_buffer.sgetc(), END);
    EXPECT_EQ(reads(), 1U);
    EXPECT_EQ(m_command.looks, 0U);
}

TEST_F(Reading, canGoOnAfterItsTimeWasUsedUp)
{
    m_buffer.setTimeout(0);
    EXPECT_EQ(m_buffer.sgetc(), END);
    willRead({{0, "later"}});
    EXPECT_EQ(m_buffer.sgetc(), 'l');
}

TEST_F(Reading, collectsWhatTheChildLeftWhenItEnded)
{
    m_command.states.set({{0}});
    willRead({NOTHING, {0, "last"}, NOTHING});
    std::string text(9, '-');
    EXPECT_EQ(m_buffer.sgetn(text.data(), 9), 4);
    EXPECT_EQ(text, "last-----");
    EXPECT_EQ(m_sleeps.milliseconds(), Milliseconds{}) << "there is nothing to wait for";
}

TEST_F(Reading, endsAtTheFirstEmptyReadAfterTheChildsEnd)
{
    m_command.states.set({{0}});
    m_buffer.setTimeout(1'000'000);
    EXPECT_EQ(m_buffer.sgetc(), END);
    EXPECT_EQ(reads(), 2U);
    EXPECT_EQ(m_command.looks, 1U);
    EXPECT_EQ(m_sleeps.milliseconds(), Milliseconds{});
}

TEST_F(Reading, endsLikewiseWhereTheChildCannotBeFound)
{
    m_command.states.set({thrown(dovrel::REASON_EXIT_STATUS)});
    m_buffer.setTimeout(1'000'000);
    EXPECT_EQ(m_buffer.sgetc(), END);
    EXPECT_EQ(reads(), 2U);
}

TEST_F(Reading, givesBytesFrom0x80OnUnsigned)
{
    willRead({{0, "\xFF\x80z"}, NO_MORE});
    EXPECT_EQ(m_buffer.timed_underflow(0), 0xFF);
    EXPECT_EQ(m_buffer.sbumpc(), 0xFF);
    EXPECT_EQ(m_buffer.underflow(), 0x80);
}

TEST_F(Reading, givesBytesOfZero)
{
    willRead({{0, std::string("\0\0", 2)}, NO_MORE});
    EXPECT_EQ(m_buffer.sbumpc(), 0);
    EXPECT_EQ(m_buffer.sbumpc(), 0);
    EXPECT_EQ(m_buffer.sbumpc(), END);
}

TEST_F(Reading, passesAFailureOnWhichAStreamTurnsIntoItsBadState)
{
    willRead({{0, "a"}, thrown(dovrel::REASON_PIPE)});
    std::istream stream(&m_buffer);
    EXPECT_EQ(stream.get(), 'a');
    EXPECT_EQ(stream.get(), END);
    EXPECT_TRUE(stream.bad());
    EXPECT_THROW(m_buffer.underflow(), ProcessException);

    stream.clear();
    stream.exceptions(std::ios_base::badbit);
    EXPECT_THROW(stream.get(), ProcessException);
}

TEST_F(Reading, returnsTheFormerTimeOut)
{
    EXPECT_EQ(m_buffer.setTimeout(1000), 100U);
    EXPECT_EQ(m_buffer.setTimeout(0), 1000U);
    EXPECT_EQ(m_buffer.setTimeout(7), 0U);
}

TEST_F(Reading, waitsOneRoundAtATime)
{
    unsigned remaining = 25;
    EXPECT_TRUE(m_buffer.wait(remaining));
    EXPECT_EQ(remaining, 15U);
    EXPECT_TRUE(m_buffer.wait(remaining));
    EXPECT_EQ(remaining, 5U);
    EXPECT_EQ(m_sleeps.milliseconds(), Milliseconds(4, 10));
    EXPECT_FALSE(m_buffer.wait(remaining));
    EXPECT_EQ(remaining, 5U);
    EXPECT_EQ(m_command.looks, 2U);

    remaining = 10;
    EXPECT_TRUE(m_buffer.wait(remaining));
    EXPECT_EQ(remaining, 0U);
    EXPECT_FALSE(m_buffer.wait(remaining));
}

TEST_F(Reading, waitsNoLongerForAChildThatHasEndedOrIsGone)
{
    m_command.states.set({thrown(dovrel::REASON_EXIT_STATUS), {3}});
    unsigned remaining = 500;
    EXPECT_TRUE(m_buffer.wait(remaining));
    EXPECT_EQ(remaining, 0U);
    remaining = 500;
    EXPECT_TRUE(m_buffer.wait(remaining));
    EXPECT_EQ(remaining, 0U);
    EXPECT_EQ(m_sleeps.milliseconds(), Milliseconds{});
}

TEST_F(Reading, movesBackOverWhatWasReadAlone)
{
    using Stream = std::ios_base;
    willRead({{0, "abc"}, NO_MORE});
    EXPECT_EQ(m_buffer.sbumpc(), 'a');
    EXPECT_EQ(m_buffer.sbumpc(), 'b');

    auto const both = Stream::in | Stream::out;
    EXPECT_EQ(m_buffer.pubseekoff(1, Stream::cur, Stream::in), NOWHERE);
    EXPECT_EQ(m_buffer.pubseekoff(-3, Stream::cur, Stream::in), NOWHERE);
    EXPECT_EQ(m_buffer.pubseekoff(-1, Stream::beg, Stream::in), NOWHERE);
    EXPECT_EQ(m_buffer.pubseekoff(-1, Stream::end, Stream::in), NOWHERE);
    EXPECT_EQ(m_buffer.pubseekoff(0, Stream::beg, Stream::in), NOWHERE);
    EXPECT_EQ(m_buffer.pubseekoff(-1, Stream::cur, Stream::out), NOWHERE);
    EXPECT_EQ(m_buffer.pubseekoff(0, Stream::cur, Stream::out), NOWHERE);
    EXPECT_EQ(m_buffer.sgetc(), 'c') << "none of these moves anything";

    EXPECT_EQ(m_buffer.pubseekoff(0, Stream::cur, Stream::in), 0);
    EXPECT_EQ(m_buffer.sgetc(), 'c');
    EXPECT_EQ(m_buffer.pubseekoff(-1, Stream::cur, Stream::in), 0);
    EXPECT_EQ(m_buffer.sgetc(), 'b');
    EXPECT_EQ(m_buffer.pubseekoff(-1, Stream::cur, both), 0);
    EXPECT_EQ(m_buffer.sgetc(), 'a');
    EXPECT_EQ(m_buffer.pubseekoff(-1, Stream::cur), NOWHERE);
    EXPECT_EQ(m_buffer.pubseekpos(0), NOWHERE);
}

TEST_F(Reading, movesBackToTheStartOfTheLatestPieceOnly)
{
    willRead({{0, "ab"}, {0, "cd"}, NO_MORE});
    for (int i = 0; i < 3; ++i)
        m_buffer.sbumpc();
    EXPECT_EQ(m_buffer.pubseekoff(-2, std::ios_base::cur, std::ios_base::in), NOWHERE);
    EXPECT_EQ(m_buffer.pubseekoff(-1, std::ios_base::cur, std::ios_base::in), 0);
    EXPECT_EQ(m_buffer.sgetc(), 'c');
}

TEST_F(Reading, movesNowhereByAnAbsurdOffset)
{
    constexpr auto LEAST = std::numeric_limits<std::streamoff>::min();
    willRead({{0, "ab"}, NO_MORE});
    m_buffer.sbumpc();
    EXPECT_EQ(m_buffer.pubseekoff(-(1LL << 32), std::ios_base::cur, std::ios_base::in), NOWHERE);
    EXPECT_EQ(m_buffer.pubseekoff(LEAST, std::ios_base::cur, std::ios_base::in), NOWHERE);
    EXPECT_EQ(m_buffer.sgetc(), 'b');
}

TEST_F(Reading, hasNothingToMoveBackOverBeforeTheFirstPiece)
{
    EXPECT_EQ(m_buffer.pubseekoff(0, std::ios_base::cur, std::ios_base::in), 0);
    EXPECT_EQ(m_buffer.pubseekoff(-1, std::ios_base::cur, std::ios_base::in), NOWHERE);
    EXPECT_EQ(m_buffer.in_avail(), 0);
    EXPECT_EQ(reads(), 0U);
}
