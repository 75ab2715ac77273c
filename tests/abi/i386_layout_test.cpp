#include "tests/abi/disk_layout.h"
#include "tests/abi/layout.h"

#include <gtest/gtest.h>

// Sizes and offsets that hosts for 32-bit x86 were compiled with. A change here requires a new
// major version of the library.

using namespace layout;

TEST(I386Layout, ofStringIsUnchanged)
{
    EXPECT_EQ(sizeof(dovrel::basic_string), 44U);
    EXPECT_EQ(sizeof(dovrel::string), 48U);
    EXPECT_EQ(alignof(dovrel::string), 4U);
    expectString({.heap = 32, .length = 36, .capacity = 40, .narrow = 44});
}

TEST(I386Layout, ofSmallTypesIsUnchanged)
{
    EXPECT_EQ(sizeof(dovrel::value_ptr<SystemInformation>), 4U);
    EXPECT_EQ(sizeof(dovrel::macaddress_cpp), 8U);
    EXPECT_EQ(sizeof(dovrel::Mutex), 24U);
    EXPECT_EQ(sizeof(SystemInformation::HypervisorType), 4U);
}

TEST(I386Layout, ofSystemInformationIsUnchanged)
{
    EXPECT_EQ(sizeof(sysinfo::SystemInformation_Precursor), 1U);
    EXPECT_EQ(sizeof(SystemInformation), 4U);
    EXPECT_EQ(sizeof(sysinfo::UNIXSystemInformation), 52U);
    EXPECT_EQ(sizeof(sysinfo::LinuxSystemInformation), 52U);
    expectSystemInformation({.lastError = 4});
}

TEST(I386Layout, ofRecordInterfacesIsUnchanged)
{
    expectRecordInterfaces({.size = 8, .cloneable = 4});
    EXPECT_EQ(sizeof(UNIXCPUInfo), 12U);
    expectUNIXCPUInfo({.cloneable = 4, .index = 8});
}

TEST(I386Layout, ofUNIXCloneInfoIsUnchanged)
{
    EXPECT_EQ(sizeof(UNIXCloneInfo), 108U);
    expectUNIXCloneInfo(
        {.cloneable = 4, .figures = 8, .times = 36, .throughput = 52, .lastError = 60});
}

TEST(I386Layout, ofAddressesIsUnchanged)
{
    expectAddresses({.size = 132, .storage = 4});
    expectNetworkError({.size = 32, .code = 4, .text = 8});
}

TEST(I386Layout, ofUNIXNetworkInfoIsUnchanged)
{
    expectUNIXNetworkInfo({.cloneable = 4, .name = 8, .hostname = 56, .mac = 104, .lists = 112});
}

TEST(I386Layout, ofTheCachesIsUnchanged)
{
    expectListCaches({.size = 40, .records = 4, .mutex = 16});
    expectMemoryCache({.size = 44, .mutex = 20});
}

TEST(I386Layout, ofProcessExceptionIsUnchanged)
{
    EXPECT_EQ(sizeof(dovrel::reason_type), 4U);
    EXPECT_EQ(sizeof(dovrel::ProcessException), 40U);
    expectProcessException({.reason = 4, .code = 8, .message = 12, .line = 36});
}

TEST(I386Layout, ofUnixCommandIsUnchanged)
{
    EXPECT_EQ(sizeof(Command), 12U);
    EXPECT_EQ(sizeof(Pipe), 4U);
    EXPECT_EQ(sizeof(dovrel::UnixPipe), 8U);
    EXPECT_EQ(sizeof(dovrel::UnixCommand), 80U);
    expectUnixCommand({.slave = 12,
        .master = 16,
        .errors = 20,
        .command = 28,
        .pid = 52,
        .stdInOut = 56,
        .stdErr = 64,
        .status = 72});
}

TEST(I386Layout, ofPstreamIsUnchanged)
{
    EXPECT_EQ(sizeof(pipestreambuf), 76U);
    expectPipestreambuf(
        {.command = 32, .pipe = 36, .output = 40, .input = 52, .putBack = 64, .timeout = 68});
    EXPECT_EQ(sizeof(Pstream), 524U);
    expectPstream({.command = 12, .output = 92, .errors = 168, .errorStream = 244});
}

TEST(I386Layout, ofDiskRecordsIsUnchanged)
{
    EXPECT_EQ(sizeof(UNIXDiskInfo), 76U);
    expectUNIXDiskInfo({.cloneable = 4, .name = 8, .size = 56, .parents = 64});
    EXPECT_EQ(sizeof(LinuxPhysicalDiskInfo), 124U);
    expectPhysicalDiskInfo({.cloneable = 4,
        .name = 8,
        .blocks = 56,
        .sectorSize = 64,
        .caption = 72,
        .partitions = 120});
}

TEST(I386Layout, ofHandleIsUnchanged)
{
    EXPECT_EQ(sizeof(dovrel::handle<int>), 12U);
    EXPECT_EQ(sizeof(dovrel::handles0<int, int (*)(int)>), 12U);
    expectHandle({.shared = 4, .count = 8, .value = 4, .closer = 8});
}

TEST(I386Layout, ofPistreamIsUnchanged)
{
    EXPECT_EQ(sizeof(OutputBuffer), 188U);
    EXPECT_EQ(sizeof(pistream), 332U);
    expectPistream({.command = 32, .buffer = 56, .stream = 184, .bufferInStream = 8, .base = 196});
}
