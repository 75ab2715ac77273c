#include "sysinfo/parsers/route_output.h"

#include "tests/sysinfo/out_of_range_message.h"

#include <gtest/gtest.h>

#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using Strings = std::vector<std::string>;

Strings gatewaysIn(std::string const& output)
{
    std::istringstream stream(output);
    Strings gateways;
    sysinfo::readGateways(stream, [&](std::string const& gateway) { gateways.push_back(gateway); });
    return gateways;
}

}

TEST(RouteOutput, returnsTheSecondColumnOfLinesWithUG)
{
    EXPECT_EQ(
        gatewaysIn("Kernel IP routing table\n"
                   "Destination     Gateway         Genmask         Flags Metric Ref Use Iface\n"
                   "0.0.0.0         10.0.0.1        0.0.0.0         UG    0      0   0 eth0\n"
                   "10.0.0.0        0.0.0.0         255.255.255.0   U     0      0   0 eth0\n"
                   "172.16.0.0      10.0.0.254      255.255.0.0     UG    0      0   0 eth0\n"),
        (Strings{"10.0.0.1", "10.0.0.254"}));
}

TEST(RouteOutput, endsAGatewayAtTheFirstBlank)
{
    EXPECT_EQ(gatewaysIn("0123456789abcdef10.0.0.1\tUG\n"), Strings{"10.0.0.1\tUG"});
    EXPECT_EQ(gatewaysIn("0123456789abcdefUG"), Strings{"UG"});
    EXPECT_EQ(gatewaysIn("0123456789UGcdef x\n"), Strings{""});
    EXPECT_EQ(gatewaysIn("0123456789UGcdef\n"), Strings{""});
    EXPECT_EQ(gatewaysIn("0.0.0.0         10.0.0.1        UG\r\n"), Strings{"10.0.0.1"});
}

TEST(RouteOutput, throwsOutOfRangeAtAShortLineKept)
{
    for (size_t length = 2; length < 16; ++length)
        EXPECT_THROW(gatewaysIn("UG" + std::string(length - 2, '.')), std::out_of_range) << length;
    EXPECT_TRUE(gatewaysIn("short\n\n").empty());
    EXPECT_TRUE(gatewaysIn("").empty());
}

TEST(RouteOutput, throwsAMessageWithTheToolTheLineAndTheColumn)
{
    EXPECT_EQ(testkit::outOfRangeMessage([] { gatewaysIn("0.0.0.0 UG eth1\n"); }),
        "route -n: the line \"0.0.0.0 UG eth1\" ends before its gateway, which begins at column "
        "17");
    // A zero byte would end the message.
    EXPECT_EQ(testkit::outOfRangeMessage([] { gatewaysIn(std::string("UG\0x\n", 5)); }),
        "route -n: the line \"UG?x\" ends before its gateway, which begins at column 17");
}

TEST(RouteOutput, skipsLinesThatBeginWithALetterOfDestinationKept)
{
    std::string const rest = "0.0.0.0........10.0.0.1 UG";
    for (char const letter : std::string("Destination"))
        EXPECT_TRUE(gatewaysIn(letter + rest).empty()) << letter;
    // Includes the "d" of "default".
    for (char const letter : std::string("0dXK ug"))
        EXPECT_EQ(gatewaysIn(letter + rest), Strings{"10.0.0.1"}) << letter;
}

TEST(RouteOutput, acceptsUGInUpperCaseOnly)
{
    EXPECT_TRUE(gatewaysIn("0.0.0.0         10.0.0.1        0.0.0.0         ug\n").empty());
    EXPECT_TRUE(gatewaysIn("0.0.0.0         10.0.0.1        0.0.0.0         U G\n").empty());
    EXPECT_EQ(gatewaysIn("0.0.0.0         10.0.0.1        0.0.0.0         UGHD\n").size(), 1U);
}

TEST(RouteOutput, findsNothingInTranslatedHeadings)
{
    EXPECT_TRUE(gatewaysIn("Kernel-IP-Routentabelle\n"
                           "Ziel            Router          Genmask         Flags Metric Ref\n"
                           "Table de routage IP du noyau\n"
                           "Destination     Passerelle      Genmask         Indic Metric Ref\n")
                    .empty());
}

TEST(RouteOutput, ignoresTheColumnsAfterTheFlags)
{
    EXPECT_EQ(gatewaysIn("0.0.0.0         10.0.0.1        0.0.0.0         UG    -1     0        0 "
                         "eth0     1500  0      0\n"),
        Strings{"10.0.0.1"});
    EXPECT_EQ(gatewaysIn("0.0.0.0         10.0.0.1        0.0.0.0         UG"
                  + std::string(1'000'000, ' ') + "eth0\n"),
        Strings{"10.0.0.1"});
}

TEST(GrepArgument, isAPlainNameUnchanged)
{
    for (std::string const name : {"eth0", "lo", "br-0a1b2c", "eth0.100", "veth1@if2", "a_b", "c++",
             "0", "wlp2s0-", "_", ".", "..x", "UP", "RX", "inet", "lo0"})
        EXPECT_EQ(sysinfo::grepArgument(name), name);
}

TEST(GrepArgument, isOneQuotedWordForAnyOtherName)
{
    EXPECT_EQ(sysinfo::grepArgument("-a"), "-F -e '-a'");
    EXPECT_EQ(sysinfo::grepArgument(""), "-F -e ''");
    EXPECT_EQ(sysinfo::grepArgument("a b"), "-F -e 'a b'");
    EXPECT_EQ(sysinfo::grepArgument("a'b"), "-F -e 'a'\\''b'");
    EXPECT_EQ(sysinfo::grepArgument("'"), "-F -e ''\\'''");
    for (char const odd : std::string(" \t\"$`\\;&|<>()*?[]{}~#!%^=,/\x7F\x80\xFF"))
        EXPECT_EQ(
            sysinfo::grepArgument(std::string("x") + odd), "-F -e 'x" + std::string(1, odd) + "'");
}
