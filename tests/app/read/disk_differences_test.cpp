#include "tests/app/read/FoundDifferences.h"

using app::Difference;
using app::Disk;
using app::LibraryValue;
using app::Machine;
using app_read_test::differenceOf;
using app_read_test::diskOf;
using app_read_test::diskRecord;
using app_read_test::expectNoDifference;
using app_read_test::withDisk;

TEST(DiskDifference, isADiskWhoseNameEndsInADigit)
{
    Difference const difference = differenceOf(withDisk(diskOf("nvme0n1", 1), {}));
    EXPECT_EQ(difference.item, "nvme0n1");
    EXPECT_EQ(difference.fact, "");
    EXPECT_EQ(difference.reason, "the library lists the names that do not end in a digit");
}

TEST(DiskDifference, isADiskOnUsb)
{
    Disk disk = diskOf("sdb", 1);
    disk.transport = "usb";
    EXPECT_EQ(differenceOf(withDisk(disk, {})).reason, "the library leaves USB storage out");
}

TEST(DiskDifference, isADiskWhoseNameBeginsTheNextOnes)
{
    Machine machine = withDisk(diskOf("sda", 1), {});
    machine.disks->push_back(diskOf("sdaa", 1));
    EXPECT_EQ(app::differencesOf(machine).front().reason,
        "the library leaves out a disk whose name begins the next one's");
}

TEST(DiskDifference, isADiskOfKernel24)
{
    EXPECT_EQ(differenceOf(withDisk(diskOf("sda", 1), {})).reason,
        "the library reads /proc/partitions by groups of four words, and further columns put it "
        "out of step");
}

TEST(DiskDifference, isASizeInTheLibrarysUnit)
{
    Difference const difference =
        differenceOf(withDisk(diskOf("sda", 1000), {diskRecord("sda", 500, 0)}));
    EXPECT_EQ(difference.fact, "size_bytes");
    EXPECT_EQ(difference.library, LibraryValue(uint64_t{500}));
    EXPECT_EQ(
        difference.reason, "the library's figure is blocks of 1,024 bytes times the sector size");
}

TEST(DiskDifference, isASizeOfADeviceThatCannotBeOpened)
{
    EXPECT_EQ(differenceOf(withDisk(diskOf("sda", 1000), {diskRecord("sda", 0, 0)})).reason,
        "the device cannot be opened or does not report its sector size");
}

TEST(DiskDifference, isAnotherNumberOfPartitions)
{
    Difference const difference =
        differenceOf(withDisk(diskOf("sda", 1), {diskRecord("sda", 1, 2)}));
    EXPECT_EQ(difference.fact, "partitions");
    EXPECT_EQ(difference.reason, "the library compares names by their beginning");
}

TEST(DiskDifference, isNoneForWhatIsNoDisk)
{
    Disk disk = diskOf("md0", 1);
    disk.type = Disk::RAID;
    expectNoDifference(withDisk(disk, {}));
    expectNoDifference(withDisk(diskOf("sda", 7), {diskRecord("sda", 7, 0)}));
}
