// The network query with fake tools.

#include "sysinfo/LinuxSystemInformation.h"
#include "tests/support/CapturedTrace.h"
#include "tests/support/GlobalLocale.h"
#include "tests/support/Machine.h"
#include "tests/sysinfo/NetworkMachine.h"

#include <gtest/gtest.h>

#include <dlfcn.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <locale>
#include <string>
#include <vector>

using dovrel::string;
using sysinfo::SystemInformation;
using testkit::CapturedTrace;
using testkit::GlobalLocale;
using testkit::machine;
using testkit::NetworkAnswer;
using testkit::NetworkMachine;

namespace {

using Names = std::vector<std::string>;
using UNIXNetworkInfo = sysinfo::UNIXSystemInformation::UNIXNetworkInfo;

class NetworksQuery : public testing::Test {
protected:
    NetworkMachine net;
};

class NetworkTools : public NetworksQuery { };

/** Replaces the newline by another character, as no real locale does. */
class OtherNewline : public std::ctype<char> {
protected:
    char do_widen(char c) const override { return c == '\n' ? '#' : c; }
    char const* do_widen(char const* from, char const* to, char* out) const override
    {
        std::transform(from, to, out, [this](char c) { return do_widen(c); });
        return to;
    }
};

/** The value of `errno` after a popen(3) that succeeds; 0 leaves it. malloc(3) sets ENOMEM where
 * the heap cannot grow, and then takes memory elsewhere. */
int errorAfterStart = 0;

constexpr char NEW_STYLE[] = "eth0: flags=4163<UP>  mtu 1500\n"
                             "        inet 10.0.0.5  netmask 255.255.255.0\n"
                             "        inet6 fe80::1  prefixlen 64\n"
                             "        ether 00:0c:29:aa:bb:cc  txqueuelen 1000\n"
                             "\n"
                             "lo: flags=73<UP,LOOPBACK>  mtu 65536\n"
                             "        inet 127.0.0.1  netmask 255.0.0.0\n";

constexpr char OLD_STYLE[] = "eth0      Link encap:Ethernet  HWaddr 00:0C:29:AA:BB:CC  \n"
                             "          inet addr:10.0.0.5  Bcast:10.0.0.255  Mask:255.255.0.0\n"
                             "          inet6 addr: fe80::1/64 Scope:Link\n"
                             "\n"
                             "lo        Link encap:Local Loopback  \n"
                             "          inet addr:127.0.0.1  Mask:255.0.0.0\n";

/** @return the log line of one run of a tool. */
std::string recordOf(std::string const& path, std::string const& arguments)
{
    return "LANG=C " + path + arguments;
}

/** A line of `route -n`. */
std::string route(std::string const& gateway, std::string const& adapter)
{
    std::string line = "0.0.0.0         " + gateway;
    line.resize(32, ' ');
    return line + "0.0.0.0         UG    0      0        0 " + adapter + "\n";
}

}

extern "C" __attribute__((visibility("default"))) FILE* popen(char const* command, char const* mode)
{
    using Function = FILE* (*)(char const*, char const*);
    static auto const real = reinterpret_cast<Function>(::dlsym(RTLD_NEXT, "popen"));
    FILE* const stream = real(command, mode);
    if (stream && errorAfterStart != 0)
        errno = errorAfterStart;
    return stream;
}

TEST_F(NetworksQuery, listsNewStyleAdapters)
{
    net.ifconfigPrints(NEW_STYLE);
    NetworkAnswer const answer;
    EXPECT_TRUE(answer.known);
    EXPECT_EQ(answer.text(),
        "eth0 (00:0c:29:aa:bb:cc:00:00) [10.0.0.5,fe80::1] [255.255.255.0]\n"
        "lo (00:00:00:00:00:00:00:00) [127.0.0.1] [255.0.0.0]\n");
}

TEST_F(NetworksQuery, listsOldStyleAdaptersWithInvalidIPv6AddressesKept)
{
    net.ifconfigPrints(OLD_STYLE);
    NetworkAnswer const answer;
    EXPECT_TRUE(answer.known);
    EXPECT_EQ(answer.text(),
        "eth0 (00:0c:29:aa:bb:cc:00:00) [10.0.0.5,<invalid>] [255.255.0.0]\n"
        "lo (00:00:00:00:00:00:00:00) [127.0.0.1] [255.0.0.0]\n");
}

TEST_F(NetworksQuery, listsAnAliasUnderItsParentsNameKept)
{
    net.ifconfigPrints("eth0: flags=1\n  inet 10.0.0.5\n\neth0:1: flags=1\n  inet 10.0.0.6\n");
    EXPECT_EQ(NetworkAnswer().text(),
        "eth0 (00:00:00:00:00:00:00:00) [10.0.0.5] []\n"
        "eth0 (00:00:00:00:00:00:00:00) [10.0.0.6] []\n");
}

TEST_F(NetworksQuery, convertsEveryMaskToDottedForm)
{
    net.ifconfigPrints(
        "a: x\n  netmask 0xffffff00\n  netmask 24\n  Mask:255.255.0.0\n  netmask  \n");
    EXPECT_EQ(NetworkAnswer().text(),
        "a (00:00:00:00:00:00:00:00) [] [255.255.255.0,0.0.0.36,255.255.0.0,]\n");
}

TEST_F(NetworksQuery, usesTheLastHardwareAddressAndIgnoresInvalidOnes)
{
    net.ifconfigPrints("a: x\n  ether 00:11:22:33:44:55\n  ether 66:77:88:99:aa:bb\n"
                       "b: x\n  ether 00:11:22:33:44:55\n  ether nonsense\n"
                       "c: x\n  HWaddr 80-00-00-4A-FE-80-00-00-00\n"
                       "d: x\n  ether 1:2:3\n");
    EXPECT_EQ(NetworkAnswer().text(),
        "a (66:77:88:99:aa:bb:00:00) [] []\n"
        "b (00:00:00:00:00:00:00:00) [] []\n"
        "c (80:00:00:4a:fe:80:00:00) [] []\n"
        "d (00:00:00:00:00:00:00:00) [] []\n");
}

TEST_F(NetworksQuery, appendsToTheListAndFindsGatewaysOfItsOldRecords)
{
    net.ifconfigPrints("lo: x\n");
    net.routePrints(route("10.0.0.1", "old0"));
    std::vector<dovrel::value_ptr<SystemInformation::NetworkInfo>> before;
    before.emplace_back(new UNIXNetworkInfo(string("old0"), {}, {}, {}, {}, {}));
    before.emplace_back(new UNIXNetworkInfo());
    CapturedTrace const trace;
    NetworkAnswer const answer(before);
    EXPECT_EQ(answer.names(), (Names{"old0", "", "lo"}));
    EXPECT_TRUE(trace.contains(5, "Found gateway for old0: 10.0.0.1"));
    EXPECT_TRUE(trace.contains(5, "Finding default gateway for \n"));
    EXPECT_EQ(net.runsOf("grep"), "[old0]\n"); // An adapter without a name needs no grep.
}

TEST_F(NetworksQuery, tracesGatewaysAndStoresNoneKept)
{
    net.ifconfigPrints(NEW_STYLE);
    net.routePrints(
        route("10.0.0.1", "eth0") + route("10.0.0.254", "eth0") + route("10.9.9.9", "lo"));
    net.resolverText("nameserver 10.0.0.1\n");
    CapturedTrace const trace;
    NetworkAnswer const answer;
    EXPECT_EQ(trace.text(5),
        "Found adapter: eth0\nAdding adapter: eth0\nFound adapter: lo\n"
        "Finding default gateway for eth0\nFound gateway for eth0: 10.0.0.1\n"
        "Found gateway for eth0: 10.0.0.254\nFound nameserver: 10.0.0.1\nAdding adapter: lo\n");
    for (auto const& adapter : answer.adapters)
        EXPECT_TRUE(adapter->getGatewayAddrs().empty());
    for (testkit::TraceLine const& line : trace.lines())
        EXPECT_EQ(line.scope.rfind(
                      "virtual bool sysinfo::LinuxSystemInformation::getNetworksInternal(", 0),
            0U);
}

TEST_F(NetworksQuery, findsNoGatewayOfTheLastAdapterKept)
{
    net.ifconfigPrints("eth0: x\neth1: x\nlo: x\n");
    net.routePrints(route("10.0.0.1", "lo"));
    NetworkAnswer const answer;
    EXPECT_EQ(answer.names(), (Names{"eth0", "eth1", "lo"}));
    EXPECT_EQ(net.runsOf("grep"), "[eth0]\n[eth1]\n");
}

TEST_F(NetworksQuery, matchesGatewaysOfLongerNamesKept)
{
    net.ifconfigPrints("eth1: x\neth10: x\nlo: x\n");
    net.routePrints(route("10.0.0.1", "eth10"));
    CapturedTrace const trace;
    NetworkAnswer const answer;
    EXPECT_TRUE(trace.contains(5, "Found gateway for eth1: 10.0.0.1\n"));
    EXPECT_TRUE(trace.contains(5, "Found gateway for eth10: 10.0.0.1\n"));
}

TEST_F(NetworksQuery, storesNameServersInTheLastAdapterOnlyKept)
{
    net.ifconfigPrints("eth0: x\neth1: x\nlo: x\n");
    net.resolverText("# nameserver 10.0.0.9\nsearch example\n\nnameserver 10.0.0.1\n"
                     "nameserver fe80::1\nnameserver 10.0.0.2 \n");
    EXPECT_EQ(NetworkAnswer().nameServers(), "\n\n<invalid> 10.0.0.1 fe80::1 <invalid>\n");
}

TEST_F(NetworksQuery, dropsNameServersWithoutAnAdapter)
{
    net.resolverText("nameserver 10.0.0.1\n");
    CapturedTrace const trace;
    NetworkAnswer const answer;
    EXPECT_TRUE(answer.known);
    EXPECT_TRUE(answer.adapters.empty());
    EXPECT_EQ(trace.text(5), "Found nameserver: 10.0.0.1\n");
    EXPECT_EQ(net.runsOf("route"), "");
}

TEST_F(NetworksQuery, findsNoNameServersWhenResolvConfIsUnreadable)
{
    net.ifconfigPrints("lo: x\n");
    machine.remove("/etc/resolv.conf");
    EXPECT_EQ(NetworkAnswer().nameServers(), "\n");
    machine.link("/etc/resolv.conf", "../run/missing");
    EXPECT_EQ(NetworkAnswer().nameServers(), "\n");
    machine.remove("/etc/resolv.conf");
    machine.folder("/etc/resolv.conf");
    EXPECT_EQ(NetworkAnswer().nameServers(), "\n");
    machine.remove("/etc/resolv.conf");
    net.resolverText("nameserver 10.0.0.1\n");
    std::filesystem::permissions("/etc/resolv.conf", std::filesystem::perms::none);
    EXPECT_EQ(NetworkAnswer().nameServers(), "\n");
}

TEST_F(NetworksQuery, throwsOnAShortNameServerLineBeforeTheLastAdapter)
{
    net.ifconfigPrints("eth0: x\neth1: x\nlo: x\n");
    net.resolverText("nameserver 10.0.0.1\nnameserver\n");
    CapturedTrace trace;
    NetworkAnswer const answer;
    EXPECT_EQ(trace.text(1),
        "cat /etc/resolv.conf: the line \"nameserver\" ends before its address, which begins at "
        "column 12\n");
    EXPECT_TRUE(answer.outOfRange);
    EXPECT_EQ(answer.names(), (Names{"eth0", "eth1"}));
    EXPECT_EQ(answer.nameServers(), "\n\n");
}

TEST_F(NetworksQuery, throwsOnAShortGatewayLineBeforeTheLastAdapter)
{
    net.ifconfigPrints("eth0: x\neth1: x\nlo: x\n");
    net.routePrints("0.0.0.0 UG eth1\n");
    CapturedTrace trace;
    NetworkAnswer const answer;
    EXPECT_EQ(trace.text(1),
        "route -n: the line \"0.0.0.0 UG eth1\" ends before its gateway, which begins at column "
        "17\n");
    EXPECT_EQ(trace.lines().back().scope.rfind(
                  "virtual bool sysinfo::LinuxSystemInformation::getNetworksInternal(", 0),
        0U);
    EXPECT_TRUE(answer.outOfRange);
    EXPECT_EQ(answer.names(), (Names{"eth0", "eth1"}));
    EXPECT_EQ(net.runsOf("cat"), "");
}

TEST_F(NetworksQuery, readsTheHostNameOnceForAllAdapters)
{
    net.host.name = "a-host.example";
    net.ifconfigPrints("eth0: x\neth1: x\nlo: x\n");
    NetworkAnswer const answer;
    ASSERT_EQ(answer.adapters.size(), 3U);
    for (auto const& adapter : answer.adapters)
        EXPECT_EQ(adapter->getHostname(), string("a-host.example"));
    EXPECT_EQ(net.host.nameCalls, 1);
}

TEST_F(NetworksQuery, acceptsALongHostNameAndAFailingGethostname)
{
    net.ifconfigPrints("lo: x\n");
    net.host.name = std::string(64, 'h'); // The kernel's longest.
    EXPECT_EQ(NetworkAnswer().adapters.at(0)->getHostname(), string(net.host.name));
    net.host.name = std::string(1000, 'h');
    std::string const cut = static_cast<char const*>(NetworkAnswer().adapters.at(0)->getHostname());
    EXPECT_GE(cut.size(), 64U);
    EXPECT_EQ(cut, std::string(cut.size(), 'h'));
    net.host.nameFails = true;
    EXPECT_TRUE(NetworkAnswer().adapters.at(0)->getHostname().empty());
}

TEST_F(NetworksQuery, endsWhenARefillBeginsWithTheByteFFKept)
{
    std::string first = "eth0: x\n  inet 10.0.0.1 ";
    first.resize(127, '.');
    net.ifconfigPrints(first + "\n\xFF" + "eth1: x\n");
    EXPECT_EQ(NetworkAnswer().names(), Names{"eth0"});
    net.ifconfigPrints(first + ".\n\xFF" + "eth1: x\n");
    EXPECT_EQ(NetworkAnswer().adapters.size(), 2U);
}

TEST_F(NetworksQuery, readsALongOutputToItsEnd)
{
    std::string output = "eth0: x\n";
    for (int i = 0; i < 2000; ++i)
        output += "        inet 10.0." + std::to_string(i / 256) + '.' + std::to_string(i % 256)
            + "  netmask 255.255.0.0\n";
    net.ifconfigPrints(output);
    NetworkAnswer const answer;
    ASSERT_EQ(answer.adapters.size(), 1U);
    EXPECT_EQ(answer.adapters[0]->getIPAddrs().size(), 2000U);
    EXPECT_EQ(answer.adapters[0]->getNetmasks().size(), 2000U);
}

TEST_F(NetworksQuery, listsTwoHundredAndFiftySixAdapters)
{
    std::string output;
    for (int i = 0; i < 256; ++i)
        output += "eth" + std::to_string(i) + ": flags=1\n        inet 10.0.0.5\n\n";
    net.ifconfigPrints(output);
    NetworkAnswer const answer;
    ASSERT_EQ(answer.adapters.size(), 256U);
    EXPECT_EQ(answer.names().back(), "eth255");
}

TEST_F(NetworksQuery, tracesTheGatewaysOfFourThousandRoutes)
{
    constexpr int ROUTES = 4256;
    net.ifconfigPrints("eth0: x\nlo: x\n");
    std::string table;
    for (int i = 0; i < ROUTES; ++i)
        table += route("10.0." + std::to_string(i / 256) + '.' + std::to_string(i % 256), "eth0");
    net.routePrints(table);
    CapturedTrace const trace;
    EXPECT_TRUE(NetworkAnswer().known);
    int found = 0;
    for (testkit::TraceLine const& line : trace.lines())
        found += line.line.rfind("Found gateway for eth0: 10.0.", 0) == 0;
    EXPECT_EQ(found, ROUTES);
}

TEST_F(NetworkTools, runInTheCLocale)
{
    ::setenv("LANG", "de_DE.UTF-8", 1);
    net.ifconfigPrints("eth0: x\nlo: x\n");
    NetworkAnswer const answer;
    ::unsetenv("LANG");
    EXPECT_EQ(net.runsOf("ifconfig"), "LANG=C /sbin/ifconfig -a\n");
    EXPECT_EQ(net.runsOf("route"), "LANG=C /sbin/route -n\n");
    EXPECT_EQ(net.runsOf("grep"), "[eth0]\n");
    EXPECT_EQ(net.runsOf("cat"), "LANG=C /bin/cat /etc/resolv.conf\n");
}

TEST_F(NetworkTools, ignoreTheHostsEnvironment)
{
    std::vector<char const*> const names{"IFS", "ENV", "COLUMNS", "LANGUAGE"};
    std::vector<char const*> const values{"aeiou/-. ", "/tmp/env", "20", "de"};
    machine.file("/tmp/env", "echo eth9: x\n");
    net.ifconfigPrints("eth0: x\nlo: x\n");
    for (size_t i = 0; i < names.size(); ++i)
        ::setenv(names[i], values[i], 1);
    NetworkAnswer const answer;
    for (char const* const name : names)
        ::unsetenv(name);
    EXPECT_EQ(answer.names(), (Names{"eth0", "lo"}));
    EXPECT_EQ(net.runsOf("ifconfig"), "LANG=C /sbin/ifconfig -a\n");
    EXPECT_EQ(net.runsOf("grep"), "[eth0]\n");
}

TEST_F(NetworkTools, runAgainForEveryQuery)
{
    net.ifconfigPrints("eth0: x\nlo: x\n");
    EXPECT_EQ(NetworkAnswer().adapters.size(), 2U);
    net.ifconfigPrints("lo: x\n");
    EXPECT_EQ(NetworkAnswer().adapters.size(), 1U);
}

TEST_F(NetworkTools, areUsedDespiteTheirExitStatus)
{
    net.ifconfigPrints("eth0: x\nlo: x\n", "exit 1");
    net.routePrints(route("10.0.0.1", "eth0"), "kill -9 $$");
    CapturedTrace const trace;
    NetworkAnswer const answer;
    EXPECT_TRUE(answer.known);
    EXPECT_EQ(answer.adapters.size(), 2U);
    EXPECT_TRUE(trace.contains(5, "Found gateway for eth0: 10.0.0.1\n"));
}

TEST_F(NetworkTools, areTakenFromTheFirstOfFourFolders)
{
    net.ifconfigPrints("eth0: x\nlo: x\n");
    for (std::string const tool : {"ifconfig", "route", "cat"}) {
        std::vector<std::string> const places{
            "/bin/" + tool, "/sbin/" + tool, "/usr/sbin/" + tool, "/usr/bin/" + tool};
        std::string const arguments = tool == "ifconfig" ? " -a\n"
            : tool == "route"                            ? " -n\n"
                                                         : " /etc/resolv.conf\n";
        for (std::string const& place : places)
            net.toolAt(place, tool);
        for (std::string const& place : places) {
            net.forgetRuns();
            EXPECT_TRUE(NetworkAnswer().known);
            EXPECT_EQ(net.runsOf(tool), recordOf(place, arguments));
            machine.remove(place);
        }
        EXPECT_FALSE(NetworkAnswer().known) << "no " << tool;
        net.toolAt("/usr/bin/" + tool, tool);
    }
}

TEST_F(NetworkTools, leaveTheListUnchangedWhenOneIsMissing)
{
    net.ifconfigPrints("eth0: x\nlo: x\n");
    for (std::string const path : {"/sbin/ifconfig", "/sbin/route", "/bin/cat"}) {
        std::filesystem::rename(path, "/tmp/away");
        CapturedTrace const trace;
        NetworkAnswer const answer(
            std::vector<dovrel::value_ptr<SystemInformation::NetworkInfo>>(1));
        EXPECT_FALSE(answer.known);
        EXPECT_EQ(answer.adapters.size(), 1U);
        EXPECT_EQ(net.runsOf("ifconfig"), "");
        EXPECT_TRUE(trace.contains(1, "Failed to find one of: ifconfig, route, cat\n"));
        std::filesystem::rename("/tmp/away", path);
    }
}

TEST_F(NetworkTools, areReadWithTheClassicLocale)
{
    net.ifconfigPrints(NEW_STYLE);
    net.resolverText("nameserver 10.0.0.1\nnameserver 10.0.0.2\n");
    GlobalLocale const locale(std::locale(std::locale::classic(), new OtherNewline));
    NetworkAnswer const answer;
    EXPECT_EQ(answer.names(), (Names{"eth0", "lo"}));
    EXPECT_EQ(answer.nameServers(), "\n10.0.0.1 10.0.0.2\n");
}

TEST_F(NetworkTools, areReadThoughTheirStartLeavesAnErrorBehind)
{
    net.ifconfigPrints("eth0: x\nlo: x\n");
    errorAfterStart = ENOMEM;
    NetworkAnswer const answer;
    errorAfterStart = 0;
    EXPECT_EQ(answer.names(), (Names{"eth0", "lo"}));
}

TEST_F(NetworkTools, skipNullRecords)
{
    net.ifconfigPrints("eth0: x\nlo: x\n");
    NetworkAnswer const answer(std::vector<dovrel::value_ptr<SystemInformation::NetworkInfo>>(1));
    EXPECT_TRUE(answer.known);
    ASSERT_EQ(answer.adapters.size(), 3U);
    EXPECT_FALSE(answer.adapters.front());
}

TEST_F(NetworkTools, mayBeFoldersOrPlainFilesKept)
{
    net.ifconfigPrints("lo: x\n");
    machine.folder("/bin/ifconfig");
    NetworkAnswer const fromAFolder;
    EXPECT_TRUE(fromAFolder.known);
    EXPECT_TRUE(fromAFolder.adapters.empty());
    machine.remove("/bin/ifconfig");
    machine.file("/bin/ifconfig", "not executable");
    NetworkAnswer const fromAFile;
    EXPECT_TRUE(fromAFile.known);
    EXPECT_TRUE(fromAFile.adapters.empty());
    EXPECT_EQ(net.runsOf("ifconfig"), "");
}

TEST_F(NetworkTools, areLookedUpPastADanglingLink)
{
    net.ifconfigPrints("lo: x\n");
    machine.link("/bin/ifconfig", "missing");
    EXPECT_EQ(NetworkAnswer().names(), Names{"lo"});
    machine.remove("/bin/ifconfig");
    machine.link("/bin/ifconfig", "ifconfig");
    EXPECT_EQ(NetworkAnswer().names(), Names{"lo"});
    machine.remove("/bin/ifconfig");
    machine.link("/bin/ifconfig", "../sbin/ifconfig");
    EXPECT_EQ(NetworkAnswer().names(), Names{"lo"});
}
