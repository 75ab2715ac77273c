// The real tools on a real network, which the test makes for itself (network_namespaces(7)). The
// result must agree with ip(8).

#include "common/basic/text_cast.h"
#include "sysinfo/LinuxSystemInformation.h"
#include "tests/support/CapturedTrace.h"
#include "tests/support/commands.h"
#include "tests/support/narrow.h"
#include "tests/support/system_path.h"
#include "tests/support/user_namespace.h"

#include <boost/property_tree/json_parser.hpp>

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <system_error>
#include <vector>

using boost::property_tree::ptree;
using testkit::CapturedTrace;
using testkit::outputOf;
using testkit::runs;

namespace {

/** A name that a shell would run as a command. */
constexpr char HOSTILE[] = "$(id>x)";

bool enterPrivateNetwork()
{
    try {
        testkit::enterNamespaces(CLONE_NEWUSER | CLONE_NEWNET);
        return true;
    } catch (std::system_error const& error) {
        std::printf("no private network: %s\n", error.what());
        return false;
    }
}

/** Makes a pair of adapters, one with an alias. @return false when the kernel or the tools cannot.
 */
bool makePair()
{
    if (!runs("ip link add va type veth peer name vb"))
        return false;
    // Keeps automatic IPv6 addresses away. Both commands fail on a kernel without IPv6.
    runs("ip link set va addrgenmode none");
    runs("ip link set vb addrgenmode none");
    return runs("ip link set lo up") && runs("ip address add 192.0.2.1/24 dev va")
        && runs("ip address add 198.51.100.1/25 dev va label va:web") && runs("ip link set va up")
        && runs("ip link set vb up") && runs("ip route add default via 192.0.2.254 dev va");
}

/** A kind of adapter or address that not every kernel has. */
struct OptionalLink {
    std::string command; // Makes it.
    char const* missing; // Why its test is skipped when the command fails.
    char const* listed; // Part of its line in the list of adapters.
    bool made;
};

OptionalLink ipv6 = {"ip address add 2001:db8::1/64 dev va nodad"
                     " && ip address add 2001:db8::2/48 dev va nodad",
    "this machine has no IPv6 addresses", " 2001:db8::1 2001:db8::2 ", false};
OptionalLink bridge = {"ip link add br0 type bridge && ip address add 203.0.113.1/28 dev br0",
    "this machine has no bridge adapters", " [ 203.0.113.1 ] [ 255.255.255.240 ]", false};
OptionalLink vlan = {"ip link add link va name va.100 type vlan id 100",
    "this machine has no VLAN adapters", "va.100 ", false};
OptionalLink dummy = {
    "ip link add d0 type dummy", "this machine has no dummy adapters", "d0 ", false};
OptionalLink hostile = {std::string("ip link add '") + HOSTILE + "' type veth peer name vc",
    "this machine has no adapters named like a command", HOSTILE, false};

/** Makes the network once, before the first test. */
class OwnNetwork : public testing::Test {
protected:
    static void SetUpTestSuite()
    {
        testkit::setSystemPath();
        if (!runs("ip -json link"))
            s_missing = "this machine has no ip(8) with JSON output";
        else if (!runs("ifconfig --version") || !runs("route --version"))
            s_missing = "this machine has no net-tools";
        else if (outputOf("ifconfig -a").find("Link encap") != std::string::npos)
            s_missing = "this machine has no ifconfig that prints IPv6 addresses in full";
        else if (!enterPrivateNetwork())
            s_missing = "this machine has no private networks for this user";
        else if (!makePair())
            s_missing = "this machine has no veth adapters";
        for (OptionalLink* link : {&ipv6, &bridge, &vlan, &dummy, &hostile})
            link->made = s_missing.empty() && runs("{ " + link->command + "; }");
    }

    void SetUp() override
    {
        if (!s_missing.empty())
            GTEST_SKIP() << s_missing;
    }

    static std::string s_missing;
};

std::string OwnNetwork::s_missing;

/** Two hundred more adapters, half of them with an address; the destructor removes them. */
class HundredPairs {
public:
    HundredPairs()
    {
        EXPECT_TRUE(runs("for i in $(seq 100); do ip link add m$i group 100 type veth peer name n$i"
                         " && ip address add 10.0.$i.1/24 dev m$i || exit; done"));
    }
    ~HundredPairs() { EXPECT_TRUE(runs("ip link delete group 100")); }
};

std::string dotted(int prefix)
{
    uint32_t const mask = prefix == 0 ? 0 : ~uint32_t{0} << (32 - prefix);
    std::string text;
    for (int shift = 24; shift >= 0; shift -= 8)
        text += std::to_string(mask >> shift & 0xFF) + (shift > 0 ? "." : "");
    return text;
}

struct Link {
    std::string name;
    std::string mac;
    std::vector<std::string> addresses;
    std::vector<std::string> masks;

    std::string text()
    {
        std::sort(addresses.begin(), addresses.end());
        std::string all = name + ' ' + mac + " [";
        for (std::string const& address : addresses)
            all += ' ' + address;
        all += " ] [";
        for (std::string const& mask : masks)
            all += ' ' + mask;
        return all + " ]";
    }
};

/** Adds what `ifconfig` prints for one link: the first IPv4 address of each label, a block of its
 * own for each alias, and all IPv6 addresses. */
void addLink(ptree const& link, std::multiset<std::string>& all)
{
    bool const isEthernet = link.get<std::string>("link_type") == "ether";
    auto const name = link.get<std::string>("ifname");
    std::string const mac =
        (isEthernet ? link.get<std::string>("address") : "00:00:00:00:00:00") + ":00:00";
    std::map<std::string, Link> labels;
    labels[name] = {name, mac, {}, {}};
    for (auto const& [key, info] : link.get_child("addr_info")) {
        auto const address = info.get<std::string>("local", "");
        bool const isIPv4 = info.get<std::string>("family", "") == "inet";
        Link& label = labels[isIPv4 ? info.get<std::string>("label", name) : name];
        if (address.empty() || (isIPv4 && !label.masks.empty()))
            continue;
        label.name = name;
        label.mac = mac;
        label.addresses.push_back(address);
        if (isIPv4)
            label.masks.push_back(dotted(info.get<int>("prefixlen")));
    }
    for (auto& [label, entry] : labels)
        all.insert(entry.text());
}

std::multiset<std::string> linksByIP()
{
    std::istringstream json(outputOf("ip -json address"));
    ptree tree;
    boost::property_tree::read_json(json, tree);
    std::multiset<std::string> all;
    for (auto const& [key, link] : tree)
        addLink(link, all);
    return all;
}

std::multiset<std::string> linksByLibrary()
{
    std::vector<dovrel::value_ptr<sysinfo::SystemInformation::NetworkInfo>> adapters;
    EXPECT_TRUE(sysinfo::LinuxSystemInformation().getNetworksInternal(adapters));
    std::multiset<std::string> all;
    for (auto const& adapter : adapters) {
        Link link{
            narrow(adapter->getName()), narrow(dovrel::str_cast(adapter->getMACAddr())), {}, {}};
        for (auto const& address : adapter->getIPAddrs())
            link.addresses.push_back(narrow(address.toStringInternal()));
        for (auto const& mask : adapter->getNetmasks())
            link.masks.push_back(narrow(mask));
        all.insert(link.text());
    }
    return all;
}

/** @return whether a line of the list contains the optional link. */
bool isListed(std::multiset<std::string> const& all, OptionalLink const& link)
{
    return std::any_of(all.begin(), all.end(),
        [&](std::string const& line) { return line.find(link.listed) != std::string::npos; });
}

}

TEST_F(OwnNetwork, isListedAsByTheIpTool)
{
    std::multiset<std::string> const expected = linksByIP();
    EXPECT_GE(expected.size(), 4U);
    EXPECT_EQ(linksByLibrary(), expected);
}

TEST_F(OwnNetwork, listsIPv6Addresses)
{
    if (!ipv6.made)
        GTEST_SKIP() << ipv6.missing;
    EXPECT_TRUE(isListed(linksByLibrary(), ipv6));
}

TEST_F(OwnNetwork, listsABridge)
{
    if (!bridge.made)
        GTEST_SKIP() << bridge.missing;
    EXPECT_TRUE(isListed(linksByLibrary(), bridge));
}

TEST_F(OwnNetwork, listsAVlan)
{
    if (!vlan.made)
        GTEST_SKIP() << vlan.missing;
    EXPECT_TRUE(isListed(linksByLibrary(), vlan));
}

TEST_F(OwnNetwork, listsADummyAdapter)
{
    if (!dummy.made)
        GTEST_SKIP() << dummy.missing;
    EXPECT_TRUE(isListed(linksByLibrary(), dummy));
}

TEST_F(OwnNetwork, tracesItsGateway)
{
    CapturedTrace const trace;
    linksByLibrary();
    EXPECT_TRUE(trace.contains(5, "Found gateway for va: 192.0.2.254\n"));
}

TEST_F(OwnNetwork, isListedWithTwoHundredMoreAdapters)
{
    size_t const before = linksByIP().size();
    HundredPairs const pairs;
    std::multiset<std::string> const expected = linksByIP();
    EXPECT_EQ(expected.size(), before + 200);
    EXPECT_EQ(linksByLibrary(), expected);
}

TEST_F(OwnNetwork, doesNotRunAnAdaptersNameAsACommand)
{
    if (!hostile.made)
        GTEST_SKIP() << hostile.missing;
    // A shell that reads the name without quotes makes a file.
    ASSERT_TRUE(runs(std::string("echo ") + HOSTILE));
    ASSERT_EQ(::unlink("x"), 0);
    CapturedTrace const trace;
    linksByLibrary();
    EXPECT_NE(::unlink("x"), 0);
    EXPECT_TRUE(trace.contains(5, std::string("Found adapter: ") + HOSTILE + '\n'));
}

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
