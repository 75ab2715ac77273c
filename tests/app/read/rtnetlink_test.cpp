#include "app/read/Reader.h"
#include "app/read/rtnetlink.h"
#include "tests/app/read/FakeCalls.h"
#include "tests/support/Machine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <linux/rtnetlink.h>
#include <net/if.h>

#include <cerrno>

using app::NextHop;
using app::ScopedAddress;
using app_read_test::FakeCalls;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Optional;
using testing::SizeIs;
using testkit::machine;

namespace {

constexpr unsigned short VIA = 18; // RTA_VIA
constexpr unsigned short NH_ID = 30; // RTA_NH_ID
constexpr unsigned short NEW_NEXT_HOP = 104; // RTM_NEWNEXTHOP
constexpr unsigned short GET_NEXT_HOP = 106; // RTM_GETNEXTHOP

template <class Object> std::string rawBytes(Object const& object)
{
    return {reinterpret_cast<char const*>(&object), sizeof(object)};
}

std::string padded(std::string bytes)
{
    bytes.resize((bytes.size() + 3) / 4 * 4);
    return bytes;
}

std::string addressBytes(std::string const& text)
{
    in_addr ipv4{};
    in6_addr ipv6{};
    return inet_pton(AF_INET, text.c_str(), &ipv4) == 1 ? rawBytes(ipv4)
        : inet_pton(AF_INET6, text.c_str(), &ipv6) == 1 ? rawBytes(ipv6)
                                                        : "";
}

std::string attribute(unsigned short type, std::string const& value)
{
    rtattr header{};
    header.rta_type = type;
    header.rta_len = static_cast<unsigned short>(sizeof(header) + value.size());
    return padded(rawBytes(header) + value);
}

std::string number(unsigned short type, unsigned value)
{
    return attribute(type, rawBytes(value));
}

std::string gateway(std::string const& text)
{
    return attribute(RTA_GATEWAY, addressBytes(text));
}

std::string via(std::string const& text)
{
    return attribute(VIA, rawBytes(static_cast<unsigned short>(AF_INET6)) + addressBytes(text));
}

std::string hop(int adapter, std::string const& attributes)
{
    rtnexthop header{};
    header.rtnh_len = static_cast<unsigned short>(sizeof(header) + attributes.size());
    header.rtnh_ifindex = adapter;
    return rawBytes(header) + attributes;
}

std::string message(unsigned short type, std::string const& content, unsigned short flags = 0)
{
    nlmsghdr header{};
    header.nlmsg_type = type;
    header.nlmsg_flags = flags;
    header.nlmsg_len = static_cast<unsigned>(sizeof(header) + content.size());
    return padded(rawBytes(header) + content);
}

rtmsg defaultRoute(unsigned char family = AF_INET)
{
    rtmsg route{};
    route.rtm_family = family;
    route.rtm_table = RT_TABLE_MAIN;
    route.rtm_type = RTN_UNICAST;
    return route;
}

std::string route(rtmsg const& header, std::string const& attributes, unsigned short flags = 0)
{
    return message(RTM_NEWROUTE, rawBytes(header) + attributes, flags);
}

/** A default route through 192.0.2.1 on adapter 2. */
std::string usual(rtmsg const& header = defaultRoute(), std::string const& more = "")
{
    return route(header, gateway("192.0.2.1") + number(RTA_OIF, 2) + more);
}

std::string address(unsigned char family, unsigned char scope, std::string const& attributes)
{
    ifaddrmsg header{};
    header.ifa_family = family;
    header.ifa_scope = scope;
    header.ifa_index = 2;
    return message(RTM_NEWADDR, rawBytes(header) + attributes);
}

/** @param attributes besides its number. */
std::string nexthopObject(unsigned char family, unsigned id, std::string const& attributes)
{
    std::string const header = std::string(1, static_cast<char>(family)) + std::string(7, '\0');
    return message(NEW_NEXT_HOP, header + number(1, id) + attributes);
}

std::string group(std::vector<unsigned> const& members)
{
    std::string bytes;
    for (unsigned const member : members)
        bytes += rawBytes(member) + std::string(4, '\0');
    return attribute(2, bytes);
}

/** The gateways of the adapters 2 and 3, "10.0.0.1, fe80::1"; "unknown". */
std::vector<std::string> gatewaysOfObjects(
    std::string const& route, std::vector<std::string> const& objects, size_t problems = 0)
{
    FakeCalls calls;
    calls.addresses = {{"eth0", IFF_UP, "00:0c:29:aa:bb:cc", 0, 1, 2},
        {"eth1", IFF_UP, "00:0c:29:aa:bb:cd", 0, 1, 3}};
    calls.netlink[RTM_GETROUTE] = {route, message(NLMSG_DONE, rawBytes(0))};
    calls.netlink[GET_NEXT_HOP] = objects;
    app::Machine found;
    app::readNetworks(found);
    EXPECT_THAT(found.problems, SizeIs(problems));
    for (app::Problem const& problem : found.problems)
        EXPECT_EQ(problem.fact + " " + problem.source, "the gateways rtnetlink");
    std::vector<std::string> texts;
    for (app::Adapter const& adapter : found.networks->adapters) {
        std::string text = adapter.gateways ? "" : "unknown";
        for (std::string const& one : adapter.gateways.value_or(std::vector<std::string>()))
            text += (text.empty() ? "" : ", ") + one;
        texts.push_back(text);
    }
    return texts;
}

std::string done(int error = 0)
{
    return message(NLMSG_DONE, rawBytes(error));
}

/** "2 192.0.2.1" */
std::vector<std::string> hopsIn(std::string const& messages)
{
    std::vector<std::string> texts;
    for (NextHop const& hop : app::nextHopsIn(messages))
        texts.push_back(std::to_string(hop.adapter) + " " + hop.gateway);
    return texts;
}

/** "2 192.0.2.1 global" */
std::vector<std::string> addressesIn(std::string const& messages)
{
    std::vector<std::string> texts;
    for (ScopedAddress const& one : app::scopedAddressesIn(messages))
        texts.push_back(std::to_string(one.adapter) + " " + one.address + " " + one.scope);
    return texts;
}

}

TEST(NextHops, areThoseOfDefaultRoutes)
{
    EXPECT_THAT(
        hopsIn(usual() + route(defaultRoute(AF_INET6), gateway("fe80::1") + number(RTA_OIF, 3))),
        ElementsAre("2 192.0.2.1", "3 fe80::1"));
}

TEST(NextHops, areAllOfARouteWithSeveral)
{
    EXPECT_THAT(hopsIn(route(defaultRoute(),
                    attribute(RTA_MULTIPATH,
                        hop(2, gateway("192.0.2.1")) + hop(3, via("fe80::3")) + hop(4, "")))),
        ElementsAre("2 192.0.2.1", "3 fe80::3"));
}

TEST(NextHops, mayBeIpv6OnesOfAnIpv4Route)
{
    EXPECT_THAT(hopsIn(route(defaultRoute(), via("fe80::1") + number(RTA_OIF, 2))),
        ElementsAre("2 fe80::1"));
}

TEST(NextHops, areNoneOfOtherRoutes)
{
    rtmsg half = defaultRoute();
    half.rtm_dst_len = 1;
    EXPECT_THAT(hopsIn(usual(half)), IsEmpty());
    rtmsg unreachable = defaultRoute();
    unreachable.rtm_type = RTN_UNREACHABLE;
    EXPECT_THAT(hopsIn(usual(unreachable)), IsEmpty());
    rtmsg cached = defaultRoute();
    cached.rtm_flags = RTM_F_CLONED;
    EXPECT_THAT(hopsIn(usual(cached)), IsEmpty());
    EXPECT_THAT(hopsIn(usual(defaultRoute(AF_BRIDGE))), IsEmpty());
    EXPECT_THAT(hopsIn(route(defaultRoute(), number(RTA_OIF, 2))), IsEmpty()) << "to the link";
}

TEST(NextHops, areThoseOfTheMainTable)
{
    EXPECT_THAT(hopsIn(usual(defaultRoute(), number(RTA_TABLE, 1000))), IsEmpty());
    rtmsg other = defaultRoute();
    other.rtm_table = RT_TABLE_LOCAL;
    EXPECT_THAT(hopsIn(usual(other)), IsEmpty());
    EXPECT_THAT(hopsIn(usual(other, number(RTA_TABLE, RT_TABLE_MAIN))), SizeIs(1));
}

TEST(NextHops, endWhereTheBytesAreCutShort)
{
    std::string const whole = route(defaultRoute(),
        attribute(RTA_MULTIPATH, hop(2, gateway("192.0.2.1")) + hop(3, gateway("192.0.2.2"))));
    for (size_t size = 0; size < whole.size(); ++size)
        EXPECT_THAT(hopsIn(whole.substr(0, size)), IsEmpty()) << size;
    EXPECT_THAT(hopsIn(usual() + whole.substr(0, whole.size() - 1)), SizeIs(1));
}

TEST(NextHops, areFoundInNoBytesWithWrongLengths)
{
    std::string const whole = route(defaultRoute(),
        attribute(RTA_MULTIPATH, hop(2, gateway("192.0.2.1")) + hop(3, gateway("192.0.2.2"))));
    // Whatever a byte is, nothing is read behind the end and nothing loops.
    for (size_t place = 0; place < whole.size(); ++place)
        for (char const value : {'\0', '\1', '\3', '\x7F', '\xFF'}) {
            std::string odd = whole;
            odd[place] = value;
            EXPECT_LE(hopsIn(odd).size(), 3U);
            EXPECT_LE(addressesIn(odd).size(), 1U);
        }
    EXPECT_THAT(hopsIn(route(defaultRoute(), gateway("192.0.2.1").substr(0, 6))), IsEmpty());
    EXPECT_THAT(hopsIn(route(defaultRoute(), attribute(RTA_GATEWAY, "abc") + attribute(VIA, "a"))),
        IsEmpty());
}

TEST(NextHops, mayBeANexthopObject)
{
    EXPECT_THAT(hopsIn(route(defaultRoute(), number(NH_ID, 7))), ElementsAre("0 "));
    EXPECT_EQ(app::nextHopsIn(route(defaultRoute(), number(NH_ID, 7))).at(0).object, 7U);
    EXPECT_THAT(hopsIn(usual(defaultRoute(), number(NH_ID, 7))), ElementsAre("2 192.0.2.1"));
    EXPECT_THAT(hopsIn(route(defaultRoute(),
                    number(NH_ID, 7) + attribute(RTA_MULTIPATH, hop(2, gateway("192.0.2.1"))))),
        ElementsAre("2 192.0.2.1"));
}

TEST(NexthopObjects, areFoundInNoBytesWithWrongLengths)
{
    std::string const whole = nexthopObject(AF_INET, 9, group({7, 8}))
        + nexthopObject(AF_INET, 7, number(5, 2) + attribute(6, addressBytes("192.0.2.1")));
    ASSERT_THAT(app::nextHopObjectsIn(whole), SizeIs(2));
    EXPECT_THAT(app::nextHopObjectsIn(whole)[0].members, ElementsAre(7U, 8U));
    for (size_t place = 0; place < whole.size(); ++place)
        for (char const value : {'\0', '\1', '\3', '\x7F', '\xFF'}) {
            std::string odd = whole;
            odd[place] = value;
            EXPECT_LE(app::nextHopObjectsIn(odd).size(), 2U);
        }
}

TEST(ScopedAddresses, haveTheScopeOfTheKernel)
{
    auto const of = [](unsigned char scope) {
        return addressesIn(address(AF_INET, scope, attribute(IFA_LOCAL, addressBytes("10.0.0.1"))));
    };
    EXPECT_THAT(of(RT_SCOPE_UNIVERSE), ElementsAre("2 10.0.0.1 global"));
    EXPECT_THAT(of(RT_SCOPE_SITE), ElementsAre("2 10.0.0.1 site"));
    EXPECT_THAT(of(RT_SCOPE_LINK), ElementsAre("2 10.0.0.1 link"));
    EXPECT_THAT(of(RT_SCOPE_HOST), ElementsAre("2 10.0.0.1 host"));
    EXPECT_THAT(of(50), ElementsAre("2 10.0.0.1 50"));
}

TEST(ScopedAddresses, areTheOwnOnesAndNotThePeers)
{
    EXPECT_THAT(
        addressesIn(address(AF_INET, 0,
                        attribute(IFA_ADDRESS, addressBytes("10.0.0.2"))
                            + attribute(IFA_LOCAL, addressBytes("10.0.0.1")))
            + address(AF_INET6, RT_SCOPE_LINK, attribute(IFA_ADDRESS, addressBytes("fe80::1")))
            + address(AF_INET, 0, "")),
        ElementsAre("2 10.0.0.1 global", "2 fe80::1 link"));
}

TEST(Rtnetlink, sendsRoutesInSeveralDatagrams)
{
    FakeCalls calls;
    calls.netlink[RTM_GETROUTE] = {usual() + usual(), usual(), done()};
    EXPECT_THAT(app::readNextHops(), Optional(SizeIs(3)));
}

TEST(Rtnetlink, isReadAgainWhereTheRoutesChanged)
{
    FakeCalls calls;
    // The fake repeats it each time.
    calls.netlink[RTM_GETROUTE] = {
        route(defaultRoute(), gateway("192.0.2.1"), NLM_F_DUMP_INTR), done()};
    EXPECT_THAT(app::readNextHops(), Optional(SizeIs(1)));
}

TEST(Rtnetlink, failsWithTheErrorOfTheKernel)
{
    FakeCalls calls;
    calls.netlink[RTM_GETROUTE] = {message(NLMSG_ERROR, rawBytes(-EPERM))};
    EXPECT_FALSE(app::readNextHops());
    EXPECT_EQ(errno, EPERM);
    calls.netlink[RTM_GETROUTE] = {usual(), done(-EMSGSIZE)};
    EXPECT_FALSE(app::readNextHops());
    EXPECT_EQ(errno, EMSGSIZE);
    calls.netlinkFails = true;
    EXPECT_FALSE(app::readScopedAddresses());
    EXPECT_EQ(errno, EAFNOSUPPORT);
}

TEST(Rtnetlink, failsWhereTheKernelSendsNoEnd)
{
    FakeCalls calls;
    calls.netlink[RTM_GETROUTE] = {usual(), ""};
    EXPECT_FALSE(app::readNextHops());
}

TEST(Adapters, haveTheGatewaysAndScopesOfTheKernel)
{
    FakeCalls calls;
    calls.addresses = {{"eth0", IFF_UP, "00:0c:29:aa:bb:cc", 0, 1, 2},
        {"eth0", IFF_UP, "10.0.0.1", 24}, {"eth0", IFF_UP, "10.0.0.2", 24},
        {"eth1", IFF_UP, "00:0c:29:aa:bb:cd", 0, 1, 3}};
    calls.netlink[RTM_GETROUTE] = {route(defaultRoute(), gateway("10.0.0.254") + number(RTA_OIF, 2))
            + route(defaultRoute(), gateway("10.0.0.254") + number(RTA_OIF, 2))
            + route(defaultRoute(), gateway("10.9.9.9") + number(RTA_OIF, 9)),
        done()};
    calls.netlink[RTM_GETADDR] = {
        address(AF_INET, RT_SCOPE_LINK, attribute(IFA_LOCAL, addressBytes("10.0.0.1"))), done()};
    machine.folder("/proc/net/route");
    app::Machine found;
    app::readNetworks(found);
    auto const& adapters = found.networks->adapters;
    ASSERT_THAT(adapters, SizeIs(2));
    EXPECT_THAT(adapters[0].gateways, Optional(ElementsAre("10.0.0.254")));
    EXPECT_THAT(adapters[1].gateways, Optional(IsEmpty()));
    EXPECT_EQ(adapters[0].addresses->at(0).scope, "link");
    EXPECT_EQ(adapters[0].addresses->at(1).scope, "global") << "the usual one";
    EXPECT_THAT(found.problems, IsEmpty()) << "the files are not read";
}

TEST(Adapters, haveTheirGatewaysThoughTheirAddressesAreUnknown)
{
    FakeCalls calls;
    calls.addressesFail = true;
    calls.netlink[RTM_GETROUTE] = {usual(), done()};
    machine.file("/sys/class/net/eth0/ifindex", "2\n");
    app::Machine found;
    app::readNetworks(found);
    ASSERT_THAT(found.networks->adapters, SizeIs(1));
    EXPECT_EQ(found.networks->adapters[0].addresses, std::nullopt);
    EXPECT_THAT(found.networks->adapters[0].gateways, Optional(ElementsAre("192.0.2.1")));
}

TEST(Adapters, haveTheGatewaysOfNexthopObjects)
{
    std::string const objects =
        nexthopObject(AF_INET, 7, number(5, 2) + attribute(6, addressBytes("192.0.2.1")))
        + nexthopObject(AF_INET6, 8, number(5, 3) + attribute(6, addressBytes("fe80::1")))
        + nexthopObject(AF_INET, 6, number(5, 3)) + nexthopObject(AF_INET, 9, group({7, 8, 6}));
    EXPECT_THAT(gatewaysOfObjects(route(defaultRoute(), number(NH_ID, 7)), {objects, done()}),
        ElementsAre("192.0.2.1", ""));
    EXPECT_THAT(gatewaysOfObjects(route(defaultRoute(), number(NH_ID, 9)), {objects, done()}),
        ElementsAre("192.0.2.1", "fe80::1"));
    EXPECT_THAT(gatewaysOfObjects(route(defaultRoute(), number(NH_ID, 6)), {objects, done()}),
        ElementsAre("", ""));
}

TEST(Adapters, haveUnknownGatewaysWhereTheirNexthopObjectIsUnknown)
{
    std::string const both = usual() + route(defaultRoute(), number(NH_ID, 7));
    EXPECT_THAT(gatewaysOfObjects(both, {done()}, 1), ElementsAre("192.0.2.1", "unknown"));
    EXPECT_THAT(gatewaysOfObjects(both, {message(NLMSG_ERROR, rawBytes(-EOPNOTSUPP))}, 1),
        ElementsAre("192.0.2.1", "unknown"));
}
