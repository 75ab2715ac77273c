#include "common/basic/processstream/src/UnixCommand.h"
#include "tests/common/processstream/Child.h"
#include "tests/common/processstream/ForkedProcess.h"
#include "tests/common/processstream/GroupingLocale.h"
#include "tests/common/processstream/HostThread.h"
#include "tests/common/processstream/ProcessCalls.h"
#include "tests/support/Machine.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <malloc.h>
#include <pthread.h>
#include <string>

using ChildStream = pstream_wrapper<dovrel::UnixCommand, void>;
using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

namespace {

/** @return the bytes that malloc(3) has allocated. */
size_t heapInUse()
{
    auto const heap = ::mallinfo2();
    return heap.uordblks + heap.hblkhd;
}

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
    EXPECT_EQ(child::exitStatusOf(stream.command()), 0);
}

TEST(ChildStream, readsTheErrorOutputSeparately)
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
    EXPECT_EQ(child::readAll(stream), "[text 4711]\n");
}

TEST(ChildStream, sendsALineWithoutAFlush)
{
    // A read from the terminal ends after a tenth of a second.
    ChildStream stream("n=0; while [ $n -lt 20 ]; do "
                       "if read line; then echo \"got $line\"; exit 5; fi; n=$((n + 1)); done");
    stream.outBuf().setTimeout(5000);
    stream << "hi\n";
    EXPECT_EQ(child::readAll(stream), "got hi\n");
    EXPECT_EQ(child::exitStatusOf(stream.command()), 5);
}

// In a forked process, as an exception out of such a flush would end the test program.
TEST(ChildStream, isBadWhenItWritesAfterDestroy)
{
    inForkedProcess([] {
        ChildStream stream("exit 5");
        stream.command().destroy();
        stream << "hi\n";
        EXPECT_TRUE(stream.bad());
    });
}

TEST(ChildStream, sendsTheOutputOfAThreadThatIsCancelledLater)
{
    inForkedProcess([] {
        ChildStream stream("read line; echo \"got $line\"");
        stream.outBuf().setTimeout(5000);
        runWithPendingCancellation([&] {
            stream << "hi\n";
            ::pthread_testcancel();
        });
        EXPECT_EQ(child::readAll(stream), "got hi\n");
    });
}

TEST(ChildStream, ignoresTheGlobalLocale)
{
    GroupingLocale const grouping;
    ChildStream stream("read a; echo \"$a\"; echo 1234567 >&2");
    stream.outBuf().setTimeout(5000);
    stream.errBuf().setTimeout(5000);
    stream << 1234567 << std::endl;
    EXPECT_EQ(child::readAll(stream), "1234567\n");
    int errors = 0;
    stream.err() >> errors;
    EXPECT_EQ(errors, 1234567);
}

TEST(ChildStream, endsAfterTwiceItsTimeOutWhenTheChildIsSilent)
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
    child::killAndReap(pid);
}

TEST(ChildStream, readsAChildThatWritesAByteAtATime)
{
    ChildStream stream("for i in 1 2 3 4 5; do printf $i; /testkit/bin/sleep 0.05; done");
    stream.outBuf().setTimeout(2000);
    EXPECT_EQ(child::readAll(stream), "12345");
    EXPECT_EQ(child::exitStatusOf(stream.command()), 0);
}

TEST(ChildStream, timesOutBetweenBytesAndLosesNone)
{
    constexpr unsigned ROUNDS = 10; // Each takes 10 ms of the time-out and 20 ms of time.
    ChildStream stream("printf 1; /testkit/bin/sleep 1; printf 2; /testkit/bin/sleep 1; printf 3");
    unsigned const timeOut = stream.outBuf().setTimeout(5000);
    EXPECT_EQ(stream.get(), '1');
    stream.outBuf().setTimeout(timeOut);
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
    EXPECT_EQ(child::exitStatusOf(stream.command()), 0);
}

TEST(ChildStream, endsWithTheChildWhileAGrandchildHoldsTheTerminal)
{
    auto const start = Clock::now();
    pid_t grandchild = 0;
    {
        ChildStream stream("/testkit/bin/sleep 60 & echo $!; echo end");
        stream.outBuf().setTimeout(20000);
        stream >> grandchild;
        EXPECT_EQ(child::readAll(stream), "\nend\n");
    }
    EXPECT_LE(Clock::now() - start, milliseconds(5000));
    if (grandchild > 1)
        ::kill(grandchild, SIGKILL);
}

TEST(ChildStream, reads64MiBWithoutLossAndWithoutMoreMemory)
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

    // The reader is faster than the child and would mostly sleep.
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

TEST(ChildStream, isBadWhenItReadsAfterDestroy)
{
    ChildStream stream("echo text");
    stream.command().destroy();
    EXPECT_EQ(stream.get(), std::char_traits<char>::eof());
    EXPECT_TRUE(stream.bad());
}

TEST(ChildStream, isBadWhenTheChildReadsNoInput)
{
    ChildStream stream("echo $$; exec /testkit/bin/sleep 60");
    pid_t pid = 0;
    stream.outBuf().setTimeout(5000);
    stream >> pid;
    std::string const text(200, 'x');
    for (int i = 0; i < 2000 && stream; ++i)
        stream << text << std::flush;
    EXPECT_TRUE(stream.bad());
    child::killAndReap(pid);
}

TEST(ChildStream, throwsTheFailureOfTheStart)
{
    child::MissingFile const terminals("/dev/ptmx");
    EXPECT_THROW(ChildStream("exit 0"), dovrel::ProcessException);
}
