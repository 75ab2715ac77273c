// The library puts an adapter's name into a shell's command line. No part of a name may run, and
// grep must search for exactly that name.

#include "tests/support/CapturedTrace.h"
#include "tests/support/Machine.h"
#include "tests/sysinfo/NetworkMachine.h"

#include <gtest/gtest.h>

#include <clocale>
#include <filesystem>
#include <set>
#include <string>

using testkit::CapturedTrace;
using testkit::contentsOf;
using testkit::machine;
using testkit::NetworkAnswer;
using testkit::NetworkMachine;

namespace {

class HostileAdapter : public testing::Test {
protected:
    /** Expects grep to find only the gateway of @p name in a table with two. */
    void expectExactSearch(std::string const& name)
    {
        SCOPED_TRACE(name);
        NetworkMachine net;
        net.ifconfigPrints(name + ": flags=1\nlo: flags=1\n");
        net.routePrints("0.0.0.0         10.0.0.1        0.0.0.0         UG    0 0 0 " + name
            + "\n0.0.0.0         10.9.9.9        0.0.0.0         UG    0 0 0 zzz\n");
        CapturedTrace const trace;
        EXPECT_TRUE(NetworkAnswer().known);
        EXPECT_EQ(net.runsOf("grep"), "[-F][-e][" + name + "]\n");
        EXPECT_EQ(net.runsOf("route"), "LANG=C /sbin/route -n\n");
        EXPECT_TRUE(trace.contains(5, "Found gateway for " + name + ": 10.0.0.1\n"));
        EXPECT_FALSE(trace.contains(5, "10.9.9.9"));
        expectNothingElseRan();
    }

    static void expectNothingElseRan()
    {
        std::set<std::string> files;
        for (auto const& entry : std::filesystem::directory_iterator("/tmp"))
            if (entry.is_regular_file()) // The build folder may be in /tmp.
                files.insert(entry.path());
        EXPECT_EQ(files,
            (std::set<std::string>{
                "/tmp/cat.log", "/tmp/grep.log", "/tmp/ifconfig.log", "/tmp/route.log"}));
        EXPECT_FALSE(std::filesystem::exists("/x"));
        for (std::string const& file : files)
            machine.remove(file);
    }

    void TearDown() override { std::setlocale(LC_ALL, "C"); }
};

}

TEST_F(HostileAdapter, isNotRunAsACommand)
{
    for (std::string const name :
        {"$(>/x)", "`>/x`", ";>/x", "|>/x", "&>/x", ">/x", "<x", "&&>/x", "${IFS}x", "$HOME", "$$",
            "(x)", "{x,y}", "!x", "#x", "~", "a;b|c&d", "<b>", "a=b", "a;id>x", "a|b", "a&b"})
        expectExactSearch(name);
}

TEST_F(HostileAdapter, cannotEndTheQuotes)
{
    for (std::string const name :
        {"'", "\"", "'>/x;'", "\">/x\"", "''", "a'b\"c", "\\", "\\'", "a\\", "'\\''>/x'"})
        expectExactSearch(name);
}

TEST_F(HostileAdapter, isNotReadAsAnOption)
{
    for (std::string const name : {"-a", "--help", "-v", "-f", "-", "--", "-eUG"})
        expectExactSearch(name);
}

TEST_F(HostileAdapter, isNotReadAsAPattern)
{
    for (std::string const name : {"*", "?", "[z]", "^0", "$", "x\\|z", "z*"})
        expectExactSearch(name);
}

TEST_F(HostileAdapter, isCutAtItsFirstBlank)
{
    NetworkMachine net;
    net.ifconfigPrints("$(touch /x): flags=1\nlo: flags=1\n");
    EXPECT_EQ(NetworkAnswer().names(), (std::vector<std::string>{"$(touch", "lo"}));
    EXPECT_EQ(net.runsOf("grep"), "[-F][-e][$(touch]\n");
    expectNothingElseRan();
}

TEST_F(HostileAdapter, mayHaveANameInUTF8)
{
    ASSERT_NE(std::setlocale(LC_ALL, "C.UTF-8"), nullptr);
    expectExactSearch("\xC3\xA9\xC3\xA9\xC3\xA9\xC3\xA9\xC3\xA9\xC3\xA9\xC3\xA9x");
    expectExactSearch("\xF0\x9F\x98\x80\xF0\x9F\x98\x80\xF0\x9F\x98\x80");
}

TEST_F(HostileAdapter, isSearchedAsQuestionMarksWhenTheLocaleCannotConvertItKept)
{
    NetworkMachine net;
    net.ifconfigPrints("\xC3\xA9$: flags=1\nlo: flags=1\n");
    EXPECT_TRUE(NetworkAnswer().known);
    EXPECT_EQ(net.runsOf("grep"), "[-F][-e][???]\n");
    expectNothingElseRan();
}
