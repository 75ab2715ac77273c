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
    app::Machine found;
    app::readNetworks(found);
    EXPECT_EQ(found.networks->adapters.size(), 1U);
    return found.networks->adapters.at(0).gateways;
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

TEST(Gateways, areThoseOfDefaultRoutes)
{
    EXPECT_THAT(gatewaysOf("eth0\t00000000\tFE01A8C0\t0003\t0\t0\t100\t00000000\t0\t0\t0\n"
                           "eth0\t0001A8C0\t00000000\t0001\t0\t0\t100\t00FFFFFF\t0\t0\t0\n"
                           "eth0\t0000000A\tFD01A8C0\t0003\t0\t0\t0\t000000FF\t0\t0\t0\n"),
        ElementsAre("192.168.1.254"));
}

TEST(Gateways, areNoneOfADefaultRouteToTheLinkItself)
{
    EXPECT_THAT(
        gatewaysOf("eth0\t00000000\t00000000\t0001\t0\t0\t0\t00000000\t0\t0\t0\n"), IsEmpty());
}

TEST(Gateways, areNoneOfHalfOfAllAddresses)
{
    EXPECT_THAT(
        gatewaysOf("eth0\t00000000\tFE01A8C0\t0003\t0\t0\t0\t00000080\t0\t0\t0\n"), IsEmpty());
}

TEST(Gateways, areNamedOnceThoughTwoRoutesUseThem)
{
    EXPECT_THAT(gatewaysOf("eth0\t00000000\tFE01A8C0\t0003\t0\t0\t100\t00000000\t0\t0\t0\n"
                           "eth0\t00000000\tFE01A8C0\t0003\t0\t0\t200\t00000000\t0\t0\t0\n"),
        ElementsAre("192.168.1.254"));
}

TEST(Gateways, ofAnAdapterThatIsGoneAreLeftOut)
{
    EXPECT_THAT(
        gatewaysOf("gone\t00000000\tFE01A8C0\t0003\t0\t0\t0\t00000000\t0\t0\t0\n"), IsEmpty());
}

TEST(Gateways, areNoneInALineThatIsNoRoute)
{
    EXPECT_THAT(
        gatewaysOf("eth0\t00000000\tXYZ\t0003\t0\t0\t0\t00000000\neth0 00000000\n"), IsEmpty());
}

TEST(Gateways, areThoseOfIpv6DefaultRoutes)
{
    EXPECT_THAT(gatewaysOf6(NONE, "00", GATEWAY6), ElementsAre("fe80::1"));
}

TEST(Gateways, areNoneOfIpv6RoutesThatAreNoDefault)
{
    EXPECT_THAT(gatewaysOf6("20010db8000000000000000000000000", "40", GATEWAY6), IsEmpty());
    EXPECT_THAT(gatewaysOf6(NONE, "01", GATEWAY6), IsEmpty());
    EXPECT_THAT(gatewaysOf6(NONE, "00", NONE), IsEmpty());
    EXPECT_THAT(gatewaysOf6(NONE, "00", "fe80"), IsEmpty());
}
