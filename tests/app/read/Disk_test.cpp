#include "app/model/Disk.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using app::Disk;
using app::disksBeneath;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

Disk device(std::string const& name, Disk::Type type, std::string const& parent,
    std::vector<std::string> const& slaves)
{
    Disk disk;
    disk.name = name;
    disk.type = type;
    disk.parent = parent;
    disk.slaves = slaves;
    return disk;
}

}

TEST(DisksBeneath, followsPartitionEncryptionVolumeAndRaid)
{
    std::vector<Disk> const disks = {device("sda", Disk::DISK, "", {}),
        device("sda1", Disk::PARTITION, "sda", {}), device("sdb", Disk::DISK, "", {}),
        device("md0", Disk::RAID, "", {"sda1", "sdb"}),
        device("dm-0", Disk::ENCRYPTED, "", {"md0"}),
        device("dm-1", Disk::LOGICAL_VOLUME, "", {"dm-0"})};
    EXPECT_THAT(disksBeneath(disks, "dm-1"), ElementsAre("sda", "sdb"));
    EXPECT_THAT(disksBeneath(disks, "sda1"), ElementsAre("sda"));
    EXPECT_THAT(disksBeneath(disks, "sdb"), ElementsAre("sdb"));
}

TEST(DisksBeneath, namesADiskOnceAndInNaturalOrder)
{
    std::vector<Disk> const disks = {device("sda10", Disk::DISK, "", {}),
        device("sda9", Disk::DISK, "", {}),
        device("dm-0", Disk::MULTIPATH, "", {"sda10", "sda9", "sda10"})};
    EXPECT_THAT(disksBeneath(disks, "dm-0"), ElementsAre("sda9", "sda10"));
}

TEST(DisksBeneath, endsOnDevicesInACircle)
{
    std::vector<Disk> const disks = {
        device("dm-0", Disk::MAPPED, "", {"dm-1"}), device("dm-1", Disk::MAPPED, "", {"dm-0"})};
    EXPECT_THAT(disksBeneath(disks, "dm-0"), IsEmpty());
}

TEST(DisksBeneath, areNoneOfAnUnknownDevice)
{
    EXPECT_THAT(disksBeneath({}, "sda"), IsEmpty());
    EXPECT_THAT(disksBeneath({device("sda1", Disk::PARTITION, "sda", {})}, "sda1"), IsEmpty());
}

TEST(Disk, isAnSsdOrAnHddByItsRotation)
{
    Disk disk;
    EXPECT_EQ(disk.kind(), std::nullopt);
    disk.rotational = false;
    EXPECT_EQ(disk.kind(), "SSD");
    disk.rotational = true;
    EXPECT_EQ(disk.kind(), "HDD");
}

TEST(Disk, isVirtualOnTheBusOfAHypervisor)
{
    for (char const* const bus : {"virtio", "xen", "vmbus"}) {
        Disk disk;
        disk.rotational = true; // The kernel's default.
        disk.transport = bus;
        EXPECT_EQ(disk.kind(), "virtual") << bus;
    }
}

TEST(Disk, isRemovableOnUsbAndWithAMediumThatCanBeTakenOut)
{
    Disk usb;
    usb.rotational = false;
    usb.transport = "usb";
    EXPECT_EQ(usb.kind(), "removable");
    Disk optical = device("sr0", Disk::OPTICAL, "", {});
    optical.removable = true;
    EXPECT_EQ(optical.kind(), "removable");
}

TEST(Disk, hasAKindOnlyAsAPhysicalDisk)
{
    Disk disk = device("md0", Disk::RAID, "", {});
    disk.rotational = true;
    EXPECT_EQ(disk.kind(), std::nullopt);
}

TEST(Disk, hasTheTypeThatLsblkShows)
{
    std::pair<Disk::Type, char const*> const types[] = {{Disk::DISK, "disk"},
        {Disk::PARTITION, "part"}, {Disk::RAID, "raid"}, {Disk::LOGICAL_VOLUME, "lvm"},
        {Disk::ENCRYPTED, "crypt"}, {Disk::MULTIPATH, "mpath"}, {Disk::MAPPED, "dm"},
        {Disk::LOOP, "loop"}, {Disk::OPTICAL, "rom"}};
    for (auto const& [type, text] : types)
        EXPECT_EQ(typeText(device("x", type, "", {})), text);
    Disk raid = device("md0", Disk::RAID, "", {});
    raid.raidLevel = "raid5";
    EXPECT_EQ(typeText(raid), "raid5");
}

TEST(Disk, hasThePartitionsWhoseParentItIs)
{
    std::vector<Disk> const disks = {device("sda", Disk::DISK, "", {}),
        device("sda1", Disk::PARTITION, "sda", {}), device("sdaa1", Disk::PARTITION, "sdaa", {})};
    EXPECT_EQ(partitionsOf(disks, disks[0]), 1U);
}
