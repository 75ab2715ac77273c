#include "app/read/Reader.h"
#include "tests/app/read/FakeCalls.h"
#include "tests/support/Machine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <net/if.h>

using app_read_test::FakeCalls;
using testing::ElementsAre;
using testing::IsEmpty;
using testkit::machine;

namespace {

constexpr char const* HEADING =
    "Iface\tDestination\tGateway \tFlags\tRefCnt\tUse\tMetric\tMask\t\tMTU\tWindow\tIRTT\n";
constexpr char const* NONE = "00000000000000000000000000000000";
constexpr char const* GATEWAY6 = "fe800000000000000000000000000001";

/** The gateways of "eth0". */
std::vector<std::string> gateways()
{
    FakeCalls calls;
    calls.addresses = {{"eth0", IFF_UP, ""}};
    calls.netlinkFails = true;
    app::Machine found;
    app::readNetworks(found);
    EXPECT_EQ(found.networks->adapters.size(), 1U);
    EXPECT_TRUE(found.problems.empty());
    return found.networks->adapters.at(0).gateways.value_or(std::vector<std::string>{"unknown"});
}

std::vector<std::string> gatewaysOf(std::string const& routes)
{
    machine.file("/proc/net/route", HEADING + routes);
    return gateways();
}

std::vector<std::string> gatewaysOf6(
    std::string const& destination, std::string const& length, std::string const& gateway)
{
    machine.file("/proc/net/ipv6_route",
        destination + " " + length + " " + NONE + " 00 " + gateway
            + " 00000400 00000001 00000000 00000003     eth0\n");
    return gateways();
}

}

TEST(GatewaysOfFiles, areThoseOfDefaultRoutes)
{
    EXPECT_THAT(gatewaysOf("eth0\t00000000\tFE01A8C0\t0003\t0\t0\t100\t00000000\t0\t0\t0\n"
                           "eth0\t0001A8C0\t00000000\t0001\t0\t0\t100\t00FFFFFF\t0\t0\t0\n"
                           "eth0\t0000000A\tFD01A8C0\t0003\t0\t0\t0\t000000FF\t0\t0\t0\n"),
        ElementsAre("192.168.1.254"));
}

TEST(GatewaysOfFiles, areNoneOfADefaultRouteToTheLinkItself)
{
    EXPECT_THAT(
        gatewaysOf("eth0\t00000000\t00000000\t0001\t0\t0\t0\t00000000\t0\t0\t0\n"), IsEmpty());
}

TEST(GatewaysOfFiles, areNoneOfHalfOfAllAddresses)
{
    EXPECT_THAT(
        gatewaysOf("eth0\t00000000\tFE01A8C0\t0003\t0\t0\t0\t00000080\t0\t0\t0\n"), IsEmpty());
}

TEST(GatewaysOfFiles, areNamedOnceThoughTwoRoutesUseThem)
{
    EXPECT_THAT(gatewaysOf("eth0\t00000000\tFE01A8C0\t0003\t0\t0\t100\t00000000\t0\t0\t0\n"
                           "eth0\t00000000\tFE01A8C0\t0003\t0\t0\t200\t00000000\t0\t0\t0\n"),
        ElementsAre("192.168.1.254"));
}

TEST(GatewaysOfFiles, ofAnAdapterThatIsGoneAreLeftOut)
{
    EXPECT_THAT(
        gatewaysOf("gone\t00000000\tFE01A8C0\t0003\t0\t0\t0\t00000000\t0\t0\t0\n"), IsEmpty());
}

TEST(GatewaysOfFiles, areNoneInALineThatIsNoRoute)
{
    EXPECT_THAT(
        gatewaysOf("eth0\t00000000\tXYZ\t0003\t0\t0\t0\t00000000\neth0 00000000\n"), IsEmpty());
}

TEST(GatewaysOfFiles, areThoseOfIpv6DefaultRoutes)
{
    EXPECT_THAT(gatewaysOf6(NONE, "00", GATEWAY6), ElementsAre("fe80::1"));
}

TEST(GatewaysOfFiles, areNoneOfIpv6RoutesThatAreNoDefault)
{
    EXPECT_THAT(gatewaysOf6("20010db8000000000000000000000000", "40", GATEWAY6), IsEmpty());
    EXPECT_THAT(gatewaysOf6(NONE, "01", GATEWAY6), IsEmpty());
    EXPECT_THAT(gatewaysOf6(NONE, "00", NONE), IsEmpty());
    EXPECT_THAT(gatewaysOf6(NONE, "00", "fe80"), IsEmpty());
}

TEST(GatewaysOfFiles, areUnknownWhereTheFilesCannotBeRead)
{
    FakeCalls calls;
    calls.addresses = {{"eth0", IFF_UP, ""}, {"eth1", IFF_UP, ""}};
    calls.netlinkFails = true;
    machine.file("/proc/net/route",
        HEADING + std::string("eth0\t00000000\tFE01A8C0\t0003\t0\t0\t0\t00000000\t0\t0\t0\n"));
    machine.folder("/proc/net/ipv6_route");
    app::Machine found;
    app::readNetworks(found);
    auto const& adapters = found.networks->adapters;
    EXPECT_THAT(adapters.at(0).gateways, testing::Optional(ElementsAre("192.168.1.254")));
    EXPECT_EQ(adapters.at(1).gateways, std::nullopt);
    ASSERT_THAT(found.problems, testing::SizeIs(1));
    EXPECT_EQ(found.problems[0].fact, "the gateways");
    EXPECT_EQ(found.problems[0].source, "/proc/net/ipv6_route");
    EXPECT_EQ(found.problems[0].reason, "Is a directory");
}

TEST(GatewaysOfFiles, areUnknownWithoutFiles)
{
    FakeCalls calls;
    calls.addresses = {{"eth0", IFF_UP, ""}};
    calls.netlinkFails = true;
    app::Machine found;
    app::readNetworks(found);
    EXPECT_EQ(found.networks->adapters.at(0).gateways, std::nullopt);
    ASSERT_THAT(found.problems, testing::SizeIs(1));
    EXPECT_EQ(found.problems[0].source, "/proc/net/route");
    EXPECT_EQ(found.problems[0].reason, "No such file or directory");
}
