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

constexpr int END_OF_INPUT = std::char_traits<char>::eof();
constexpr std::streamoff FAILED = -1;
FakeResult const NO_DATA{0};
FakeResult const END_OF_DATA{-1};

class PipeBufferInput : public testing::Test {
protected:
    void setReads(std::deque<FakeResult> results) { m_command.pipe.reads.set(std::move(results)); }
    size_t reads() const { return m_command.pipe.readSizes.size(); }

    FakeCommand m_command;
    pipestreambuf m_buffer{m_command, m_command.pipe, std::ios_base::openmode()};
    RecordedSleeps m_sleeps;
};

}

TEST_F(PipeBufferInput, requestsAtMost255Bytes)
{
    setReads({{0, std::string(1000, 'a')}, {0, "b"}, END_OF_DATA});
    EXPECT_EQ(m_buffer.sgetc(), 'a');
    EXPECT_EQ(m_buffer.in_avail(), 255);
    std::string text(300, '-');
    EXPECT_EQ(m_buffer.sgetn(text.data(), 300), 256);
    EXPECT_EQ(text.substr(0, 257), std::string(255, 'a') + "b-");
    EXPECT_EQ(m_command.pipe.readSizes, std::vector<unsigned>(3, 255));
}

TEST_F(PipeBufferInput, joinsThePiecesThatReadsReturn)
{
    setReads({{0, "one\nt"}, NO_DATA, {0, "wo\n"}, {0, "\nth"}, NO_DATA, {0, "ree"}, END_OF_DATA});
    std::istream stream(&m_buffer);
    std::string line;
    std::string all;
    while (std::getline(stream, line))
        all += '[' + line + ']';
    EXPECT_EQ(all, "[one][two][][three]");
}

TEST_F(PipeBufferInput, returnsAWaitingCharacterWithoutARead)
{
    setReads({{0, "ab"}, {0, "cd"}});
    EXPECT_EQ(m_buffer.timed_underflow(0), 'a');
    EXPECT_EQ(m_buffer.timed_underflow(0), 'a');
    EXPECT_EQ(m_buffer.sbumpc(), 'a');
    EXPECT_EQ(m_buffer.underflow(), 'b');
    EXPECT_EQ(reads(), 1U);
}

TEST_F(PipeBufferInput, discardsAWaitingNewlineAndTheRestOfThePieceKept)
{
    setReads({{0, "a\nlost"}, {0, "next"}});
    EXPECT_EQ(m_buffer.sbumpc(), 'a');
    EXPECT_EQ(m_buffer.timed_underflow(100), 'n');
    EXPECT_EQ(reads(), 2U);
    EXPECT_EQ(m_buffer.in_avail(), 4);
}

TEST_F(PipeBufferInput, endsAtAWaitingNewlineWhenTheDataEndsKept)
{
    setReads({{0, "\nrest"}, END_OF_DATA});
    EXPECT_EQ(m_buffer.sgetc(), '\n');
    EXPECT_EQ(m_buffer.underflow(), END_OF_INPUT);
    EXPECT_EQ(m_buffer.sgetc(), '\n') << "a failed refill must keep the old data";
}

TEST_F(PipeBufferInput, neitherSleepsNorChecksTheChildWithATimeOutBelow10)
{
    EXPECT_EQ(m_buffer.timed_underflow(0), END_OF_INPUT);
    EXPECT_EQ(m_buffer.timed_underflow(9), END_OF_INPUT);
    EXPECT_EQ(reads(), 2U);
    EXPECT_EQ(m_command.checks, 0U);
    EXPECT_EQ(m_sleeps.milliseconds(), Milliseconds{});
}

TEST_F(PipeBufferInput, sleeps20MillisecondsForEach10OfItsTimeOutKept)
{
    EXPECT_EQ(m_buffer.sgetc(), END_OF_INPUT);
    EXPECT_EQ(reads(), 11U);
    EXPECT_EQ(m_command.checks, 10U);
    EXPECT_EQ(m_sleeps.milliseconds(), Milliseconds(20, 10));
}

TEST_F(PipeBufferInput, ignoresARestOfItsTimeOutBelow10)
{
    EXPECT_EQ(m_buffer.timed_underflow(29), END_OF_INPUT);
    EXPECT_EQ(reads(), 3U);
    EXPECT_EQ(m_sleeps.milliseconds(), Milliseconds(4, 10));
}

TEST_F(PipeBufferInput, returnsDataThatArrivesWithinTheTimeOut)
{
    setReads({NO_DATA, NO_DATA, NO_DATA, {0, "late"}});
    EXPECT_EQ(m_buffer.timed_underflow(30), 'l');
    EXPECT_EQ(m_command.checks, 3U);
    EXPECT_EQ(m_sleeps.milliseconds(), Milliseconds(6, 10));
}

TEST_F(PipeBufferInput, restartsItsTimeOutForEachPiece)
{
    setReads({NO_DATA, NO_DATA, {0, "a"}, NO_DATA, NO_DATA, {0, "b"}, NO_DATA});
    EXPECT_EQ(m_buffer.setTimeout(20), 100U);
    EXPECT_EQ(m_buffer.sbumpc(), 'a');
    EXPECT_EQ(m_buffer.sbumpc(), 'b');
    EXPECT_EQ(m_buffer.sbumpc(), END_OF_INPUT);
}

TEST_F(PipeBufferInput, endsWhenThePipeReturnsMinus1)
{
    setReads({END_OF_DATA});
    EXPECT_EQ(m_buffer.sgetc(), END_OF_INPUT);
    EXPECT_EQ(reads(), 1U);
    EXPECT_EQ(m_command.checks, 0U);
}

TEST_F(PipeBufferInput, canBeReadAgainAfterATimeOut)
{
    m_buffer.setTimeout(0);
    EXPECT_EQ(m_buffer.sgetc(), END_OF_INPUT);
    setReads({{0, "later"}});
    EXPECT_EQ(m_buffer.sgetc(), 'l');
}

TEST_F(PipeBufferInput, readsTheDataThatAnEndedChildHasLeft)
{
    m_command.states.set({{0}});
    setReads({NO_DATA, {0, "last"}, NO_DATA});
    std::string text(9, '-');
    EXPECT_EQ(m_buffer.sgetn(text.data(), 9), 4);
    EXPECT_EQ(text, "last-----");
    EXPECT_EQ(m_sleeps.milliseconds(), Milliseconds{}) << "it must not wait for an ended child";
}

TEST(PipeBufferEnd, isTheFirstEmptyReadAfterTheChildHasEndedOrIsUnknown)
{
    for (FakeResult const& state : {FakeResult{0}, thrown(dovrel::REASON_EXIT_STATUS)}) {
        SCOPED_TRACE(state.reason);
        RecordedSleeps const sleeps;
        FakeCommand command;
        command.states.set({state});
        pipestreambuf buffer(command, command.pipe, std::ios_base::openmode());
        buffer.setTimeout(1'000'000);
        EXPECT_EQ(buffer.sgetc(), END_OF_INPUT);
        EXPECT_EQ(command.pipe.readSizes.size(), 2U);
        EXPECT_EQ(command.checks, 1U);
        EXPECT_EQ(sleeps.milliseconds(), Milliseconds{});
    }
}

TEST_F(PipeBufferInput, returnsBytesFrom0x80OnAsUnsigned)
{
    setReads({{0, "\xFF\x80z"}, END_OF_DATA});
    EXPECT_EQ(m_buffer.timed_underflow(0), 0xFF);
    EXPECT_EQ(m_buffer.sbumpc(), 0xFF);
    EXPECT_EQ(m_buffer.underflow(), 0x80);
}

TEST_F(PipeBufferInput, returnsNullBytes)
{
    setReads({{0, std::string("\0\0", 2)}, END_OF_DATA});
    EXPECT_EQ(m_buffer.sbumpc(), 0);
    EXPECT_EQ(m_buffer.sbumpc(), 0);
    EXPECT_EQ(m_buffer.sbumpc(), END_OF_INPUT);
}

TEST_F(PipeBufferInput, throwsAFailureOfThePipeAndMakesAStreamBad)
{
    setReads({{0, "a"}, thrown(dovrel::REASON_PIPE)});
    std::istream stream(&m_buffer);
    EXPECT_EQ(stream.get(), 'a');
    EXPECT_EQ(stream.get(), END_OF_INPUT);
    EXPECT_TRUE(stream.bad());
    EXPECT_THROW(m_buffer.underflow(), ProcessException);

    stream.clear();
    stream.exceptions(std::ios_base::badbit);
    EXPECT_THROW(stream.get(), ProcessException);
}

TEST_F(PipeBufferInput, setTimeoutReturnsTheFormerTimeOut)
{
    EXPECT_EQ(m_buffer.setTimeout(1000), 100U);
    EXPECT_EQ(m_buffer.setTimeout(0), 1000U);
    EXPECT_EQ(m_buffer.setTimeout(7), 0U);
}

TEST_F(PipeBufferInput, waitTakes10OfTheTimeOut)
{
    unsigned remaining = 25;
    EXPECT_TRUE(m_buffer.wait(remaining));
    EXPECT_EQ(remaining, 15U);
    EXPECT_TRUE(m_buffer.wait(remaining));
    EXPECT_EQ(remaining, 5U);
    EXPECT_EQ(m_sleeps.milliseconds(), Milliseconds(4, 10));
    EXPECT_FALSE(m_buffer.wait(remaining));
    EXPECT_EQ(remaining, 5U);
    EXPECT_EQ(m_command.checks, 2U);

    remaining = 10;
    EXPECT_TRUE(m_buffer.wait(remaining));
    EXPECT_EQ(remaining, 0U);
    EXPECT_FALSE(m_buffer.wait(remaining));
}

TEST_F(PipeBufferInput, waitEndsTheTimeOutWhenTheChildHasEndedOrIsUnknown)
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

TEST_F(PipeBufferInput, seeksBackwardsFromTheCurrentPositionOnly)
{
    using Stream = std::ios_base;
    setReads({{0, "abc"}, END_OF_DATA});
    EXPECT_EQ(m_buffer.sbumpc(), 'a');
    EXPECT_EQ(m_buffer.sbumpc(), 'b');

    auto const both = Stream::in | Stream::out;
    EXPECT_EQ(m_buffer.pubseekoff(1, Stream::cur, Stream::in), FAILED);
    EXPECT_EQ(m_buffer.pubseekoff(-3, Stream::cur, Stream::in), FAILED);
    EXPECT_EQ(m_buffer.pubseekoff(-1, Stream::beg, Stream::in), FAILED);
    EXPECT_EQ(m_buffer.pubseekoff(-1, Stream::end, Stream::in), FAILED);
    EXPECT_EQ(m_buffer.pubseekoff(0, Stream::beg, Stream::in), FAILED);
    EXPECT_EQ(m_buffer.pubseekoff(-1, Stream::cur, Stream::out), FAILED);
    EXPECT_EQ(m_buffer.pubseekoff(0, Stream::cur, Stream::out), FAILED);
    EXPECT_EQ(m_buffer.sgetc(), 'c') << "none of these may move the position";

    EXPECT_EQ(m_buffer.pubseekoff(0, Stream::cur, Stream::in), 0);
    EXPECT_EQ(m_buffer.sgetc(), 'c');
    EXPECT_EQ(m_buffer.pubseekoff(-1, Stream::cur, Stream::in), 0);
    EXPECT_EQ(m_buffer.sgetc(), 'b');
    EXPECT_EQ(m_buffer.pubseekoff(-1, Stream::cur, both), 0);
    EXPECT_EQ(m_buffer.sgetc(), 'a');
    EXPECT_EQ(m_buffer.pubseekoff(-1, Stream::cur), FAILED);
    EXPECT_EQ(m_buffer.pubseekpos(0), FAILED);
}

TEST_F(PipeBufferInput, seeksBackToTheStartOfTheLatestPieceOnly)
{
    setReads({{0, "ab"}, {0, "cd"}, END_OF_DATA});
    for (int i = 0; i < 3; ++i)
        m_buffer.sbumpc();
    EXPECT_EQ(m_buffer.pubseekoff(-2, std::ios_base::cur, std::ios_base::in), FAILED);
    EXPECT_EQ(m_buffer.pubseekoff(-1, std::ios_base::cur, std::ios_base::in), 0);
    EXPECT_EQ(m_buffer.sgetc(), 'c');
}

TEST_F(PipeBufferInput, rejectsAnOffsetBeyond32Bits)
{
    constexpr auto LEAST = std::numeric_limits<std::streamoff>::min();
    setReads({{0, "ab"}, END_OF_DATA});
    m_buffer.sbumpc();
    EXPECT_EQ(m_buffer.pubseekoff(-(1LL << 32), std::ios_base::cur, std::ios_base::in), FAILED);
    EXPECT_EQ(m_buffer.pubseekoff(LEAST, std::ios_base::cur, std::ios_base::in), FAILED);
    EXPECT_EQ(m_buffer.sgetc(), 'b');
}

TEST_F(PipeBufferInput, cannotSeekBackBeforeTheFirstPiece)
{
    EXPECT_EQ(m_buffer.pubseekoff(0, std::ios_base::cur, std::ios_base::in), 0);
    EXPECT_EQ(m_buffer.pubseekoff(-1, std::ios_base::cur, std::ios_base::in), FAILED);
    EXPECT_EQ(m_buffer.in_avail(), 0);
    EXPECT_EQ(reads(), 0U);
}
