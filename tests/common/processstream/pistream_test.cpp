#include "common/basic/processstream/src/pistream.h"
#include "tests/common/processstream/OtherHost.h"
#include "tests/support/DescriptorGuard.h"
#include "tests/support/Machine.h"

#include <gtest/gtest.h>

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <locale>
#include <string>
#include <vector>

using testkit::machine;

namespace {

// How the calls below have gone; -1: as the C library has it.
int popensFailWith = 0;
std::vector<std::string> started; // Command and mode.
std::vector<int> ended; // The status of each, as the shell told it.

template <class Function> Function next(char const* name)
{
    auto const function = reinterpret_cast<Function>(::dlsym(RTLD_NEXT, name));
    if (!function)
        std::abort();
    return function;
}

std::string all(std::istream& stream)
{
    return {std::istreambuf_iterator<char>(stream), {}};
}

std::string outputOf(std::string const& command)
{
    pistream stream(command);
    return all(stream);
}

/** A text in which each place of a refill can be told from the next. */
std::string longText(size_t size)
{
    std::string text;
    for (size_t i = 0; text.size() < size; ++i)
        text += std::to_string(i) + (i % 7 == 0 ? '\n' : ' ');
    text.resize(size);
    return text;
}

class CommandOutput : public testing::Test {
protected:
    CommandOutput()
    {
        popensFailWith = 0;
        started.clear();
        ended.clear();
        machine.tool("/bin/show", "cat /tmp/text");
    }

    static void show(std::string const& text) { machine.file("/tmp/text", text); }
};

/** An alarm every millisecond, whose handler does not restart calls. */
class Alarms {
public:
    Alarms()
    {
        struct sigaction action { };
        action.sa_handler = [](int) { rung = rung + 1; };
        ::sigaction(SIGALRM, &action, &m_former);
        itimerval const interval{{0, 1000}, {0, 1000}};
        ::setitimer(ITIMER_REAL, &interval, nullptr);
    }
    Alarms(Alarms const&) = delete;
    Alarms& operator=(Alarms const&) = delete;
    ~Alarms()
    {
        itimerval const none{};
        ::setitimer(ITIMER_REAL, &none, nullptr);
        ::sigaction(SIGALRM, &m_former, nullptr);
    }

    static inline volatile std::sig_atomic_t rung = 0;

private:
    struct sigaction m_former { };
};

}

#pragma GCC visibility push(default)
extern "C" {

FILE* popen(char const* command, char const* mode)
{
    started.push_back(std::string(command) + '|' + mode);
    if (popensFailWith != 0) {
        errno = popensFailWith;
        return nullptr;
    }
    static auto const real = next<FILE* (*)(char const*, char const*)>("popen");
    return real(command, mode);
}

int pclose(FILE* stream)
{
    static auto const real = next<int (*)(FILE*)>("pclose");
    int const status = real(stream);
    ended.push_back(status);
    return status;
}
}
#pragma GCC visibility pop

TEST_F(CommandOutput, isReadLikeAFile)
{
    show("first line\n\nthird, without an end");
    pistream stream("show");
    std::string line;
    EXPECT_TRUE(std::getline(stream, line));
    EXPECT_EQ(line, "first line");
    EXPECT_TRUE(std::getline(stream, line));
    EXPECT_EQ(line, "");
    EXPECT_TRUE(std::getline(stream, line));
    EXPECT_EQ(line, "third, without an end");
    EXPECT_FALSE(std::getline(stream, line));
    EXPECT_TRUE(stream.eof());
}

TEST_F(CommandOutput, isThatOfAShellsCommandLine)
{
    machine.tool("/bin/count", "wc -l");
    show("a\nb\nc\n");
    EXPECT_EQ(outputOf("X=1; show | count && echo \"$X done\""), "3\n1 done\n");
    EXPECT_EQ(started, std::vector<std::string>{"X=1; show | count && echo \"$X done\"|re"});
}

TEST_F(CommandOutput, isReadAcrossRefillsWithoutLoss)
{
    for (size_t const size : {1U, 127U, 128U, 129U, 255U, 256U, 257U, 1000U, 4096U, 300'000U}) {
        std::string const text = longText(size);
        show(text);
        EXPECT_EQ(outputOf("show"), text) << size;
    }
}

TEST_F(CommandOutput, isReadWholeFromACommandThatWritesLittleByLittle)
{
    machine.tool("/bin/slow", "for i in 1 2 3 4 5; do printf %0100d $i; sleep 0.01; done");
    std::string text;
    for (char const digit : {'1', '2', '3', '4', '5'})
        text += std::string(99, '0') + digit;
    EXPECT_EQ(outputOf("slow"), text);
}

TEST_F(CommandOutput, endsAtAByteOfAllOnesAtTheStartOfARefillKept)
{
    for (size_t const place : {0U, 128U, 256U, 12'800U}) {
        std::string const before = longText(place);
        show(before + '\xff' + longText(200));
        EXPECT_EQ(outputOf("show"), before) << place;
    }
}

TEST_F(CommandOutput, hasBytesOfAllOnesAnywhereElse)
{
    for (size_t const place : {1U, 127U, 129U, 255U, 12'799U}) {
        std::string const text = longText(place) + '\xff' + longText(200);
        show(text);
        EXPECT_EQ(outputOf("show"), text) << place;
    }
}

TEST_F(CommandOutput, hasAnyOtherByteAnywhere)
{
    for (char const byte : {'\0', '\x01', '\x7f', '\x80', '\xfe'}) {
        std::string const text(1000, byte);
        show(text);
        EXPECT_EQ(outputOf("show"), text) << static_cast<int>(byte);
    }
}

TEST_F(CommandOutput, givesTheFirstByteOfARefillWithItsSignKept)
{
    show("\xfe\xfd");
    pistream stream("show");
    EXPECT_EQ(stream.peek(), -2);
    EXPECT_EQ(stream.get(), 0xfe) << "taken out of the buffer it has none";
    EXPECT_EQ(stream.get(), 0xfd);
}

TEST_F(CommandOutput, isEmptyOfACommandThatPrintsNothing)
{
    machine.tool("/bin/quiet", "exit 0");
    pistream stream("quiet");
    EXPECT_EQ(stream.get(), std::char_traits<char>::eof());
    EXPECT_TRUE(stream.eof());
    EXPECT_FALSE(stream.bad());
}

TEST_F(CommandOutput, isEmptyOfACommandThatIsMissing)
{
    // The shell says so on the error output, which stays the host's.
    EXPECT_EQ(outputOf("exec 2>/dev/null; missing"), "");
    ASSERT_EQ(ended.size(), 1U);
    EXPECT_EQ(WEXITSTATUS(ended[0]), 127);
}

TEST_F(CommandOutput, isEmptyWhereThePipeCannotBeOpenedAndClosesNone)
{
    popensFailWith = EMFILE;
    {
        pistream stream("show");
        EXPECT_TRUE(stream.good()) << "a failed start is not told at once";
        EXPECT_EQ(stream.get(), std::char_traits<char>::eof());
        stream.clear();
        EXPECT_EQ(stream.peek(), std::char_traits<char>::eof());
    }
    EXPECT_EQ(started.size(), 1U);
    EXPECT_TRUE(ended.empty());
}

TEST_F(CommandOutput, isTheSameWhateverTheCommandsEnd)
{
    machine.tool("/bin/failing", "echo text; exit 3");
    EXPECT_EQ(outputOf("failing"), "text\n");
    machine.tool("/bin/killed", "echo text; kill -9 $$");
    EXPECT_EQ(outputOf("exec killed"), "text\n");
    ASSERT_EQ(ended.size(), 2U);
    EXPECT_EQ(WEXITSTATUS(ended[0]), 3);
    EXPECT_TRUE(WIFSIGNALED(ended[1]));
}

TEST_F(CommandOutput, isWaitedForAtTheEndOfTheStream)
{
    machine.tool("/bin/late", "echo early; sleep 0.2; echo done >/tmp/done");
    {
        pistream stream("late");
        std::string line;
        std::getline(stream, line);
        EXPECT_EQ(line, "early");
        EXPECT_TRUE(ended.empty());
    }
    EXPECT_EQ(ended, std::vector<int>{0});
    EXPECT_EQ(testkit::contentsOf("/tmp/done"), "done\n");
}

TEST_F(CommandOutput, mayBeLeftUnread)
{
    show(longText(300'000));
    {
        pistream stream("exec show");
        char byte = 0;
        stream.get(byte);
        EXPECT_EQ(byte, '0');
    }
    EXPECT_EQ(ended.size(), 1U);
}

TEST_F(CommandOutput, isInheritedByNoOtherChild)
{
    std::vector<int> const before = testkit::openDescriptors();
    pistream const stream("exit 0");
    std::vector<int> const after = testkit::openDescriptors();
    ASSERT_EQ(after.size(), before.size() + 1);
    for (int const fd : after) {
        if (std::find(before.begin(), before.end(), fd) == before.end()) {
            EXPECT_NE(::fcntl(fd, F_GETFD) & FD_CLOEXEC, 0);
        }
    }
}

TEST_F(CommandOutput, isNotCutBySignals)
{
    machine.tool("/bin/slow", "for i in 1 2 3 4 5 6 7 8 9; do printf %0100d $i; sleep 0.01; done");
    std::string text;
    for (char digit = '1'; digit <= '9'; ++digit)
        text += std::string(99, '0') + digit;
    Alarms const alarms;
    auto const before = Alarms::rung;
    EXPECT_EQ(outputOf("slow"), text);
    EXPECT_GE(Alarms::rung, before + 10) << "there was nothing to withstand";
    EXPECT_EQ(ended, std::vector<int>{0}) << "its end is waited for all the same";
}

TEST_F(CommandOutput, isWholeWhereTheHostIgnoresItsChildren)
{
    std::string const text = longText(1000);
    show(text);
    EXPECT_EQ(complaintsOfAnotherHost([&](std::ostream& complaints) {
        ::signal(SIGCHLD, SIG_IGN);
        if (outputOf("show") != text)
            complaints << "the output is not whole\n";
        if (ended != std::vector<int>{-1})
            complaints << "the status was found\n";
    }),
        "");
}

TEST_F(CommandOutput, isWholeWhereTheHostHasClosedTheStandardThree)
{
    std::string const text = longText(1000);
    show(text);
    for (unsigned closed = 1; closed < 8; ++closed) {
        EXPECT_EQ(complaintsOfAnotherHost([&](std::ostream& complaints) {
            for (int fd = 0; fd < 3; ++fd)
                if ((closed >> fd & 1) != 0)
                    ::close(fd);
            if (outputOf("show") != text)
                complaints << "the output is not whole\n";
        }),
            "")
            << closed;
    }
}

TEST_F(CommandOutput, hasNumbersWithTheClassicLocalesDigits)
{
    struct Grouped : std::numpunct<char> {
        char do_thousands_sep() const override { return '.'; }
        char do_decimal_point() const override { return ','; }
        std::string do_grouping() const override { return "\3"; }
    };
    std::locale const former =
        std::locale::global(std::locale(std::locale::classic(), new Grouped));
    show("1.5 7");
    double number = 0;
    {
        pistream stream("show");
        stream >> number;
    }
    std::locale::global(former);
    EXPECT_EQ(number, 1.5);
}

TEST_F(CommandOutput, leavesNeitherDescriptorNorChild)
{
    testkit::DescriptorGuard const guard;
    for (unsigned i = 0; i < 200; ++i)
        EXPECT_EQ(outputOf("echo $((6 * 7))"), "42\n");
    testkit::expectNoChildren();
}
