#include "tests/app/read/FoundDifferences.h"

using app::Difference;
using app::Disk;
using app::LibraryRecord;
using app::LibraryValue;
using app::Machine;
using app_read_test::differenceOf;
using app_read_test::diskOf;
using app_read_test::diskRecord;
using app_read_test::expectNoDifference;
using app_read_test::withDisk;

namespace {

/** The reason why "sda" is missing. @param lines of /proc/partitions, without its heading. */
std::string whyMissing(std::string const& lines)
{
    Machine machine = withDisk(diskOf("sda", 1), {});
    machine.library[app::Subject::DISKS].source = "major minor  #blocks  name\n\n" + lines;
    return differenceOf(machine).reason;
}

}

TEST(DiskDifference, isADiskWhoseNameEndsInADigit)
{
    Difference const difference = differenceOf(withDisk(diskOf("nvme0n1", 1), {}));
    EXPECT_EQ(difference.item, "nvme0n1");
    EXPECT_EQ(difference.fact, "");
    EXPECT_EQ(difference.reason, "the library lists the names that do not end in a digit");
}

TEST(DiskDifference, isADiskThatTheLibraryIgnoresAsUsb)
{
    Disk disk = diskOf("sdb", 1);
    disk.transport = "usb";
    Machine machine = withDisk(disk, {});
    EXPECT_EQ(differenceOf(machine).reason, "") << "not every disk on USB is ignored";
    machine.library[app::Subject::DISKS].trace = {
        "Found (and ignoring) usb disk: /dev/sdb", "Returning: 0 disks"};
    EXPECT_EQ(differenceOf(machine).reason, "the library leaves USB storage out");
}

TEST(DiskDifference, isADiskWhoseNameBeginsTheNextOnes)
{
    char const* const reason = "the library leaves out a disk whose name begins the next one's";
    EXPECT_EQ(whyMissing("8 0 1 sda\n8 1 1 sda1\n8 2 1 sdaa\n"), reason);
    EXPECT_EQ(whyMissing("8 0 1 sda\n8 1 1 sda1\n8 3 1 sdb\n8 2 1 sdaa\n"), "")
        << "another disk is in between";
    EXPECT_EQ(whyMissing("8 2 1 sdaa\n8 0 1 sda\n"), "");
}

TEST(DiskDifference, isADiskBehindALineOfAnotherLength)
{
    char const* const reason = "the library reads /proc/partitions by groups of four words, and "
                               "lines of other lengths put it out of step";
    EXPECT_EQ(whyMissing("3 0 1 hda 5 6 7\n8 0 1 sda 5 6 7\n"), reason);
    EXPECT_EQ(whyMissing("3 0 1\n8 0 1 sda\n"), reason);
    EXPECT_EQ(whyMissing("3 0 1 hda\n8 0 1 sda 5 6 7\n"), "") << "it is still in step there";
}

TEST(DiskDifference, isADiskThatItsFileDoesNotHave)
{
    EXPECT_EQ(whyMissing("3 0 1 hda\n"), "/proc/partitions does not have it");
}

TEST(DiskDifference, isASizeInTheLibrarysUnit)
{
    Disk disk = diskOf("sda", 4096);
    Difference const difference = differenceOf(withDisk(disk, {diskRecord("sda", 2048, 0)}));
    EXPECT_EQ(difference.fact, "size_bytes");
    EXPECT_EQ(difference.library, LibraryValue(uint64_t{2048}));
    EXPECT_EQ(
        difference.reason, "the library's figure is blocks of 1,024 bytes times the sector size");
    disk.logicalSector = 4096;
    EXPECT_EQ(differenceOf(withDisk(disk, {diskRecord("sda", 2048, 0)})).reason, "");
    EXPECT_EQ(differenceOf(withDisk(disk, {diskRecord("sda", 16384, 0)})).reason,
        "the library's figure is blocks of 1,024 bytes times the sector size");
    EXPECT_EQ(differenceOf(withDisk(disk, {diskRecord("sda", 5, 0)})).reason, "");
}

TEST(DiskDifference, isASizeOf0)
{
    EXPECT_EQ(differenceOf(withDisk(diskOf("sda", 4096), {diskRecord("sda", 0, 0)})).reason,
        "the library reads no sector size from the device");
    EXPECT_EQ(differenceOf(withDisk(diskOf("sda", 512), {diskRecord("sda", 0, 0)})).reason, "")
        << "the disk has no whole block";
    Disk disk = diskOf("sda", 0);
    disk.bytes.reset();
    EXPECT_EQ(differenceOf(withDisk(disk, {diskRecord("sda", 0, 0)})).fact, "size_bytes");
    expectNoDifference(withDisk(disk, {diskRecord("sda", 7, 0)}));
}

TEST(DiskDifference, isAnotherNumberOfPartitions)
{
    Machine machine = withDisk(diskOf("sda", 1), {diskRecord("sda", 1, 2)});
    Difference const difference = differenceOf(machine);
    EXPECT_EQ(difference.fact, "partitions");
    EXPECT_EQ(difference.reason, "");
    machine.library[app::Subject::DISKS].source =
        "major minor\n8 0 1 sda\n8 1 1 sda1\n8 2 1 sdaa1\n8 3 1 sdb\n";
    EXPECT_EQ(differenceOf(machine).reason, "the library compares names by their beginning");
}

TEST(DiskDifference, isACaptionWithoutTheDisksModel)
{
    Disk disk = diskOf("sda", 1);
    disk.model = "Acme Disk 80/A";
    disk.serial = "X 1";
    LibraryRecord record = diskRecord("sda", 1, 0);
    Difference const missing = differenceOf(withDisk(disk, {record}));
    EXPECT_EQ(missing.fact, "model");
    EXPECT_EQ(missing.library, std::nullopt);
    EXPECT_EQ(missing.reason, "the library finds no name of the disk in /dev/disk/by-id");
    record.fields.push_back({"getDiskCaption", std::string("3600508")});
    Difference const other = differenceOf(withDisk(disk, {record}));
    EXPECT_EQ(other.library, LibraryValue(std::string("3600508")));
    EXPECT_EQ(other.reason, "the library reports the disk's name in /dev/disk/by-id");
    for (char const* const caption : {"Acme_Disk_80_A_X1", "0_X_1"}) {
        record.fields.back().value = std::string(caption);
        expectNoDifference(withDisk(disk, {record}));
    }
}

TEST(DiskDifference, isARecordOfNoDisk)
{
    Machine machine =
        withDisk(diskOf("sda", 1), {diskRecord("sda", 1, 0), diskRecord("sdz", 1, 0)});
    Difference const difference = differenceOf(machine);
    EXPECT_EQ(difference.item, "sdz");
    EXPECT_EQ(difference.fact, "records");
    EXPECT_EQ(difference.library, LibraryValue(uint64_t{1}));
    EXPECT_EQ(difference.reason, "the kernel has no such disk");
    machine.problems.push_back({app::Subject::DISKS, "all disks", "1 entry was left out", "x"});
    EXPECT_EQ(differenceOf(machine).reason, "") << "it may be the one that was left out";
    machine.problems.clear();
    machine.library[app::Subject::DISKS].source = "major\n8 0 1 sda\n8 16 1 sdz\n";
    EXPECT_EQ(differenceOf(machine).reason, "") << "/proc/partitions has it";
    machine.library[app::Subject::DISKS].source = "major\n8 0 1 sda\n";
    EXPECT_EQ(differenceOf(machine).reason, "the kernel has no such disk");
    machine.disks->push_back(diskOf("sdz", 1));
    machine.disks->back().type = Disk::RAID;
    EXPECT_EQ(differenceOf(machine).fact, "type");
    EXPECT_EQ(
        differenceOf(machine).reason, "the library lists every name that does not end in a digit");
}

TEST(DiskDifference, isNoneForADeviceThatIsNoDisk)
{
    Disk disk = diskOf("md0", 1);
    disk.type = Disk::RAID;
    expectNoDifference(withDisk(disk, {}));
    expectNoDifference(withDisk(diskOf("sda", 7), {diskRecord("sda", 7, 0)}));
}
