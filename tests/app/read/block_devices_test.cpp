#include "app/read/Reader.h"
#include "app/read/block_devices.h"
#include "tests/app/read/FakeCalls.h"
#include "tests/app/read/FakeSys.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/sysmacros.h>

using app::Disk;
using app::Machine;
using app_read_test::blockDevice;
using app_read_test::Files;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testkit::machine;

namespace {

std::vector<Disk> foundDisks()
{
    Machine found;
    auto const disks = app::readBlockDevices(found);
    EXPECT_THAT(found.problems, IsEmpty());
    return disks.value_or(std::vector<Disk>());
}

/** The only device of the machine. */
Disk foundDisk()
{
    std::vector<Disk> const disks = foundDisks();
    EXPECT_THAT(disks, SizeIs(1));
    return disks.empty() ? Disk() : disks.front();
}

std::vector<std::string> namesOf(std::vector<Disk> const& disks)
{
    std::vector<std::string> names;
    for (Disk const& disk : disks)
        names.push_back(disk.name);
    return names;
}

/** A device-mapper node whose maker gives it this UUID. */
Disk readMapped(std::string const& uuid)
{
    blockDevice("virtual/block/dm-0",
        {{"dev", "253:0"}, {"size", "8"}, {"dm/uuid", uuid}, {"dm/name", "data"}});
    machine.folder("/sys/devices/virtual/block/dm-0/slaves/sda1");
    return foundDisk();
}

}

TEST(BlockDevices, haveAnNvmeDiskWithItsPartition)
{
    blockDevice("pci0000:00/nvme/nvme0/nvme0n1",
        {{"dev", "259:0"}, {"size", "1000215216"}, {"ro", "0"}, {"removable", "0"},
            {"queue/rotational", "0"}, {"queue/logical_block_size", "512"},
            {"queue/physical_block_size", "4096"}, {"nvme0n1p1/start", "2048"},
            {"nvme0n1p1/size", "8"}, {"nvme0n1p1/dev", "259:1"}, {"nvme0n1p1/ro", "1"}});
    auto const disks = foundDisks();
    ASSERT_THAT(namesOf(disks), ElementsAre("nvme0n1", "nvme0n1p1"));
    EXPECT_EQ(disks[0].bytes, 512110190592U);
    EXPECT_EQ(disks[0].kind(), "SSD");
    EXPECT_EQ(disks[0].transport, "nvme");
    EXPECT_EQ(disks[0].logicalSector, 512U);
    EXPECT_EQ(disks[0].physicalSector, 4096U);
    EXPECT_EQ(disks[0].readOnly, false);
    EXPECT_EQ(disks[0].removable, false);
    EXPECT_EQ(disks[1].type, Disk::PARTITION);
    EXPECT_EQ(disks[1].parent, "nvme0n1");
    EXPECT_EQ(disks[1].bytes, 4096U);
    EXPECT_EQ(disks[1].device, "259:1");
    EXPECT_EQ(disks[1].readOnly, true);
    EXPECT_EQ(disks[1].logicalSector, 512U);
    EXPECT_EQ(disks[1].physicalSector, 4096U);
}

TEST(BlockDevices, haveTheBootAreasOfAnEmmcAsDisks)
{
    for (char const* const name : {"mmcblk0", "mmcblk0boot0", "mmcblk0boot1"})
        blockDevice(std::string("platform/mmc_host/mmc0/mmc0:0001/block/") + name,
            {{"size", "8192"}, {"dev", "179:0"}});
    auto const disks = foundDisks();
    ASSERT_THAT(namesOf(disks), ElementsAre("mmcblk0", "mmcblk0boot0", "mmcblk0boot1"));
    for (Disk const& disk : disks)
        EXPECT_EQ(disk.transport, "mmc") << disk.name;
    EXPECT_EQ(disks[1].type, Disk::DISK);
}

TEST(BlockDevices, haveASlashWhereSysfsHasAnExclamationMark)
{
    blockDevice("pci0000:00/cciss0/c0d0/block/cciss!c0d0",
        {{"size", "8"}, {"cciss!c0d0p1/start", "1"}, {"cciss!c0d0p1/size", "2"}});
    auto const disks = foundDisks();
    ASSERT_THAT(namesOf(disks), ElementsAre("cciss/c0d0", "cciss/c0d0p1"));
    EXPECT_EQ(disks[1].parent, "cciss/c0d0");
}

TEST(BlockDevices, areInNaturalOrder)
{
    for (char const* const name : {"sdb", "sda", "loop10", "loop9"})
        blockDevice(std::string("x/") + name, {{"size", "8"}});
    EXPECT_THAT(namesOf(foundDisks()), ElementsAre("loop9", "loop10", "sda", "sdb"));
}

TEST(BlockDevices, areInTheKernelsOrderOfDisks)
{
    for (char const* const name : {"sdaa", "sdb", "sda"})
        blockDevice(std::string("x/") + name, {{"size", "8"}});
    machine.folder("/sys/devices/virtual/block/dm-0/slaves/sdaa");
    machine.folder("/sys/devices/virtual/block/dm-0/slaves/sdb");
    blockDevice("virtual/block/dm-0", {{"size", "8"}});
    auto const disks = foundDisks();
    EXPECT_THAT(namesOf(disks), ElementsAre("dm-0", "sda", "sdb", "sdaa"));
    EXPECT_THAT(disks.at(0).slaves, ElementsAre("sdb", "sdaa"));
    EXPECT_THAT(app::disksBeneath(disks, "dm-0"), ElementsAre("sdb", "sdaa"));
}

TEST(BlockDevices, haveCachedAndReplicatedDisksThatLieOnOthers)
{
    for (char const* const name : {"bcache0", "drbd1"}) {
        blockDevice(std::string("virtual/block/") + name, {{"size", "8"}});
        machine.folder(std::string("/sys/devices/virtual/block/") + name + "/slaves/sda");
    }
    blockDevice("x/sda", {{"size", "8"}});
    auto const disks = foundDisks();
    ASSERT_THAT(namesOf(disks), ElementsAre("bcache0", "drbd1", "sda"));
    EXPECT_EQ(app::typeText(disks[0]), "bcache");
    EXPECT_EQ(app::typeText(disks[1]), "drbd");
    EXPECT_FALSE(disks[0].isPhysical());
    EXPECT_FALSE(disks[1].isPhysical());
    EXPECT_THAT(app::disksBeneath(disks, "drbd1"), ElementsAre("sda"));
}

TEST(BlockDevices, haveVirtualDisksOfTheNetwork)
{
    blockDevice("rbd/0/block/rbd0", {{"size", "8"}, {"queue/rotational", "0"}});
    blockDevice("virtual/block/nbd0", {{"size", "8"}, {"queue/rotational", "0"}});
    blockDevice("virtual/block/nbd1", {{"size", "0"}});
    auto const disks = foundDisks();
    ASSERT_THAT(namesOf(disks), ElementsAre("nbd0", "rbd0"));
    EXPECT_EQ(disks[0].transport, "nbd");
    EXPECT_EQ(disks[1].transport, "rbd");
    for (Disk const& disk : disks) {
        EXPECT_TRUE(disk.isPhysical());
        EXPECT_EQ(disk.kind(), "virtual");
    }
}

TEST(BlockDevices, haveVirtualDisksThatTheKernelMakes)
{
    for (char const* const path : {"virtual/block/zd16", "virtual/block/ublkb0",
             "virtual/nvme-subsystem/nvme-subsys0/nvme0n1"})
        blockDevice(path, {{"size", "8"}, {"queue/rotational", "0"}, {"removable", "0"}});
    auto const disks = foundDisks();
    ASSERT_THAT(namesOf(disks), ElementsAre("nvme0n1", "ublkb0", "zd16"));
    EXPECT_EQ(disks[0].kind(), "SSD");
    EXPECT_EQ(disks[1].kind(), "virtual");
    EXPECT_EQ(disks[2].kind(), "virtual");
    EXPECT_EQ(app::typeText(disks[2]), "disk");
}

TEST(BlockDevices, haveTheLabelOfARaidInDevMd)
{
    for (char const* const name : {"md0", "md126", "md127"}) {
        blockDevice(std::string("virtual/block/") + name, {{"size", "8"}});
        machine.file(std::string("/dev/") + name, "");
    }
    machine.link("/dev/md/0", "../md0");
    machine.link("/dev/md/root", "../md127");
    machine.link("/dev/md/broken", "../md5");
    auto const disks = foundDisks();
    ASSERT_THAT(namesOf(disks), ElementsAre("md0", "md126", "md127"));
    EXPECT_EQ(disks[0].label, "md0") << "no name but a number";
    EXPECT_EQ(disks[1].label, "md126");
    EXPECT_EQ(disks[2].label, "root");
}

TEST(BlockDevices, haveOneProblemForAllFilesThatCannotBeRead)
{
    blockDevice("x/sda", {{"size", "8"}, {"dev", "8:0"}});
    machine.folder("/sys/devices/x/sda/ro");
    machine.folder("/sys/devices/x/sda/queue/rotational");
    Machine found;
    auto const disks = app::readBlockDevices(found);
    ASSERT_TRUE(disks);
    EXPECT_EQ(disks->at(0).readOnly, std::nullopt);
    ASSERT_THAT(found.problems, SizeIs(1));
    EXPECT_EQ(found.problems[0].fact, "all facts of the disks");
    EXPECT_EQ(found.problems[0].reason, "Is a directory");
    EXPECT_EQ(found.problems[0].source, "/sys/block/sda/ro and 1 other file");
}

TEST(BlockDevices, haveARaidWithItsLevelAndItsParts)
{
    blockDevice("virtual/block/md0", {{"size", "8"}, {"md/level", "raid1"}});
    for (char const* const slave : {"sda1", "sdb1"})
        machine.folder(std::string("/sys/devices/virtual/block/md0/slaves/") + slave);
    Disk const disk = foundDisk();
    EXPECT_EQ(disk.type, Disk::RAID);
    EXPECT_EQ(disk.raidLevel, "raid1");
    EXPECT_THAT(disk.slaves, ElementsAre("sda1", "sdb1"));
    EXPECT_EQ(disk.transport, std::nullopt);
}

TEST(BlockDevices, haveTheRaidFactsOfMdstatWhereSysfsHasNone)
{
    machine.file("/proc/mdstat",
        "Personalities : [raid5]\nmd1 : active raid1 sdx[0]\n"
        "md0 : active (auto-read-only) raid5 sdb1[1] sda1[0] sdc1[2](F)\n      8 blocks\n");
    blockDevice("virtual/block/md0", {{"size", "8"}});
    Disk const disk = foundDisk();
    EXPECT_EQ(disk.raidLevel, "raid5");
    EXPECT_THAT(disk.slaves, ElementsAre("sdb1", "sda1", "sdc1"));
}

TEST(BlockDevices, haveAnInactiveRaidWithoutALevel)
{
    machine.file("/proc/mdstat", "md0 : inactive sda1[0](S)\n");
    blockDevice("virtual/block/md0", {{"size", "8"}});
    Disk const disk = foundDisk();
    EXPECT_EQ(disk.raidLevel, std::nullopt);
    EXPECT_THAT(disk.slaves, ElementsAre("sda1"));
}

TEST(BlockDevices, haveALogicalVolumeByItsUuid)
{
    Disk const disk = readMapped("LVM-abc");
    EXPECT_EQ(disk.type, Disk::LOGICAL_VOLUME);
    EXPECT_EQ(disk.label, "data");
    EXPECT_EQ(disk.name, "dm-0");
    EXPECT_THAT(disk.slaves, ElementsAre("sda1"));
}

TEST(BlockDevices, haveAnEncryptedDeviceByItsUuid)
{
    EXPECT_EQ(readMapped("CRYPT-LUKS2-abc").type, Disk::ENCRYPTED);
}

TEST(BlockDevices, haveAMultipathDeviceByItsUuid)
{
    EXPECT_EQ(readMapped("mpath-360000").type, Disk::MULTIPATH);
}

TEST(BlockDevices, haveAPartitionOfAMultipathDeviceByItsUuid)
{
    EXPECT_EQ(readMapped("part1-mpath-360000").type, Disk::PARTITION);
}

TEST(BlockDevices, haveAnotherMappedDeviceWithoutAType)
{
    EXPECT_EQ(readMapped("").type, Disk::MAPPED);
}

TEST(BlockDevices, haveTheNameOfTheMapperNodeOnKernelsWithoutDmName)
{
    app_read_test::FakeCalls calls;
    calls.blockDevices["/dev/mapper/vg-root"] = makedev(253, 0);
    for (char const* const file : {"/dev/mapper/vg-root", "/dev/mapper/control"})
        machine.file(file, "");
    blockDevice("virtual/block/dm-0", {{"dev", "253:0"}, {"size", "8"}});
    blockDevice("virtual/block/dm-1", {{"dev", "253:1"}, {"size", "8"}});
    auto const disks = foundDisks();
    ASSERT_THAT(disks, SizeIs(2));
    EXPECT_EQ(disks[0].label, "vg-root");
    EXPECT_EQ(disks[1].label, "dm-1") << "no node has its number";
}

TEST(BlockDevices, haveLoopDevicesAndCompressedMemory)
{
    blockDevice("virtual/block/loop0", {{"size", "8"}});
    blockDevice("virtual/block/zram0", {{"size", "8"}});
    auto const disks = foundDisks();
    ASSERT_THAT(disks, SizeIs(2));
    EXPECT_EQ(disks[0].type, Disk::LOOP);
    EXPECT_EQ(disks[1].type, Disk::MAPPED);
}

TEST(BlockDevices, haveAnOpticalDriveByItsNameOrItsScsiType)
{
    blockDevice("x/sr0", {{"size", "8"}});
    blockDevice("x/xyz", {{"size", "8"}, {"device/type", "5"}});
    for (Disk const& disk : foundDisks())
        EXPECT_EQ(disk.type, Disk::OPTICAL) << disk.name;
}

TEST(BlockDevices, leaveOutWhatLsblkLeavesOut)
{
    blockDevice("virtual/block/ram0", {{"dev", "1:0"}, {"size", "8192"}});
    blockDevice("virtual/block/loop0", {{"dev", "7:0"}, {"size", "0"}});
    blockDevice("nvme/nvme0/nvme0c0n1", {{"size", "8"}, {"hidden", "1"}});
    blockDevice("nvme/nvme0/nvme0n1", {{"size", "8"}, {"hidden", "0"}});
    EXPECT_THAT(namesOf(foundDisks()), ElementsAre("nvme0n1"));
}

TEST(BlockDevices, haveAnUnknownSizeWhereTheKernelHasNone)
{
    std::pair<Files, char const*> const cases[] = {
        {{{"size", "18446744073709551615"}}, "its number is too large"},
        {{{"size", "many"}}, "it has no number"},
        {{{"size", ""}}, "it is empty"},
        {{}, "No such file or directory"},
    };
    for (auto const& [files, reason] : cases) {
        blockDevice("x/sda", files);
        Machine found;
        auto const disks = app::readBlockDevices(found);
        ASSERT_THAT(disks.value(), SizeIs(1));
        EXPECT_EQ(disks->at(0).bytes, std::nullopt) << reason;
        ASSERT_THAT(found.problems, SizeIs(1)) << reason;
        EXPECT_EQ(found.problems[0].source, "/sys/block/sda/size");
        EXPECT_EQ(found.problems[0].reason, reason);
        machine.empty();
    }
}

TEST(BlockDevices, haveAProblemForEachFileWithoutItsValue)
{
    for (char const* const file : {"dev", "ro", "removable", "queue/rotational",
             "queue/logical_block_size", "queue/physical_block_size"}) {
        blockDevice("x/sda", {{"size", "8"}, {file, "512 or so"}});
        Machine found;
        auto const disks = app::readBlockDevices(found);
        ASSERT_THAT(found.problems, SizeIs(1)) << file;
        EXPECT_EQ(found.problems[0].source, std::string("/sys/block/sda/") + file);
        EXPECT_EQ(disks->at(0).device, "");
        EXPECT_EQ(disks->at(0).logicalSector, std::nullopt);
        machine.empty();
    }
}

TEST(BlockDevices, mayHaveAWordAsTheTypeOfTheirDevice)
{
    blockDevice("x/mmcblk0", {{"size", "8"}, {"device/type", "MMC"}});
    EXPECT_EQ(foundDisk().type, Disk::DISK);
}

TEST(BlockDevices, haveTheHardwareSectorSizeOfOldKernels)
{
    blockDevice("x/sda", {{"size", "8"}, {"queue/hw_sector_size", "4096"}});
    EXPECT_EQ(foundDisk().logicalSector, 4096U);
}

TEST(BlockDevices, countADeviceThatIsGone)
{
    blockDevice("x/sda", {{"size", "8"}});
    machine.link("/sys/block/sdb", "../devices/gone");
    machine.link("/sys/block/sdc", "../devices/gone");
    Machine found;
    app::readDisks(found);
    EXPECT_THAT(*found.disks, SizeIs(1));
    ASSERT_THAT(found.problems, SizeIs(1));
    EXPECT_EQ(found.problems[0].reason, "2 entries were left out");
    EXPECT_EQ(found.problems[0].source, "/sys/block");
}

TEST(BlockDevices, areAProblemWhereTheKernelPublishesNone)
{
    Machine found;
    app::readDisks(found);
    EXPECT_FALSE(found.disks);
    ASSERT_THAT(found.problems, SizeIs(1));
    EXPECT_EQ(found.problems[0].reason, "No such file or directory");
    EXPECT_EQ(found.problems[0].source, "/sys/block");
}
