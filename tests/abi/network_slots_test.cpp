#include "common/basic/NetworkError.h"
#include "common/basic/inet_address.h"
#include "sysinfo/UNIXSystemInformation.h"
#include "tests/abi/vtable.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

// The tables of the addresses, their failure and the record of an adapter.

namespace {

/** The table of a class without second bases: @p operations by their mangled names. */
template <class Object>
void expectTable(Object const& object, std::string const& name, std::vector<std::string> operations)
{
    operations.insert(operations.begin(), {"offset 0", "_ZTIN" + name + 'E'});
    EXPECT_EQ(vtableOf(&object, operations), operations);
}

TEST(NetworkSlots, ofAddressesAreInOrder)
{
    std::string const ip = "6dovrel10ip_address";
    expectTable(dovrel::ip_address(), ip,
        {"_ZNK" + ip + "16toStringInternalEv", "_ZN" + ip + "D1Ev", "_ZN" + ip + "D0Ev"});
    std::string const inet = "6dovrel12inet_address";
    expectTable(dovrel::inet_address(80, AF_INET), inet,
        {"_ZNK" + inet + "16toStringInternalEv", "_ZN" + inet + "D1Ev", "_ZN" + inet + "D0Ev"});
}

TEST(NetworkSlots, ofInsertFunctorAreInOrder)
{
    std::string const sink = "6dovrel10ip_address13InsertFunctor";
    expectTable(dovrel::ip_address::InsertFunctor(), sink,
        {"_ZN" + sink + "6insertERKS0_", "_ZN" + sink + "D1Ev", "_ZN" + sink + "D0Ev"});
}

TEST(NetworkSlots, ofNetworkErrorAreInOrder)
{
    std::string const name = "6dovrel12NetworkError";
    expectTable(dovrel::NetworkError(-2), name,
        {"_ZN" + name + "D1Ev", "_ZN" + name + "D0Ev", "_ZNK" + name + "4whatEv",
            "_ZN" + name + "10makeStringEv", "_ZNK" + name + "8toStringB5cxx11Ev"});
}

TEST(AdapterSlots, areInOrder)
{
    sysinfo::UNIXSystemInformation::UNIXNetworkInfo const record;
    auto const expected = recordTable("7sysinfo21UNIXSystemInformation15UNIXNetworkInfo",
        {"toString", "getHostname", "getName", "getMACAddr", "getNetmasks", "getIPAddrs",
            "getDNSAddrs", "getGatewayAddrs", "clone", "!destroy"});
    EXPECT_EQ(vtableOf(&record, expected), expected);
}

}
