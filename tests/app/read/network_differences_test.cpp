#include "tests/app/read/FoundDifferences.h"

using app::Adapter;
using app::Difference;
using app::LibraryRecord;
using app::LibraryValue;
using app::Machine;
using app::Subject;
using app_read_test::adapterRecord;
using app_read_test::answer;
using app_read_test::differenceOf;
using app_read_test::expectNoDifference;
using app_read_test::Texts;

namespace {

Machine withAdapter(Texts const& addresses, std::vector<LibraryRecord> const& records)
{
    Machine machine;
    Adapter& adapter = machine.networks.emplace().adapters.emplace_back();
    adapter.name = "eth0";
    adapter.addresses.emplace();
    for (std::string const& address : addresses)
        adapter.addresses->push_back({address, 24U, "global"});
    answer(machine, Subject::NETWORKS, records);
    return machine;
}

}

TEST(NetworkDifference, isANameServerThatTheLibraryReadsElsewhere)
{
    Machine machine = withAdapter({}, {adapterRecord("eth0", {}, {"10.0.0.1", "10.0.0.2"})});
    machine.networks->nameServers = Texts{"10.0.0.1"};
    Difference const difference = differenceOf(machine);
    EXPECT_EQ(difference.fact, "name_servers");
    EXPECT_EQ(difference.library, LibraryValue(Texts{"10.0.0.1", "10.0.0.2"}));
    EXPECT_EQ(difference.reason, "");
    machine.library[Subject::NETWORKS].source = "nameserver 10.0.0.1\n;nameserver10.0.0.2\n";
    EXPECT_EQ(differenceOf(machine).reason,
        "the library takes the text behind \"nameserver \" on every line of /etc/resolv.conf");
    machine.networks->nameServers = Texts{"10.0.0.2", "10.0.0.1"};
    expectNoDifference(machine);
}

TEST(NetworkDifference, isANameServerWithoutAnAdapter)
{
    Machine machine = withAdapter({}, {});
    machine.networks->adapters.clear();
    machine.networks->nameServers = Texts{"10.0.0.1"};
    machine.library[Subject::NETWORKS].source = "nameserver 10.0.0.1\n";
    EXPECT_EQ(differenceOf(machine).reason, "the library lists no adapter that could have them");
}

TEST(NetworkDifference, isAnotherHostName)
{
    Machine machine = withAdapter({}, {adapterRecord("eth0", {})});
    machine.library[Subject::NETWORKS].records[0].fields.push_back(
        {"getHostname", std::string("ledger")});
    machine.networks->hostName = "ledger";
    expectNoDifference(machine);
    machine.networks->hostName = "store";
    Difference const difference = differenceOf(machine);
    EXPECT_EQ(difference.fact, "host_name");
    EXPECT_EQ(difference.item, "");
    EXPECT_EQ(difference.library, LibraryValue(std::string("ledger")));
}

TEST(NetworkDifference, isAnAdapterThatIfconfigDoesNotList)
{
    Difference const difference = differenceOf(withAdapter({}, {}));
    EXPECT_EQ(difference.item, "eth0");
    EXPECT_EQ(difference.reason, "ifconfig -a prints no adapter of this name");
}

TEST(NetworkDifference, isARecordOfNoAdapter)
{
    Difference const difference =
        differenceOf(withAdapter({}, {adapterRecord("eth0", {}), adapterRecord("Warning", {})}));
    EXPECT_EQ(difference.item, "Warning");
    EXPECT_EQ(difference.fact, "records");
    EXPECT_EQ(difference.reason, "the kernel has no adapter of this name");
}

TEST(NetworkDifference, isAnotherMacAddress)
{
    Machine machine = withAdapter({}, {adapterRecord("eth0", {})});
    machine.networks->adapters[0].mac = "00:0c:29:aa:bb:cc";
    Difference const missing = differenceOf(machine);
    EXPECT_EQ(missing.fact, "mac");
    EXPECT_EQ(missing.library, std::nullopt);
    EXPECT_EQ(missing.reason, "");
    auto& fields = machine.library[Subject::NETWORKS].records[0].fields;
    fields.push_back({"getMACAddr", std::string("00:0c:29:aa:bb:cc")});
    expectNoDifference(machine);
    machine.networks->adapters[0].mac = "80:00:00:48:fe:80:00:00:00:00";
    EXPECT_EQ(differenceOf(machine).reason, "the library's MAC addresses have 8 bytes");
}

TEST(NetworkDifference, isAnotherNetmask)
{
    Machine machine =
        withAdapter({"10.0.0.5", "fe80::1"}, {adapterRecord("eth0", {"10.0.0.5", "fe80::1"})});
    expectNoDifference(machine);
    machine.networks->adapters[0].addresses->at(0).prefixLength = 20;
    Difference const difference = differenceOf(machine);
    EXPECT_EQ(difference.fact, "netmasks");
    EXPECT_EQ(difference.library, LibraryValue(Texts{"255.255.255.0"}));
    auto& masks = machine.library[Subject::NETWORKS].records[0].fields[3];
    masks.value = Texts{"255.255.240.0"};
    expectNoDifference(machine);
    machine.networks->adapters[0].addresses->at(0).prefixLength = 0;
    masks.value = Texts{"0.0.0.0"};
    expectNoDifference(machine);
}

TEST(NetworkDifference, isAnAliasWithARecordOfItsOwn)
{
    Difference const difference = differenceOf(withAdapter({"10.0.0.5", "10.0.0.6"},
        {adapterRecord("eth0", {"10.0.0.5"}), adapterRecord("eth0", {"10.0.0.6"})}));
    EXPECT_EQ(difference.fact, "records");
    EXPECT_EQ(difference.library, LibraryValue(uint64_t{2}));
    EXPECT_EQ(difference.reason, "the library reports an alias as a separate adapter");
}

TEST(NetworkDifference, isAnAddressThatIfconfigDoesNotShow)
{
    Difference const difference =
        differenceOf(withAdapter({"10.0.0.5", "10.0.0.6"}, {adapterRecord("eth0", {"10.0.0.5"})}));
    EXPECT_EQ(difference.fact, "addresses");
    EXPECT_EQ(difference.reason, "ifconfig prints no others of this adapter");
}

TEST(NetworkDifference, isAnAddressThatTheKernelDoesNotHave)
{
    EXPECT_EQ(differenceOf(withAdapter({}, {adapterRecord("eth0", {"10.0.0.5"})})).reason, "");
}

TEST(NetworkDifference, isAnAddressThatTheLibraryCannotRead)
{
    EXPECT_EQ(differenceOf(withAdapter({"fe80::1"}, {adapterRecord("eth0", {"<invalid>"})})).reason,
        "the library cannot read the IPv6 addresses of net-tools before 2.0");
}

TEST(NetworkDifference, isAGateway)
{
    Machine machine = withAdapter({}, {adapterRecord("eth0", {})});
    machine.networks->adapters[0].gateways = {"10.0.0.1"};
    Difference const difference = differenceOf(machine);
    EXPECT_EQ(difference.fact, "gateways");
    EXPECT_EQ(difference.reason, "the library traces gateways and stores none");
    auto& fields = machine.library[Subject::NETWORKS].records[0].fields;
    fields.push_back({"getGatewayAddrs", Texts{"10.0.0.2"}});
    EXPECT_EQ(differenceOf(machine).reason, "");
    fields.back().value = Texts{"10.0.0.1"};
    expectNoDifference(machine);
}
