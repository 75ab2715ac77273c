#include "tests/abi/layout.h"

#include <gtest/gtest.h>

// What hosts that are compiled for x86-64 take for granted. A change here is a change of the
// library's major version.

using namespace layout;

TEST(AMD64Layout, ofTextHasItsFieldsAtTheirPlaces)
{
    EXPECT_EQ(sizeof(dovrel::basic_string), 48U);
    EXPECT_EQ(sizeof(dovrel::string), 56U);
    EXPECT_EQ(alignof(dovrel::string), 8U);
    expectText({.heap = 32, .length = 40, .capacity = 44, .narrow = 48});
}

TEST(AMD64Layout, ofOwnersAndValuesIsSmall)
{
    EXPECT_EQ(sizeof(dovrel::value_ptr<SystemInformation>), 8U);
    EXPECT_EQ(sizeof(dovrel::macaddress_cpp), 8U);
    EXPECT_EQ(sizeof(dovrel::Mutex), 40U);
    EXPECT_EQ(sizeof(SystemInformation::HypervisorType), 4U);
}

TEST(AMD64Layout, ofTheServiceIsATableAndTheLastError)
{
    EXPECT_EQ(sizeof(sysinfo::SystemInformation_Precursor), 1U);
    EXPECT_EQ(sizeof(SystemInformation), 8U);
    EXPECT_EQ(sizeof(sysinfo::UNIXSystemInformation), 64U);
    EXPECT_EQ(sizeof(sysinfo::LinuxSystemInformation), 64U);
    expectService({.lastError = 8});
}

TEST(AMD64Layout, ofRecordsBeginsWithTwoTables)
{
    expectRecordInterfaces({.size = 16, .cloneable = 8});
    EXPECT_EQ(sizeof(UNIXCPUInfo), 24U);
    expectProcessor({.cloneable = 8, .index = 16});
}

TEST(AMD64Layout, ofTheCachesIsWordRecordsLock)
{
    expectListCaches({.size = 72, .records = 8, .mutex = 32});
    expectMemoryCache({.size = 64, .mutex = 24});
}
