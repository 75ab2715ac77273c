#include "sysinfo/parsers/resolv_conf.h"

#include "tests/sysinfo/out_of_range_message.h"

#include <gtest/gtest.h>

#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using Strings = std::vector<std::string>;

Strings serversIn(std::string const& text)
{
    std::istringstream stream(text);
    Strings servers;
    sysinfo::readNameServers(stream, [&](std::string const& server) { servers.push_back(server); });
    return servers;
}

}

TEST(ResolvConf, returnsTheRestOfALineAfterElevenCharacters)
{
    EXPECT_EQ(serversIn("nameserver 10.0.0.1\nnameserver\tfe80::1%eth0\nnameserver 10.0.0.2 # x\n"),
        (Strings{"10.0.0.1", "fe80::1%eth0", "10.0.0.2 # x"}));
    EXPECT_EQ(serversIn("nameserver  10.0.0.1"), Strings{" 10.0.0.1"});
    EXPECT_EQ(serversIn("nameserver 10.0.0.1\r\n"), Strings{"10.0.0.1\r"});
    EXPECT_EQ(serversIn("nameserver \n"), Strings{""});
    EXPECT_EQ(serversIn("nameservers1.2.3.4"), Strings{"1.2.3.4"});
}

TEST(ResolvConf, readsCommentsTooKept)
{
    EXPECT_EQ(serversIn("# nameserver 10.0.0.1\n"), Strings{"r 10.0.0.1"});
    EXPECT_EQ(serversIn(" nameserver 10.0.0.1\n"), Strings{" 10.0.0.1"});
    EXPECT_EQ(serversIn("options no-nameserver\n"), Strings{"nameserver"});
}

TEST(ResolvConf, throwsOutOfRangeAtAShortLineKept)
{
    EXPECT_THROW(serversIn("nameserver"), std::out_of_range);
    EXPECT_THROW(serversIn("nameserver 1.2.3.4\nnameserver\n"), std::out_of_range);
}

TEST(ResolvConf, throwsAMessageWithTheToolTheLineAndTheColumn)
{
    EXPECT_EQ(testkit::outOfRangeMessage([] { serversIn("nameserver 1.2.3.4\nnameserver\n"); }),
        "cat /etc/resolv.conf: the line \"nameserver\" ends before its address, which begins at "
        "column 12");
}

TEST(ResolvConf, readsAnyNumberOfLinesOfAnyLength)
{
    // The C library's own resolver stops at three.
    EXPECT_EQ(serversIn("nameserver 1\nnameserver 2\nnameserver 3\nnameserver 4\n"),
        (Strings{"1", "2", "3", "4"}));
    std::string const server(1'000'000, '1');
    EXPECT_EQ(serversIn("search " + server + "\nnameserver " + server + '\n'), Strings{server});
}

TEST(ResolvConf, ignoresOtherLines)
{
    EXPECT_TRUE(serversIn("").empty());
    EXPECT_TRUE(serversIn("\n\nsearch a.example\noptions ndots:2\nNameserver 10.0.0.1\n").empty());
}
