#include "common/basic/NetworkError.h"
#include "common/basic/inet_address.h"
#include "sysinfo/UNIXSystemInformation.h"
#include "tests/abi/vtable.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

// Addresses, NetworkError and the record of a network adapter.

namespace {

TEST(NetworkSlots, ofAddressesAreInOrder)
{
    std::string const ip = "6dovrel10ip_address";
    dovrel::ip_address const address;
    expectTable(&address,
        singleTable('N' + ip + 'E',
            {"_ZNK" + ip + "16toStringInternalEv", "_ZN" + ip + "D1Ev", "_ZN" + ip + "D0Ev"}));
    std::string const inet = "6dovrel12inet_address";
    dovrel::inet_address const withPort(80, AF_INET);
    expectTable(&withPort,
        singleTable('N' + inet + 'E',
            {"_ZNK" + inet + "16toStringInternalEv", "_ZN" + inet + "D1Ev",
                "_ZN" + inet + "D0Ev"}));
}

TEST(NetworkSlots, ofInsertFunctorAreInOrder)
{
    std::string const name = "6dovrel10ip_address13InsertFunctor";
    dovrel::ip_address::InsertFunctor const functor;
    expectTable(&functor,
        singleTable('N' + name + 'E',
            {"_ZN" + name + "6insertERKS0_", "_ZN" + name + "D1Ev", "_ZN" + name + "D0Ev"}));
}

TEST(NetworkSlots, ofNetworkErrorAreInOrder)
{
    std::string const name = "6dovrel12NetworkError";
    dovrel::NetworkError const error(-2);
    expectTable(&error,
        singleTable('N' + name + 'E',
            {"_ZN" + name + "D1Ev", "_ZN" + name + "D0Ev", "_ZNK" + name + "4whatEv",
                "_ZN" + name + "10makeStringEv", "_ZNK" + name + "8toStringB5cxx11Ev"}));
}

TEST(AdapterSlots, areInOrder)
{
    sysinfo::UNIXSystemInformation::UNIXNetworkInfo const record;
    expectTable(&record,
        recordTable("7sysinfo21UNIXSystemInformation15UNIXNetworkInfo",
            {"toString", "getHostname", "getName", "getMACAddr", "getNetmasks", "getIPAddrs",
                "getDNSAddrs", "getGatewayAddrs", "clone", "!destroy"}));
}

}
