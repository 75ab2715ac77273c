#include "app/read/Reader.h"
#include "tests/app/read/FakeCalls.h"
#include "tests/app/read/FakeSys.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <net/if.h>
#include <net/if_arp.h>

using app::Adapter;
using app::Machine;
using app::Networks;
using app_read_test::FakeCalls;
using app_read_test::Files;
using app_read_test::writeFiles;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Optional;
using testing::SizeIs;
using testkit::machine;

namespace {

constexpr unsigned UP = IFF_UP | IFF_RUNNING;

Networks foundNetworks()
{
    Machine found;
    app::readNetworks(found);
    EXPECT_THAT(found.problems, IsEmpty());
    return found.networks.value_or(Networks());
}

Adapter foundAdapter()
{
    Networks const networks = foundNetworks();
    EXPECT_THAT(networks.adapters, SizeIs(1));
    return networks.adapters.empty() ? Adapter() : networks.adapters.front();
}

/** The adapter "eth0" with these files in /sys/class/net. */
Adapter readWithFiles(Files const& files, unsigned flags = UP)
{
    FakeCalls calls;
    calls.addresses = {{"eth0", flags, ""}};
    writeFiles("/sys/class/net/eth0", files);
    Adapter const adapter = foundAdapter();
    machine.empty();
    return adapter;
}

std::string scopeOf(std::string const& address)
{
    FakeCalls calls;
    calls.addresses = {{"eth0", UP, address}};
    return foundAdapter().knownAddresses().at(0).scope;
}

std::vector<std::string> nameServersOf(std::string const& text)
{
    machine.file("/etc/resolv.conf", text);
    return foundNetworks().nameServers.value_or(std::vector<std::string>{"unknown"});
}

}

TEST(Adapters, haveTheirAddressesWithPrefixLengths)
{
    FakeCalls calls;
    calls.addresses = {{"eth0", UP, "00:0c:29:aa:bb:cc"}, {"eth0", UP, "10.0.0.5", 24},
        {"eth0", UP, "10.0.0.6", 32}, {"eth0", UP, "2001:db8::1", 64}, {"eth0", UP, "10.1.0.1", 0}};
    Adapter const adapter = foundAdapter();
    ASSERT_THAT(adapter.addresses, Optional(SizeIs(4)));
    EXPECT_EQ(adapter.addresses->at(0).text, "10.0.0.5");
    EXPECT_EQ(adapter.addresses->at(0).prefixLength, 24U);
    EXPECT_EQ(adapter.addresses->at(1).prefixLength, 32U);
    EXPECT_EQ(adapter.addresses->at(2).text, "2001:db8::1");
    EXPECT_EQ(adapter.addresses->at(2).prefixLength, 64U);
    EXPECT_EQ(adapter.addresses->at(3).prefixLength, 0U);
    EXPECT_EQ(adapter.mac, "00:0c:29:aa:bb:cc");
}

TEST(Adapters, haveTheAddressesOfTheirAliases)
{
    FakeCalls calls;
    calls.addresses = {{"eth0", UP, "10.0.0.5", 24}, {"eth0:1", UP, "10.0.0.6", 24}};
    EXPECT_THAT(foundAdapter().addresses, Optional(SizeIs(2)));
}

TEST(Adapters, haveAScopeOfEachAddress)
{
    EXPECT_EQ(scopeOf("127.0.0.1"), "host");
    EXPECT_EQ(scopeOf("169.254.3.4"), "link");
    EXPECT_EQ(scopeOf("192.168.0.1"), "global");
    EXPECT_EQ(scopeOf("::1"), "host");
    EXPECT_EQ(scopeOf("fe80::1"), "link");
    EXPECT_EQ(scopeOf("fec0::1"), "site");
    EXPECT_EQ(scopeOf("fd00::1"), "global");
}

TEST(Adapters, areInNaturalOrderWithTheLoopbackLast)
{
    FakeCalls calls;
    calls.addresses = {
        {"lo", UP | IFF_LOOPBACK, ""}, {"eth10", UP, ""}, {"wlan0", UP, ""}, {"eth9", UP, ""}};
    std::vector<std::string> names;
    for (Adapter const& adapter : foundNetworks().adapters)
        names.push_back(adapter.name);
    EXPECT_THAT(names, ElementsAre("eth9", "eth10", "wlan0", "lo"));
}

TEST(Adapters, haveTheKindThatTheKernelReports)
{
    std::pair<Files, char const*> const kinds[] = {
        {{{"device/x", ""}, {"type", "1"}}, "physical"},
        {{{"device/x", ""}, {"wireless/x", ""}}, "wireless"},
        {{{"device/x", ""}, {"phy80211/x", ""}}, "wireless"},
        {{{"bridge/x", ""}}, "bridge"},
        {{{"bonding/x", ""}}, "bond"},
        {{{"uevent", "DEVTYPE=vlan\nINTERFACE=eth0"}}, "vlan"},
        {{{"type", "772"}}, "loopback"},
        {{{"type", "65534"}}, "tunnel"},
        {{{"type", "512"}}, "tunnel"},
        {{{"type", "768"}}, "tunnel"},
        {{{"type", "769"}}, "tunnel"},
        {{{"type", "776"}}, "tunnel"},
        {{{"type", "1"}}, "virtual"},
    };
    for (auto const& [files, kind] : kinds)
        EXPECT_EQ(readWithFiles(files).kind, kind) << files[0].first << " " << files[0].second;
}

TEST(Adapters, haveTheKindOfTheirFlagsOnKernelsWithoutSysfs)
{
    EXPECT_EQ(readWithFiles({}, UP | IFF_LOOPBACK).kind, "loopback");
    EXPECT_EQ(readWithFiles({}, UP | IFF_POINTOPOINT).kind, "tunnel");
    EXPECT_EQ(readWithFiles({}).kind, std::nullopt);
    FakeCalls calls;
    calls.addresses = {{"eth0.5", UP, ""}};
    machine.file("/proc/net/vlan/eth0.5", "");
    EXPECT_EQ(foundAdapter().kind, "vlan");
}

TEST(Adapters, haveAHardwareTypeOfTheirAddressOnKernelsWithoutSysfs)
{
    FakeCalls calls;
    calls.addresses = {{"sit0", UP, "0a:00:00:01", 0, ARPHRD_SIT}};
    EXPECT_EQ(foundAdapter().kind, "tunnel");
}

TEST(Adapters, areUpWithACarrierOnly)
{
    EXPECT_EQ(readWithFiles({}, IFF_UP | IFF_RUNNING).state, "up");
    EXPECT_EQ(readWithFiles({}, IFF_UP).state, "no carrier");
    EXPECT_EQ(readWithFiles({}, 0).state, "down");
}

TEST(Adapters, haveSpeedAndMtu)
{
    Adapter const adapter = readWithFiles({{"speed", "1000"}, {"mtu", "1500"}});
    EXPECT_EQ(adapter.speedMbit, 1000U);
    EXPECT_EQ(adapter.mtu, 1500U);
}

TEST(Adapters, haveNoSpeedWhereTheKernelKnowsNone)
{
    for (char const* const speed : {"-1", "0", "65535", "4294967295"})
        EXPECT_EQ(readWithFiles({{"speed", speed}}).speedMbit, std::nullopt) << speed;
}

TEST(Adapters, haveAProblemForEachFileWithoutItsValue)
{
    std::pair<char const*, char const*> const files[] = {{"mtu", "-1"}, {"mtu", "4294967296"},
        {"speed", "fast"}, {"speed", ""}, {"ifindex", "two"}, {"type", "ether"},
        {"address", "not:a:mac"}, {"address", "00:0c:2"}};
    for (auto const& [file, text] : files) {
        FakeCalls calls;
        calls.addresses = {{"eth0", UP, ""}};
        machine.folder("/sys/class/net/lo");
        writeFiles("/sys/class/net/eth0", {{"ifindex", "2"}, {file, text}});
        Machine found;
        app::readNetworks(found);
        Adapter const& adapter = found.networks->adapters.at(0);
        EXPECT_EQ(adapter.mtu, std::nullopt);
        EXPECT_EQ(adapter.mac, std::nullopt);
        ASSERT_THAT(found.problems, SizeIs(1)) << file << " " << text;
        EXPECT_EQ(found.problems[0].source, std::string("/sys/class/net/eth0/") + file);
        machine.empty();
    }
}

TEST(Adapters, haveAStateOfSysfsThatTheKernelDefines)
{
    FakeCalls const calls;
    std::pair<char const*, bool> const states[] = {
        {"dormant", true}, {"unknown", true}, {"asleep", false}};
    for (auto const& [state, isDefined] : states) {
        writeFiles("/sys/class/net/eth1", {{"ifindex", "3"}, {"operstate", state}});
        Machine found;
        app::readNetworks(found);
        EXPECT_EQ(found.networks->adapters.at(0).state.value_or("none"),
            std::string(state) == "dormant" ? state : "none");
        EXPECT_EQ(found.problems.empty(), isDefined) << state;
    }
}

TEST(Adapters, haveNoMacOfZerosOnly)
{
    FakeCalls calls;
    calls.addresses = {{"lo", UP | IFF_LOOPBACK, "00:00:00:00:00:00"}};
    machine.file("/sys/class/net/lo/address", "00:00:00:00:00:00\n");
    EXPECT_EQ(foundAdapter().mac, std::nullopt);
}

TEST(Adapters, haveAMacOfTwentyBytesFromSysfs)
{
    std::string const infiniband = "80:00:00:48:fe:80:00:00:00:00:00:00:00:02:c9:03:00:00:00:01";
    EXPECT_EQ(readWithFiles({{"address", infiniband}}).mac, infiniband);
}

TEST(Adapters, haveThoseThatOnlySysfsLists)
{
    FakeCalls const calls;
    writeFiles("/sys/class/net/eth1", {{"ifindex", "3"}, {"operstate", "down"}});
    machine.file("/sys/class/net/bonding_masters", "bond0\n");
    Adapter const adapter = foundAdapter();
    EXPECT_EQ(adapter.name, "eth1");
    EXPECT_EQ(adapter.state, "down");
}

TEST(Adapters, comeFromSysfsWhereGetifaddrsFails)
{
    FakeCalls calls;
    calls.addressesFail = true;
    machine.file("/sys/class/net/eth0/address", "00:0c:29:aa:bb:cc\n");
    Machine found;
    app::readNetworks(found);
    ASSERT_THAT(found.networks->adapters, SizeIs(1));
    EXPECT_EQ(found.networks->adapters[0].mac, "00:0c:29:aa:bb:cc");
    EXPECT_EQ(found.networks->adapters[0].addresses, std::nullopt);
    ASSERT_THAT(found.problems, SizeIs(1));
    EXPECT_EQ(found.problems[0].fact, "the addresses");
    EXPECT_EQ(found.problems[0].reason, "Permission denied");
}

TEST(Adapters, haveNoFactsOfAnotherNetworkNamespace)
{
    FakeCalls calls;
    calls.addresses = {{"lo", UP | IFF_LOOPBACK, "00:00:00:00:00:00", 0, ARPHRD_LOOPBACK, 1},
        {"eth0", UP, "00:0c:29:aa:bb:cc", 0, 1, 7}};
    writeFiles("/sys/class/net/lo", {{"ifindex", "1"}, {"mtu", "65536"}});
    writeFiles("/sys/class/net/eth0", {{"ifindex", "2"}, {"mtu", "9000"}, {"speed", "100"}});
    writeFiles("/sys/class/net/eth1", {{"ifindex", "3"}});
    Networks const networks = foundNetworks();
    ASSERT_THAT(networks.adapters, SizeIs(2));
    EXPECT_EQ(networks.adapters[0].name, "eth0");
    EXPECT_EQ(networks.adapters[0].mtu, std::nullopt);
    EXPECT_EQ(networks.adapters[0].speedMbit, std::nullopt);
    EXPECT_EQ(networks.adapters[0].kind, std::nullopt);
    EXPECT_EQ(networks.adapters[0].mac, "00:0c:29:aa:bb:cc");
    EXPECT_EQ(networks.adapters[1].kind, "loopback");
    EXPECT_EQ(networks.adapters[1].mtu, std::nullopt);
    Machine found;
    app::readNetworks(found);
    ASSERT_THAT(found.unavailable, SizeIs(1));
    EXPECT_EQ(found.unavailable[0].source, "/sys/class/net/");
}

TEST(Adapters, areOfAnotherNamespaceWhereOnlySysfsListsOne)
{
    FakeCalls calls;
    calls.addresses = {{"lo", UP | IFF_LOOPBACK, "00:00:00:00:00:00", 0, ARPHRD_LOOPBACK, 1}};
    writeFiles("/sys/class/net/lo", {{"ifindex", "1"}, {"mtu", "65536"}});
    writeFiles("/sys/class/net/eth0", {{"ifindex", "2"}});
    Adapter const adapter = foundAdapter();
    EXPECT_EQ(adapter.name, "lo");
    EXPECT_EQ(adapter.mtu, std::nullopt);
}

TEST(Adapters, haveTheFactsOfSysfsWhereItsNumbersAreTheSame)
{
    FakeCalls calls;
    calls.addresses = {{"eth0", UP, "00:0c:29:aa:bb:cc", 0, 1, 2}};
    writeFiles("/sys/class/net/eth0", {{"ifindex", "2"}, {"mtu", "9000"}});
    EXPECT_EQ(foundAdapter().mtu, 9000U);
}

TEST(Adapters, haveAnUnknownMacWhereItCannotBeRead)
{
    FakeCalls calls;
    calls.addresses = {{"ib0", UP, ""}, {"lo", UP, "00:00:00:00:00:00"}};
    machine.folder("/sys/class/net/ib0/address");
    Machine found;
    app::readNetworks(found);
    EXPECT_TRUE(found.networks->adapters.at(0).macIsUnknown);
    EXPECT_FALSE(found.networks->adapters.at(1).macIsUnknown) << "it has none";
    ASSERT_THAT(found.problems, SizeIs(1));
    EXPECT_EQ(found.problems[0].fact, "all facts of the adapters");
    EXPECT_EQ(found.problems[0].source, "/sys/class/net/ib0/address");
}

TEST(NameServers, areTheWordsBehindNameserverInTheFirstColumn)
{
    EXPECT_THAT(nameServersOf("# nameserver 1.1.1.1\n  nameserver 2.2.2.2\n; nameserver 3.3.3.3\n"
                              "nameserver 10.0.0.1 # ours\nnameserver\t2001:db8::1\n"
                              "nameservers 4.4.4.4\nnameserver\nsearch a\n"),
        ElementsAre("10.0.0.1", "2001:db8::1"));
}

TEST(NameServers, areReadFromALineWithoutANewline)
{
    EXPECT_THAT(nameServersOf("nameserver 10.0.0.1"), ElementsAre("10.0.0.1"));
}

TEST(NameServers, areNoneWithoutAFile)
{
    EXPECT_THAT(foundNetworks().nameServers, Optional(IsEmpty()));
}

TEST(NameServers, areUnknownWhereTheFileCannotBeRead)
{
    machine.folder("/etc/resolv.conf");
    Machine found;
    app::readNetworks(found);
    EXPECT_FALSE(found.networks->nameServers);
    ASSERT_THAT(found.problems, SizeIs(1));
    EXPECT_EQ(found.problems[0].reason, "Is a directory");
}

TEST(HostName, isThatOfTheKernel)
{
    FakeCalls calls;
    calls.hostName = "fileserver";
    EXPECT_EQ(foundNetworks().hostName, "fileserver");
    calls.hostName = std::string(300, 'x');
    EXPECT_EQ(foundNetworks().hostName, std::string(255, 'x'));
}

TEST(HostName, isUnknownWhereTheKernelHasNone)
{
    FakeCalls calls;
    calls.hostName = "";
    EXPECT_EQ(foundNetworks().hostName, std::nullopt);
    calls.hostNameFails = true;
    EXPECT_EQ(foundNetworks().hostName, std::nullopt);
}
