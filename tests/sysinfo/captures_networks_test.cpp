// The network adapters of real machines: see captures_test.cpp.

#include "common/basic/ip_address.h"
#include "common/basic/text_cast.h"
#include "tests/reference/ifconfig_output.h"
#include "tests/reference/resolv_conf.h"
#include "tests/reference/route_output.h"
#include "tests/support/CapturedTrace.h"
#include "tests/support/Machine.h"
#include "tests/support/narrow.h"
#include "tests/sysinfo/NetworkMachine.h"
#include "tests/sysinfo/captures.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>

#include <clocale>
#include <string>
#include <vector>

using testkit::CapturedTrace;
using testkit::Captures;
using testkit::CaptureSource;
using testkit::contentsOf;
using testkit::expectFact;
using testkit::machine;
using testkit::NetworkAnswer;
using testkit::NetworkMachine;
using testkit::sourcesOf;

namespace {

std::string textOf(dovrel::ip_address const& address)
{
    return address.valid() ? narrow(address.toStringInternal()) : "<invalid>";
}

/** @return the address as inet_ntop(3) writes it. */
std::string normalized(std::string const& address)
{
    char bytes[sizeof(in6_addr)];
    char text[INET6_ADDRSTRLEN];
    for (int const family : {AF_INET, AF_INET6})
        if (::inet_pton(family, address.c_str(), bytes) == 1)
            return ::inet_ntop(family, bytes, text, sizeof text);
    return "<invalid>";
}

/** @return the mask in dotted form. The files of tests/recorded/ also have hexadecimal ones. */
std::string dotted(std::string const& mask)
{
    std::string const digits = mask.rfind("0x", 0) == 0 ? mask.substr(2) : mask;
    if (digits.empty() || digits.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos)
        return mask;
    unsigned long const value = std::stoul(digits, nullptr, 16);
    std::string text;
    for (int shift = 24; shift >= 0; shift -= 8)
        text += std::to_string(value >> shift & 0xFF) + (shift > 0 ? "." : "");
    return text;
}

void expectAdapter(
    sysinfo::SystemInformation::NetworkInfo const& adapter, reference::Adapter const& expected)
{
    SCOPED_TRACE(expected.name);
    EXPECT_STREQ(narrow(adapter.getName()).c_str(), expected.name.c_str()); // Ends at a zero byte.
    std::vector<std::string> addresses;
    for (auto const& address : adapter.getIPAddrs())
        addresses.push_back(textOf(address));
    std::vector<std::string> expectedAddresses;
    for (std::string const& address : expected.addresses)
        expectedAddresses.push_back(normalized(address));
    EXPECT_EQ(addresses, expectedAddresses);
    std::vector<std::string> masks;
    for (auto const& mask : adapter.getNetmasks())
        masks.push_back(narrow(mask));
    std::vector<std::string> expectedMasks;
    for (std::string const& mask : expected.netmasks)
        expectedMasks.push_back(dotted(mask));
    EXPECT_EQ(masks, expectedMasks);
    auto const mac = expected.mac();
    for (unsigned i = 0; i < dovrel::macaddress_cpp::SIZE; ++i)
        EXPECT_EQ(adapter.getMACAddr()[i], mac[i]) << i;
}

/** Sets a locale of UTF-8, which some names need. */
class NetworkCaptures : public Captures {
protected:
    static void SetUpTestSuite() { } // The suite Captures reports a missing collection.

    void SetUp() override { ASSERT_NE(std::setlocale(LC_ALL, "C.UTF-8"), nullptr); }
    void TearDown() override { std::setlocale(LC_ALL, "C"); }

    /** Expects the trace to contain the gateways of one text, adapter by adapter. */
    static void expectRoutes(CaptureSource const& source);
};

void NetworkCaptures::expectRoutes(CaptureSource const& source)
{
    std::string const text = contentsOf(source.path);
    auto const routes = reference::readRoutes(text);
    auto const adapters = reference::adaptersOfRoutes(text);
    NetworkMachine net;
    net.routePrints(text);
    std::string listing;
    for (std::string const& adapter : adapters)
        listing += adapter + ": x\n";
    net.ifconfigPrints(listing + "last: x\n");
    CapturedTrace const trace;
    NetworkAnswer const answer;
    EXPECT_EQ(answer.outOfRange, !routes);
    if (!routes)
        return;

    std::string expected;
    std::string defaults;
    for (std::string const& adapter : adapters)
        for (reference::Route const& route : *routes) {
            if (route.line.find(adapter) == std::string::npos)
                continue;
            expected += "Found gateway for " + adapter + ": " + route.gateway + '\n';
            if (route.destination == "0.0.0.0")
                defaults += (defaults.empty() ? "" : ",") + route.gateway + '@' + adapter;
        }
    std::string traced;
    for (testkit::TraceLine const& line : trace.lines())
        if (line.line.rfind("Found gateway", 0) == 0)
            traced += line.line;
    EXPECT_EQ(traced, expected);
    if (!source.facts.empty()) {
        EXPECT_EQ(source.facts.at("default_gateways"), defaults.empty() ? "-" : defaults);
    }
}

}

TEST_F(NetworkCaptures, ofIfconfigMatchTheReferenceParser)
{
    for (CaptureSource const& source : sourcesOf("ifconfig-a", ".txt")) {
        SCOPED_TRACE(source.path);
        std::string const text = contentsOf(source.path);
        auto const expected = reference::readAdapters(text).named();
        NetworkMachine net;
        machine.tool("/sbin/ifconfig", "cat " + source.path);
        NetworkAnswer const answer;
        EXPECT_TRUE(answer.known);
        ASSERT_EQ(answer.adapters.size(), expected.size());
        size_t ipv4 = 0;
        size_t withMAC = 0;
        for (size_t i = 0; i < expected.size(); ++i) {
            expectAdapter(*answer.adapters[i], expected[i]);
            withMAC += !expected[i].hardwareAddresses.empty();
            for (auto const& address : answer.adapters[i]->getIPAddrs())
                ipv4 += address.ipv4();
        }
        expectFact(source, "blocks", answer.adapters.size());
        expectFact(source, "ipv4", ipv4);
        expectFact(source, "with_mac", withMAC);
    }
}

TEST_F(NetworkCaptures, ofRouteAndNetstatMatchTheReferenceParser)
{
    for (char const* const tool : {"route-n", "netstat-rn"})
        for (CaptureSource const& source : sourcesOf(tool, ".txt")) {
            SCOPED_TRACE(source.path);
            expectRoutes(source);
        }
}

TEST_F(NetworkCaptures, ofResolvConfMatchTheReferenceParser)
{
    for (CaptureSource const& source : sourcesOf("resolv-conf", ".txt")) {
        SCOPED_TRACE(source.path);
        auto const servers = reference::readServers(contentsOf(source.path));
        NetworkMachine net;
        net.ifconfigPrints("lo: x\n");
        net.resolverText(contentsOf(source.path));
        NetworkAnswer const answer;
        EXPECT_EQ(answer.outOfRange, !servers);
        if (!servers)
            continue;
        std::string expected;
        std::string list;
        for (std::string const& server : *servers) {
            expected += (expected.empty() ? "" : " ") + normalized(server);
            list += (list.empty() ? "" : ",") + server;
        }
        EXPECT_EQ(answer.nameServers(), expected + '\n');
        if (!source.facts.empty()) {
            EXPECT_EQ(source.facts.at("nameservers"), list);
        }
    }
}
