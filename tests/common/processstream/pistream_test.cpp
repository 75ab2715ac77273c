#include "common/basic/processstream/src/pistream.h"
#include "tests/common/processstream/Child.h"
#include "tests/common/processstream/ForkedProcess.h"
#include "tests/common/processstream/GroupingLocale.h"
#include "tests/common/processstream/RepeatedAlarm.h"
#include "tests/support/DescriptorGuard.h"
#include "tests/support/Machine.h"

#include <gtest/gtest.h>

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

using testkit::machine;

namespace {

int popenError = 0; // The errno with which popen fails, if it is not 0.
std::vector<std::string> started; // Command and mode of each call of popen.
std::vector<int> ended; // The result of each call of pclose.

template <class Function> Function next(char const* name)
{
    auto const function = reinterpret_cast<Function>(::dlsym(RTLD_NEXT, name));
    if (!function)
        std::abort();
    return function;
}

std::string textOfCommand(std::string const& command)
{
    pistream stream(command);
    return child::readAll(stream);
}

/** @return a string whose parts all differ, so that a lost or repeated refill shows. */
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
        popenError = 0;
        started.clear();
        ended.clear();
        machine.tool("/bin/show", "cat /tmp/text");
    }

    static void show(std::string const& text) { machine.file("/tmp/text", text); }

    static void expectRead(std::string const& text)
    {
        show(text);
        EXPECT_EQ(textOfCommand("show"), text) << "of size " << text.size();
    }

    /** Makes a tool that prints its output in five pieces. @return the output. */
    static std::string makeSlowTool()
    {
        machine.tool("/bin/slow", "for i in 1 2 3 4 5; do printf %0100d $i; sleep 0.01; done");
        std::string text;
        for (char const digit : {'1', '2', '3', '4', '5'})
            text += std::string(99, '0') + digit;
        return text;
    }
};

}

#pragma GCC visibility push(default)
extern "C" {

FILE* popen(char const* command, char const* mode)
{
    started.push_back(std::string(command) + '|' + mode);
    if (popenError != 0) {
        errno = popenError;
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

TEST_F(CommandOutput, canBeReadLineByLine)
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

TEST_F(CommandOutput, isTheOutputOfAShellCommandLine)
{
    machine.tool("/bin/count", "wc -l");
    show("a\nb\nc\n");
    EXPECT_EQ(textOfCommand("X=1; show | count && echo \"$X done\""), "3\n1 done\n");
    EXPECT_EQ(started, std::vector<std::string>{"X=1; show | count && echo \"$X done\"|re"});
}

TEST_F(CommandOutput, isReadCompletelyAcrossRefills)
{
    for (size_t const size : {1U, 127U, 128U, 129U, 255U, 256U, 257U, 1000U, 4096U, 300'000U})
        expectRead(longText(size));
}

TEST_F(CommandOutput, isReadCompletelyFromASlowCommand)
{
    std::string const text = makeSlowTool();
    EXPECT_EQ(textOfCommand("slow"), text);
}

TEST_F(CommandOutput, endsAtAByteFFAtTheStartOfARefillKept)
{
    for (size_t const place : {0U, 128U, 256U, 12'800U}) {
        std::string const before = longText(place);
        show(before + '\xff' + longText(200));
        EXPECT_EQ(textOfCommand("show"), before) << place;
    }
}

TEST_F(CommandOutput, mayContainBytesFFAnywhereElse)
{
    for (size_t const place : {1U, 127U, 129U, 255U, 12'799U})
        expectRead(longText(place) + '\xff' + longText(200));
}

TEST_F(CommandOutput, mayContainAnyOtherByte)
{
    for (char const byte : {'\0', '\x01', '\x7f', '\x80', '\xfe'})
        expectRead(std::string(1000, byte));
}

TEST_F(CommandOutput, returnsTheFirstByteOfARefillAsSignedKept)
{
    show("\xfe\xfd");
    pistream stream("show");
    EXPECT_EQ(stream.peek(), -2);
    EXPECT_EQ(stream.get(), 0xfe) << "get must return it as unsigned";
    EXPECT_EQ(stream.get(), 0xfd);
}

TEST_F(CommandOutput, isEmptyWhenTheCommandPrintsNothing)
{
    machine.tool("/bin/quiet", "exit 0");
    pistream stream("quiet");
    EXPECT_EQ(stream.get(), std::char_traits<char>::eof());
    EXPECT_TRUE(stream.eof());
    EXPECT_FALSE(stream.bad());
}

TEST_F(CommandOutput, isEmptyWhenTheCommandIsMissing)
{
    // The shell's message goes to the host's error output.
    EXPECT_EQ(textOfCommand("exec 2>/dev/null; missing"), "");
    ASSERT_EQ(ended.size(), 1U);
    EXPECT_EQ(WEXITSTATUS(ended[0]), 127);
}

TEST_F(CommandOutput, isEmptyWhenPopenFailsAndPcloseIsNotCalled)
{
    popenError = EMFILE;
    {
        pistream stream("show");
        EXPECT_TRUE(stream.good()) << "a failed start must show only when it is read";
        EXPECT_EQ(stream.get(), std::char_traits<char>::eof());
        stream.clear();
        EXPECT_EQ(stream.peek(), std::char_traits<char>::eof());
    }
    EXPECT_EQ(started.size(), 1U);
    EXPECT_TRUE(ended.empty());
}

TEST_F(CommandOutput, doesNotDependOnTheCommandsStatus)
{
    machine.tool("/bin/failing", "echo text; exit 3");
    EXPECT_EQ(textOfCommand("failing"), "text\n");
    machine.tool("/bin/killed", "echo text; kill -9 $$");
    EXPECT_EQ(textOfCommand("exec killed"), "text\n");
    ASSERT_EQ(ended.size(), 2U);
    EXPECT_EQ(WEXITSTATUS(ended[0]), 3);
    EXPECT_TRUE(WIFSIGNALED(ended[1]));
}

TEST_F(CommandOutput, endsWithTheCommandInTheDestructor)
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

TEST_F(CommandOutput, isNotInheritedByAnotherChild)
{
    std::vector<int> const before = testkit::openDescriptors();
    pistream const stream("exit 0");
    std::vector<int> const opened = child::openedSince(before);
    ASSERT_EQ(opened.size(), 1U);
    EXPECT_NE(::fcntl(opened[0], F_GETFD) & FD_CLOEXEC, 0);
}

TEST_F(CommandOutput, isReadCompletelyDespiteRepeatedSignals)
{
    std::string const text = makeSlowTool();
    RepeatedAlarm const alarm(1000);
    auto const before = RepeatedAlarm::delivered;
    EXPECT_EQ(textOfCommand("slow"), text);
    EXPECT_GE(RepeatedAlarm::delivered, before + 10) << "there were no signals";
    EXPECT_EQ(ended, std::vector<int>{0}) << "pclose must return the status";
}

TEST_F(CommandOutput, isReadCompletelyWhenTheHostIgnoresSigchld)
{
    std::string const text = longText(1000);
    show(text);
    inForkedProcess([&] {
        ::signal(SIGCHLD, SIG_IGN);
        EXPECT_EQ(textOfCommand("show"), text);
        EXPECT_EQ(ended, std::vector<int>{-1});
    });
}

TEST_F(CommandOutput, isReadCompletelyWhenTheHostHasClosed0To2)
{
    std::string const text = longText(1000);
    show(text);
    withStandardDescriptorsClosed(
        [&](std::vector<int> const& /*closed*/) { EXPECT_EQ(textOfCommand("show"), text); });
}

TEST_F(CommandOutput, isParsedWithTheClassicLocale)
{
    GroupingLocale const grouping;
    show("1.5 7");
    pistream stream("show");
    double number = 0;
    stream >> number;
    EXPECT_EQ(number, 1.5);
}

TEST_F(CommandOutput, leavesNoDescriptorsAndNoChildren)
{
    testkit::DescriptorGuard const guard;
    for (unsigned i = 0; i < 200; ++i)
        EXPECT_EQ(textOfCommand("echo $((6 * 7))"), "42\n");
    testkit::expectNoChildren();
}
