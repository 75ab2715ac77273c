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
    for (std::string const& address : addresses)
        adapter.addresses.push_back({address, 24U, "global"});
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
    EXPECT_EQ(difference.reason,
        "the library takes the word behind \"nameserver\" on every line of /etc/resolv.conf");
    machine.networks->nameServers = Texts{"10.0.0.2", "10.0.0.1"};
    expectNoDifference(machine);
}

TEST(NetworkDifference, isAnAdapterThatIfconfigDoesNotList)
{
    Difference const difference = differenceOf(withAdapter({}, {}));
    EXPECT_EQ(difference.item, "eth0");
    EXPECT_EQ(difference.reason, "ifconfig does not list the adapter");
}

TEST(NetworkDifference, isAnAliasWithARecordOfItsOwn)
{
    Difference const difference = differenceOf(withAdapter({"10.0.0.5", "10.0.0.6"},
        {adapterRecord("eth0", {"10.0.0.5"}), adapterRecord("eth0", {"10.0.0.6"})}));
    EXPECT_EQ(difference.fact, "records");
    EXPECT_EQ(difference.library, LibraryValue(uint64_t{2}));
    EXPECT_EQ(difference.reason, "the library reports an alias as an adapter of its own");
}

TEST(NetworkDifference, isAnAddressThatIfconfigDoesNotShow)
{
    Difference const difference =
        differenceOf(withAdapter({"10.0.0.5", "10.0.0.6"}, {adapterRecord("eth0", {"10.0.0.5"})}));
    EXPECT_EQ(difference.fact, "addresses");
    EXPECT_EQ(difference.reason, "the library reads the output of ifconfig");
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
}
