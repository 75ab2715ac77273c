#include "tests/abi/layout.h"

#include <gtest/gtest.h>

// What hosts that are compiled for 32-bit x86 take for granted. A change here is a change of the
// library's major version.

using namespace layout;

TEST(I386Layout, ofTextHasItsFieldsAtTheirPlaces)
{
    EXPECT_EQ(sizeof(dovrel::basic_string), 44U);
    EXPECT_EQ(sizeof(dovrel::string), 48U);
    EXPECT_EQ(alignof(dovrel::string), 4U);
    expectText({.heap = 32, .length = 36, .capacity = 40, .narrow = 44});
}

TEST(I386Layout, ofOwnersAndValuesIsSmall)
{
    EXPECT_EQ(sizeof(dovrel::value_ptr<SystemInformation>), 4U);
    EXPECT_EQ(sizeof(dovrel::macaddress_cpp), 8U);
    EXPECT_EQ(sizeof(dovrel::Mutex), 24U);
    EXPECT_EQ(sizeof(SystemInformation::HypervisorType), 4U);
}

TEST(I386Layout, ofTheServiceIsATableAndTheLastError)
{
    EXPECT_EQ(sizeof(sysinfo::SystemInformation_Precursor), 1U);
    EXPECT_EQ(sizeof(SystemInformation), 4U);
    EXPECT_EQ(sizeof(sysinfo::UNIXSystemInformation), 52U);
    EXPECT_EQ(sizeof(sysinfo::LinuxSystemInformation), 52U);
    expectService({.lastError = 4});
}

TEST(I386Layout, ofRecordsBeginsWithTwoTables)
{
    expectRecordInterfaces({.size = 8, .cloneable = 4});
    EXPECT_EQ(sizeof(UNIXCPUInfo), 12U);
    expectProcessor({.cloneable = 4, .index = 8});
}

TEST(I386Layout, ofTheCachesIsWordRecordsLock)
{
    expectListCaches({.size = 40, .records = 4, .mutex = 16});
    expectMemoryCache({.size = 44, .mutex = 20});
}
