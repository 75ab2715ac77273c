#include "common/basic/processstream/src/UnixCommand.h"
#include "tests/common/processstream/Child.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <locale>
#include <memory>
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

TEST(ChildStream, losesNothingOfAFlood)
{
    ChildStream stream("/testkit/bin/yes | /testkit/bin/head -c 100000");
    stream.outBuf().setTimeout(5000);
    EXPECT_EQ(restOf(stream).size(), 100'000U);
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
