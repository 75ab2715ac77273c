// The real tools on a real network that the test makes for itself (network_namespaces(7)), against
// what ip(8) tells of it.

#include "common/basic/text_cast.h"
#include "sysinfo/LinuxSystemInformation.h"
#include "tests/support/CapturedTrace.h"

#include <boost/property_tree/json_parser.hpp>

#include <gtest/gtest.h>
#include <sched.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

using boost::property_tree::ptree;
using testkit::CapturedTrace;

namespace {

/** A name that a shell would take for a command. */
constexpr char HOSTILE[] = "$(id>x)";

/** @return what the command prints. */
std::string outputOf(std::string const& command)
{
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> const pipe(
        ::popen(command.c_str(), "re"), ::pclose);
    std::string output;
    for (int c = 0; pipe && (c = std::fgetc(pipe.get())) != EOF;)
        output += static_cast<char>(c);
    return output;
}

bool runs(std::string const& command)
{
    return std::system((command + " >/dev/null 2>&1").c_str()) == 0;
}

bool write(char const* path, std::string const& text)
{
    std::ofstream file(path);
    return static_cast<bool>(file << text << std::flush);
}

bool enterNetworkOfItsOwn()
{
    std::string const user = std::to_string(::getuid());
    std::string const group = std::to_string(::getgid());
    return ::unshare(CLONE_NEWUSER | CLONE_NEWNET) == 0 && write("/proc/self/setgroups", "deny")
        && write("/proc/self/uid_map", "0 " + user + " 1")
        && write("/proc/self/gid_map", "0 " + group + " 1");
}

/** Two ends of a cable, one with an alias. @return whether the kernel and the tools could. */
bool makeCable()
{
    if (!runs("ip link add va type veth peer name vb"))
        return false;
    // IPv6's own addresses would come whenever they please; a kernel without it refuses both.
    runs("ip link set va addrgenmode none");
    runs("ip link set vb addrgenmode none");
    return runs("ip link set lo up") && runs("ip address add 192.0.2.1/24 dev va")
        && runs("ip address add 198.51.100.1/25 dev va label va:web") && runs("ip link set va up")
        && runs("ip link set vb up") && runs("ip route add default via 192.0.2.254 dev va");
}

/** Makes what not every kernel can. @return what this one cannot. */
std::vector<std::string> makeOptionalLinks()
{
    std::pair<char const*, char const*> const links[] = {
        {"IPv6 addresses",
            "ip address add 2001:db8::1/64 dev va nodad"
            " && ip address add 2001:db8::2/48 dev va nodad"},
        {"a bridge", "ip link add br0 type bridge && ip address add 203.0.113.1/28 dev br0"},
        {"a VLAN", "ip link add link va name va.100 type vlan id 100"},
        {"a dummy link", "ip link add d0 type dummy"},
    };
    std::vector<std::string> missing;
    for (auto const& [name, command] : links)
        if (!runs(std::string("{ ") + command + "; }"))
            missing.emplace_back(name);
    return missing;
}

bool makeHostileAdapter()
{
    return runs(std::string("ip link add '") + HOSTILE + "' type veth peer name vc");
}

/** Two hundred adapters more while it lives, every other one with an address. */
class HundredCables {
public:
    HundredCables()
    {
        EXPECT_TRUE(runs("for i in $(seq 100); do ip link add m$i group 100 type veth peer name n$i"
                         " && ip address add 10.0.$i.1/24 dev m$i || exit; done"));
    }
    ~HundredCables() { EXPECT_TRUE(runs("ip link delete group 100")); }
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

/** What `ifconfig` can show of one link: the first IPv4 address of each label, an alias by itself,
 * and all of IPv6. */
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

std::string narrow(dovrel::string const& text)
{
    return static_cast<char const*>(text);
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

}

TEST(OwnNetwork, isListedAsTheKernelsOwnToolListsIt)
{
    std::multiset<std::string> const expected = linksByIP();
    EXPECT_GE(expected.size(), 4U);
    EXPECT_EQ(linksByLibrary(), expected);
}

TEST(OwnNetwork, hasItsGatewayTraced)
{
    CapturedTrace const trace;
    linksByLibrary();
    EXPECT_TRUE(trace.contains(5, "Found gateway for va: 192.0.2.254\n"));
}

TEST(OwnNetwork, isListedWithTwoHundredAdaptersMore)
{
    size_t const before = linksByIP().size();
    HundredCables const cables;
    std::multiset<std::string> const expected = linksByIP();
    EXPECT_EQ(expected.size(), before + 200);
    EXPECT_EQ(linksByLibrary(), expected);
}

TEST(OwnNetwork, runsNothingThatAnAdapterIsCalled)
{
    // Wherever a shell reads the name as it stands, it leaves a file.
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
    if (GTEST_FLAG_GET(list_tests))
        return RUN_ALL_TESTS();
    ::setenv("PATH", "/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin", 1);
    char const* missing = nullptr;
    if (!runs("ip -json link") || !runs("ifconfig --version") || !runs("route --version"))
        missing = "this machine lacks ip(8) or net-tools";
    else if (outputOf("ifconfig -a").find("Link encap") != std::string::npos)
        missing = "this machine's ifconfig is of the old style, which has no IPv6 addresses";
    else if (!enterNetworkOfItsOwn())
        missing = "this machine lets nobody make a network of one's own";
    else if (!makeCable())
        missing = "no pair of veth adapters can be made here";
    if (missing) {
        std::printf("note: own_network_test compared nothing: %s.\n", missing);
        return 0;
    }
    for (std::string const& link : makeOptionalLinks())
        std::printf("note: own_network_test did without %s: the kernel or ip(8) makes none here.\n",
            link.c_str());
    if (!makeHostileAdapter()) {
        std::puts("note: own_network_test had no adapter named after a command: none can be made.");
        GTEST_FLAG_SET(
            filter, GTEST_FLAG_GET(filter) + ":-OwnNetwork.runsNothingThatAnAdapterIsCalled");
    }
    return RUN_ALL_TESTS();
}
