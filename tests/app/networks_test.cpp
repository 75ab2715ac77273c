#include "app/exit_status.h"
#include "tests/app/WholeMachine.h"
#include "tests/app/known_machine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <unistd.h>

using app::Subject;
using app_test::jsonOf;
using app_test::knownMachine;
using app_test::linesOf;
using app_test::Outcome;
using app_test::tablesOf;
using app_test::WholeMachine;
using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

constexpr char const* TWO_ADAPTERS =
    "eth0: flags=4163<UP,BROADCAST,RUNNING,MULTICAST>  mtu 1500\n"
    "        inet 10.0.0.5  netmask 255.255.255.0  broadcast 10.0.0.255\n"
    "        inet6 fe80::20c:29ff:feaa:bbcc  prefixlen 64  scopeid 0x20<link>\n"
    "        ether 00:0c:29:aa:bb:cc  txqueuelen 1000  (Ethernet)\n"
    "\n"
    "lo: flags=73<UP,LOOPBACK,RUNNING>  mtu 65536\n"
    "        inet 127.0.0.1  netmask 255.0.0.0\n";

json networksOf(Outcome const& outcome)
{
    return json::parse(outcome.out).at("networks");
}

std::string hostNameOfThisMachine()
{
    char name[256] = "";
    EXPECT_EQ(gethostname(name, sizeof name - 1), 0);
    return name;
}

}

TEST(Networks, areTheAdaptersAndBelowThemWhatIsTheMachines)
{
    WholeMachine machine;
    machine.adapters(TWO_ADAPTERS);
    machine.nameServers("nameserver 10.0.0.1\nnameserver fd00::53\n");

    Outcome const outcome = machine.program({"networks"}).run();

    EXPECT_EQ(outcome.status, app::EXIT_STATUS_OK);
    EXPECT_EQ(outcome.err, "");
    EXPECT_THAT(linesOf(outcome.out),
        ElementsAre("Adapter  MAC                Address                   Mask",
            "eth0     00:0c:29:aa:bb:cc  10.0.0.5                  255.255.255.0",
            "                            fe80::20c:29ff:feaa:bbcc",
            "lo       -                  127.0.0.1                 255.0.0.0", //
            "", //
            "Host name     " + hostNameOfThisMachine(), //
            "Name servers  10.0.0.1, fd00::53"));
}

TEST(Networks, ofTheOldToolHaveAnInvalidAddressForEachOfIPv6)
{
    WholeMachine machine;
    machine.adapters("eth0      Link encap:Ethernet  HWaddr 00:0C:29:AA:BB:CC\n"
                     "          inet addr:10.0.0.5  Bcast:10.0.0.255  Mask:255.255.255.0\n"
                     "          inet6 addr: fe80::20c:29ff:feaa:bbcc/64 Scope:Link\n");
    machine.nameServers("# nothing here\n");

    Outcome const table = machine.program({"networks"}).run();
    json const told = networksOf(machine.program({"networks", "--json"}).run());

    EXPECT_THAT(linesOf(table.out),
        ElementsAre("Adapter  MAC                Address    Mask",
            "eth0     00:0c:29:aa:bb:cc  10.0.0.5   255.255.255.0",
            "                            <invalid>", "", HasSubstr("Host name"),
            "Name servers  -"));
    EXPECT_EQ(told.at("adapters").at(0).at("addresses"), json::parse(R"([
        { "address": "10.0.0.5", "netmask": "255.255.255.0" },
        { "address": null, "netmask": null } ])"));
    EXPECT_EQ(told.at("host_name"), hostNameOfThisMachine());
    EXPECT_EQ(told.at("name_servers"), json::array());
}

TEST(Networks, forScriptsHaveNullForWhatIsNoAddress)
{
    EXPECT_EQ(jsonOf(knownMachine({Subject::NETWORKS})).at("networks"), json::parse(R"({
        "host_name": "file\u001Bserver",
        "adapters": [
            { "name": "eth0", "mac": "00:0c:29:aa:bb:cc",
              "addresses": [
                  { "address": "10.0.0.5", "netmask": "255.255.255.0" },
                  { "address": "fe80::1", "netmask": null },
                  { "address": "10.0.0.6", "netmask": "255.0.0.0" } ],
              "netmasks": ["255.255.255.0", "255.0.0.0"] },
            { "name": "ib\u001B[2J", "mac": "80:00:00:48:fe:80:01:02",
              "addresses": [
                  { "address": null, "netmask": "255.255.0.0" },
                  { "address": "10.1.0.1", "netmask": "\u001B[2J" } ],
              "netmasks": ["255.255.0.0", "\u001B[2J"] },
            { "name": "tun0", "mac": null, "addresses": [], "netmasks": [] } ],
        "name_servers": ["10.0.0.1", null] })"));
}

TEST(Networks, areInColumnsOfAddressesAndMasks)
{
    EXPECT_THAT(tablesOf(knownMachine({Subject::NETWORKS})),
        ElementsAre("Adapter  MAC                Address    Mask",
            "eth0     00:0c:29:aa:bb:cc  10.0.0.5   255.255.255.0",
            "                            fe80::1", //
            "                            10.0.0.6   255.0.0.0",
            "ib?[2J   80:00:00:48:fe:80  <invalid>  255.255.0.0",
            "                            10.1.0.1   ?[2J", //
            "tun0     -                  -", //
            "", //
            "Host name     file?server", //
            "Name servers  10.0.0.1, <invalid>"));
}

TEST(Networks, cannotBeReadWithoutTheTools)
{
    for (char const* const tool : {"ifconfig", "route", "cat"}) {
        WholeMachine machine;
        machine.removeTool(tool);

        Outcome const outcome = machine.program({"networks"}).run();

        EXPECT_EQ(outcome.status, app::EXIT_STATUS_QUERY_FAILED) << tool;
        EXPECT_EQ(outcome.out, "");
        EXPECT_EQ(outcome.err,
            "dovrel-sysinfo: cannot read the network adapters from ifconfig -a, route -n, "
            "/etc/resolv.conf: Failed to find one of: ifconfig, route, cat\n");
    }
}

TEST(Networks, thatAreNoneHaveNoNamesEither)
{
    WholeMachine machine;
    machine.adapters("");

    Outcome const table = machine.program({"networks"}).run();
    Outcome const document = machine.program({"networks", "--json"}).run();

    EXPECT_EQ(table.status, app::EXIT_STATUS_OK);
    EXPECT_THAT(linesOf(table.out),
        ElementsAre("Adapter  MAC  Address  Mask", "", "Host name     -", "Name servers  -"));
    EXPECT_EQ(networksOf(document),
        json::parse(R"({ "host_name": null, "adapters": [], "name_servers": [] })"));
}

TEST(Networks, thatWereFoundBeforeAFailureAreShownWithoutTheNameServers)
{
    // The program knows of the last adapter only when the library has read the routes.
    WholeMachine machine;
    machine.adapters(TWO_ADAPTERS);
    machine.routes("1 UG eth0\n");

    Outcome const table = machine.program({"networks"}).run();
    Outcome const document = machine.program({"networks", "--json"}).run();

    EXPECT_EQ(table.status, app::EXIT_STATUS_QUERY_FAILED);
    EXPECT_EQ(table.err,
        "dovrel-sysinfo: cannot read the network adapters from ifconfig -a, route -n, "
        "/etc/resolv.conf: route -n: the line \"1 UG eth0\" ends before its gateway, which begins "
        "at column 17\n");
    EXPECT_THAT(table.out, HasSubstr("eth0     00:0c:29:aa:bb:cc  10.0.0.5"));
    EXPECT_THAT(linesOf(table.out).back(), "Name servers  -");
    EXPECT_EQ(document.status, app::EXIT_STATUS_QUERY_FAILED);
    EXPECT_EQ(networksOf(document).at("adapters").size(), 1U);
    EXPECT_TRUE(networksOf(document).at("name_servers").is_null());
}
