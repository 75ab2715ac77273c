#include "common/basic/processstream/src/UnixCommand.h"
#include "tests/common/processstream/Child.h"
#include "tests/common/processstream/OtherHost.h"
#include "tests/common/processstream/ProcessCalls.h"
#include "tests/support/Machine.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <locale>
#include <malloc.h>
#include <memory>
#include <pthread.h>
#include <string>

using ChildStream = pstream_wrapper<dovrel::UnixCommand, void>;
using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

namespace {

std::string restOf(std::istream& stream)
{
    std::string text;
    std::getline(stream, text, '\0');
    return text;
}

/** Bytes that malloc(3) has given out. */
size_t heapInUse()
{
    auto const heap = ::mallinfo2();
    return heap.uordblks + heap.hblkhd;
}

struct Groups : std::numpunct<char> {
    char do_thousands_sep() const override { return '\''; }
    std::string do_grouping() const override { return "\3"; }
};

}

TEST(ChildStream, readsTheChildsOutputLineByLine)
{
    ChildStream stream("printf 'one\\n\\ntwo'");
    stream.outBuf().setTimeout(5000);
    std::string line;
    std::string all;
    while (std::getline(stream, line))
        all += '[' + line + ']';
    EXPECT_EQ(all, "[one][][two]");
    EXPECT_TRUE(stream.eof());
    EXPECT_EQ(child::statusOf(stream.command()), 0);
}

TEST(ChildStream, readsErrorsBesideTheOutput)
{
    ChildStream stream("echo 12345 >&2; echo 54321");
    EXPECT_EQ(stream.outBuf().setTimeout(5000), 100U);
    EXPECT_EQ(stream.errBuf().setTimeout(5000), 100U);
    EXPECT_EQ(stream.rdbuf(), &stream.outBuf());
    EXPECT_EQ(stream.err().rdbuf(), &stream.errBuf());
    int output = 0;
    int errors = 0;
    stream.err() >> errors;
    stream >> output;
    EXPECT_EQ(errors, 12345);
    EXPECT_EQ(output, 54321);
}

TEST(ChildStream, writesToTheChild)
{
    ChildStream stream("read a; echo \"[$a]\"");
    stream.outBuf().setTimeout(5000);
    stream << "text " << 4711 << std::endl;
    EXPECT_EQ(restOf(stream), "[text 4711]\n");
}

TEST(ChildStream, sendsALineToAChildThatReadsWithoutBeingFlushed)
{
    // The terminal ends each attempt to read after a tenth of a second.
    ChildStream stream("n=0; while [ $n -lt 20 ]; do "
                       "if read line; then echo \"got $line\"; exit 5; fi; n=$((n + 1)); done");
    stream.outBuf().setTimeout(5000);
    stream << "hi\n";
    EXPECT_EQ(restOf(stream), "got hi\n");
    EXPECT_EQ(child::statusOf(stream.command()), 5);
}

TEST(ChildStream, isBadWhereItWritesWithoutDescriptorsAndTheHostGoesOn)
{
    EXPECT_EQ(complaintsOfAnotherHost([](std::ostream& complaints) {
        ChildStream stream("exit 5");
        stream.command().destroy();
        stream << "hi\n";
        if (!stream.bad())
            complaints << "the stream is not bad\n";
    }),
        "");
}

TEST(ChildStream, sendsTheOutputOfAThreadThatIsCancelledAtItsNextCancellationPoint)
{
    EXPECT_EQ(complaintsOfAnotherHost([](std::ostream& complaints) {
        ChildStream stream("read line; echo \"got $line\"");
        stream.outBuf().setTimeout(5000);
        auto const work = [](void* argument) -> void* {
            ::pthread_cancel(::pthread_self());
            *static_cast<ChildStream*>(argument) << "hi\n";
            ::pthread_testcancel();
            return nullptr;
        };
        pthread_t thread{};
        void* result = nullptr;
        ::pthread_create(&thread, nullptr, work, &stream);
        ::pthread_join(thread, &result);
        if (result != PTHREAD_CANCELED)
            complaints << "the thread is not cancelled\n";
        if (std::string const text = restOf(stream); text != "got hi\n")
            complaints << "the child sent " << text << '\n';
    }),
        "");
}

TEST(ChildStream, hasPlainDigitsWhateverTheHostsLocaleWrites)
{
    auto const former = std::locale::global(
        std::locale(std::locale::classic(), std::make_unique<Groups>().release()));
    {
        ChildStream stream("read a; echo \"$a\"; echo 1234567 >&2");
        stream.outBuf().setTimeout(5000);
        stream.errBuf().setTimeout(5000);
        stream << 1234567 << std::endl;
        EXPECT_EQ(restOf(stream), "1234567\n");
        int errors = 0;
        stream.err() >> errors;
        EXPECT_EQ(errors, 1234567);
    }
    std::locale::global(former);
}

TEST(ChildStream, endsAfterTwiceItsTimeOutWhereTheChildIsSilent)
{
    ChildStream stream("echo $$; exec /testkit/bin/sleep 60");
    pid_t pid = 0;
    stream.outBuf().setTimeout(5000);
    stream >> pid;
    EXPECT_EQ(stream.get(), '\n');

    stream.outBuf().setTimeout(100);
    auto const start = Clock::now();
    EXPECT_EQ(stream.get(), std::char_traits<char>::eof());
    auto const time = Clock::now() - start;
    EXPECT_GE(time, milliseconds(200));
    EXPECT_LE(time, milliseconds(3000));
    EXPECT_FALSE(stream.bad());
    child::end(pid);
}

TEST(ChildStream, readsAChildThatWritesAByteAtATime)
{
    ChildStream stream("for i in 1 2 3 4 5; do printf $i; /testkit/bin/sleep 0.05; done");
    stream.outBuf().setTimeout(2000);
    EXPECT_EQ(restOf(stream), "12345");
    EXPECT_EQ(child::statusOf(stream.command()), 0);
}

TEST(ChildStream, endsBetweenTheBytesOfAChildThatWritesOneASecondAndLosesNone)
{
    constexpr unsigned ROUNDS = 10; // Of 10 ms of the budget each, and 20 ms of time.
    ChildStream stream("printf 1; /testkit/bin/sleep 1; printf 2; /testkit/bin/sleep 1; printf 3");
    unsigned const budget = stream.outBuf().setTimeout(5000);
    EXPECT_EQ(stream.get(), '1');
    stream.outBuf().setTimeout(budget);
    for (char const byte : {'2', '3'}) {
        processcalls::forgetCalls();
        EXPECT_EQ(stream.get(), std::char_traits<char>::eof());
        EXPECT_TRUE(stream.eof() && !stream.bad());
        EXPECT_EQ(processcalls::callsMade(processcalls::WAITPID), ROUNDS);
        EXPECT_EQ(processcalls::callsMade(processcalls::READ), ROUNDS + 1);

        int next = std::char_traits<char>::eof();
        for (int tries = 0; tries < 100 && next == std::char_traits<char>::eof(); ++tries) {
            stream.clear();
            next = stream.get();
        }
        EXPECT_EQ(next, byte);
    }
    EXPECT_EQ(child::statusOf(stream.command()), 0);
}

TEST(ChildStream, endsWithTheChildThoughAGrandchildHoldsTheTerminal)
{
    auto const start = Clock::now();
    pid_t grandchild = 0;
    {
        ChildStream stream("/testkit/bin/sleep 60 & echo $!; echo end");
        stream.outBuf().setTimeout(20000);
        stream >> grandchild;
        EXPECT_EQ(restOf(stream), "\nend\n");
    }
    EXPECT_LE(Clock::now() - start, milliseconds(5000));
    if (grandchild > 1)
        ::kill(grandchild, SIGKILL);
}

TEST(ChildStream, losesNothingOfAFloodOf64MiBAndKeepsNoneOfIt)
{
    constexpr unsigned MEBIBYTES = 64;
    constexpr size_t NOISE = 64 * 1024;
    std::string mebibyte;
    for (unsigned place = 0x1000'0000; mebibyte.size() < 1 << 20; ++place)
        mebibyte += std::to_string(place) + '\n';
    mebibyte.resize(1 << 20);
    testkit::machine.file("/tmp/mebibyte", mebibyte);
    std::string command = "exec /testkit/bin/cat";
    for (unsigned i = 0; i < MEBIBYTES; ++i)
        command += " /tmp/mebibyte";

    // The reader is faster than the child, and would sleep most of the time.
    processcalls::ShortSleeps const sleeps;
    ChildStream stream(command);
    stream.outBuf().setTimeout(5'000'000);
    std::string piece(mebibyte.size(), '\0');
    size_t const heap = heapInUse();
    for (unsigned i = 0; i < MEBIBYTES; ++i) {
        ASSERT_TRUE(stream.read(piece.data(), static_cast<std::streamsize>(piece.size())));
        ASSERT_TRUE(piece == mebibyte) << "in mebibyte " << i;
        ASSERT_LE(heapInUse(), heap + NOISE);
    }
    EXPECT_EQ(stream.get(), std::char_traits<char>::eof());
    EXPECT_EQ(stream.command().exitCode(5'000'000, 10), 0);
}

TEST(ChildStream, isBadWhereTheChildsDescriptorsAreGone)
{
    ChildStream stream("echo text");
    stream.command().destroy();
    EXPECT_EQ(stream.get(), std::char_traits<char>::eof());
    EXPECT_TRUE(stream.bad());
}

TEST(ChildStream, isBadWhereTheChildTakesNoInput)
{
    ChildStream stream("echo $$; exec /testkit/bin/sleep 60");
    pid_t pid = 0;
    stream.outBuf().setTimeout(5000);
    stream >> pid;
    std::string const text(200, 'x');
    for (int i = 0; i < 2000 && stream; ++i)
        stream << text << std::flush;
    EXPECT_TRUE(stream.bad());
    child::end(pid);
}

TEST(ChildStream, givesTheFailureOfTheStart)
{
    child::MissingFile const terminals("/dev/ptmx");
    EXPECT_THROW(ChildStream("exit 0"), dovrel::ProcessException);
}
