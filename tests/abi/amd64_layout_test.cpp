#include "tests/abi/disk_layout.h"
#include "tests/abi/layout.h"

#include <gtest/gtest.h>

// Sizes and offsets that hosts for x86-64 were compiled with. A change here requires a new major
// version of the library.

using namespace layout;

TEST(AMD64Layout, ofStringIsUnchanged)
{
    EXPECT_EQ(sizeof(dovrel::basic_string), 48U);
    EXPECT_EQ(sizeof(dovrel::string), 56U);
    EXPECT_EQ(alignof(dovrel::string), 8U);
    expectString({.heap = 32, .length = 40, .capacity = 44, .narrow = 48});
}

TEST(AMD64Layout, ofSmallTypesIsUnchanged)
{
    EXPECT_EQ(sizeof(dovrel::value_ptr<SystemInformation>), 8U);
    EXPECT_EQ(sizeof(dovrel::macaddress_cpp), 8U);
    EXPECT_EQ(sizeof(dovrel::Mutex), 40U);
    EXPECT_EQ(sizeof(SystemInformation::HypervisorType), 4U);
}

TEST(AMD64Layout, ofSystemInformationIsUnchanged)
{
    EXPECT_EQ(sizeof(sysinfo::SystemInformation_Precursor), 1U);
    EXPECT_EQ(sizeof(SystemInformation), 8U);
    EXPECT_EQ(sizeof(sysinfo::UNIXSystemInformation), 64U);
    EXPECT_EQ(sizeof(sysinfo::LinuxSystemInformation), 64U);
    expectSystemInformation({.lastError = 8});
}

TEST(AMD64Layout, ofRecordInterfacesIsUnchanged)
{
    expectRecordInterfaces({.size = 16, .cloneable = 8});
    EXPECT_EQ(sizeof(UNIXCPUInfo), 24U);
    expectUNIXCPUInfo({.cloneable = 8, .index = 16});
}

TEST(AMD64Layout, ofUNIXCloneInfoIsUnchanged)
{
    EXPECT_EQ(sizeof(UNIXCloneInfo), 144U);
    expectUNIXCloneInfo(
        {.cloneable = 8, .figures = 16, .times = 48, .throughput = 80, .lastError = 88});
}

TEST(AMD64Layout, ofAddressesIsUnchanged)
{
    expectAddresses({.size = 136, .storage = 8});
    expectNetworkError({.size = 48, .code = 8, .text = 16});
}

TEST(AMD64Layout, ofUNIXNetworkInfoIsUnchanged)
{
    expectUNIXNetworkInfo({.cloneable = 8, .name = 16, .hostname = 72, .mac = 128, .lists = 136});
}

TEST(AMD64Layout, ofTheCachesIsUnchanged)
{
    expectListCaches({.size = 72, .records = 8, .mutex = 32});
    expectMemoryCache({.size = 64, .mutex = 24});
}

TEST(AMD64Layout, ofProcessExceptionIsUnchanged)
{
    EXPECT_EQ(sizeof(dovrel::reason_type), 4U);
    EXPECT_EQ(sizeof(dovrel::ProcessException), 56U);
    expectProcessException({.reason = 8, .code = 12, .message = 16, .line = 48});
}

TEST(AMD64Layout, ofUnixCommandIsUnchanged)
{
    EXPECT_EQ(sizeof(Command), 16U);
    EXPECT_EQ(sizeof(Pipe), 8U);
    EXPECT_EQ(sizeof(dovrel::UnixPipe), 16U);
    EXPECT_EQ(sizeof(dovrel::UnixCommand), 112U);
    expectUnixCommand({.slave = 16,
        .master = 20,
        .errors = 24,
        .command = 32,
        .pid = 64,
        .stdInOut = 72,
        .stdErr = 88,
        .status = 104});
}

TEST(AMD64Layout, ofPstreamIsUnchanged)
{
    EXPECT_EQ(sizeof(pipestreambuf), 144U);
    expectPipestreambuf(
        {.command = 64, .pipe = 72, .output = 80, .input = 104, .putBack = 128, .timeout = 132});
    EXPECT_EQ(sizeof(Pstream), 968U);
    expectPstream({.command = 24, .output = 136, .errors = 280, .errorStream = 424});
}

TEST(AMD64Layout, ofDiskRecordsIsUnchanged)
{
    EXPECT_EQ(sizeof(UNIXDiskInfo), 104U);
    expectUNIXDiskInfo({.cloneable = 8, .name = 16, .size = 72, .parents = 80});
    EXPECT_EQ(sizeof(LinuxPhysicalDiskInfo), 152U);
    expectPhysicalDiskInfo({.cloneable = 8,
        .name = 16,
        .blocks = 72,
        .sectorSize = 80,
        .caption = 88,
        .partitions = 144});
}

TEST(AMD64Layout, ofHandleIsUnchanged)
{
    EXPECT_EQ(sizeof(dovrel::handle<int>), 24U);
    EXPECT_EQ(sizeof(dovrel::handles0<int, int (*)(int)>), 24U);
    expectHandle({.shared = 8, .count = 16, .value = 8, .closer = 16});
}

TEST(AMD64Layout, ofPistreamIsUnchanged)
{
    EXPECT_EQ(sizeof(OutputBuffer), 232U);
    EXPECT_EQ(sizeof(pistream), 512U);
    expectPistream({.command = 64, .buffer = 96, .stream = 224, .bufferInStream = 16, .base = 248});
}
