#include "app/read/Reader.h"
#include "tests/support/Machine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using app::Disk;
using app::Machine;
using testing::ElementsAre;
using testing::SizeIs;
using testkit::machine;

namespace {

constexpr char const* HEADING = "major minor  #blocks  name     rio rmerge rsect ruse wio\n\n";

std::vector<Disk> readAll(std::string const& lines)
{
    machine.file("/proc/partitions", HEADING + lines);
    Machine found;
    app::readDisks(found);
    EXPECT_THAT(found.problems, testing::IsEmpty());
    return found.disks.value_or(std::vector<Disk>());
}

/** Each device with the disk that it lies on. */
std::vector<std::string> parentsOf(std::vector<Disk> const& disks)
{
    std::vector<std::string> texts;
    for (Disk const& disk : disks)
        texts.push_back(disk.name + (disk.parent.empty() ? "" : " on " + disk.parent));
    return texts;
}

}

TEST(OldKernels, listDisksAndPartitionsWithStatisticsBehindThem)
{
    auto const disks = readAll("   3     0   39082680 hda 73243 155418 1829214 593790 26466\n"
                               "   3     1     104391 hda1 40 114 160 240 13\n");
    ASSERT_THAT(parentsOf(disks), ElementsAre("hda", "hda1 on hda"));
    EXPECT_EQ(disks[0].bytes, 40020664320U);
    EXPECT_EQ(disks[0].device, "3:0");
    EXPECT_EQ(disks[0].type, Disk::DISK);
    EXPECT_EQ(disks[1].type, Disk::PARTITION);
}

TEST(OldKernels, havePartitionsThatBelongToTheDiskOfTheirName)
{
    EXPECT_THAT(parentsOf(readAll("8 0 9 sda\n8 1 9 sda1\n65 160 9 sdaa\n65 161 9 sdaa1\n"
                                  "104 0 9 cciss/c0d0\n104 1 9 cciss/c0d0p1\n"
                                  "104 160 9 cciss/c0d10\n")),
        ElementsAre("cciss/c0d0", "cciss/c0d0p1 on cciss/c0d0", "cciss/c0d10", "sda", "sda1 on sda",
            "sdaa", "sdaa1 on sdaa"));
}

TEST(OldKernels, haveRaidWithTheFactsOfMdstat)
{
    machine.file("/proc/mdstat", "md0 : active raid1 hdc1[1] hda1[0]\n");
    auto const disks = readAll("9 0 1024 md0\n9 1 1024 md10\n");
    ASSERT_THAT(parentsOf(disks), ElementsAre("md0", "md10"));
    EXPECT_EQ(disks[0].type, Disk::RAID);
    EXPECT_EQ(disks[0].raidLevel, "raid1");
    EXPECT_THAT(disks[0].slaves, ElementsAre("hdc1", "hda1"));
    EXPECT_THAT(disks[1].slaves, testing::IsEmpty());
}

TEST(OldKernels, haveAPartitionOfARaidAsAPartition)
{
    auto const disks = readAll("254 0 1024 md_d0\n254 1 1024 md_d0p1\n");
    ASSERT_THAT(parentsOf(disks), ElementsAre("md_d0", "md_d0p1 on md_d0"));
    EXPECT_EQ(disks[1].type, Disk::PARTITION);
}

TEST(OldKernels, haveLoopAndMappedDevices)
{
    auto const disks = readAll("7 0 9 loop0\n253 0 9 dm-0\n");
    ASSERT_THAT(parentsOf(disks), ElementsAre("dm-0", "loop0"));
    EXPECT_EQ(disks[0].type, Disk::MAPPED);
    EXPECT_EQ(disks[1].type, Disk::LOOP);
}

TEST(OldKernels, haveTheTypesThatNamesShow)
{
    auto const disks = readAll("43 0 9 nbd0\n252 0 9 rbd0\n230 0 9 zd0\n230 1 9 zd0p1\n"
                               "252 1 9 zram0\n147 0 9 drbd0\n11 0 9 sr0\n8 0 9 zda\n");
    ASSERT_THAT(parentsOf(disks),
        ElementsAre("drbd0", "nbd0", "rbd0", "sr0", "zd0", "zd0p1 on zd0", "zda", "zram0"));
    std::vector<std::string> types;
    for (Disk const& disk : disks)
        types.push_back(app::typeText(disk) + " " + disk.kind().value_or("-"));
    EXPECT_THAT(types,
        ElementsAre("drbd -", "disk virtual", "disk virtual", "rom -", "disk virtual", "part -",
            "disk -", "zram -"));
    EXPECT_EQ(disks[1].transport, "nbd");
}

TEST(OldKernels, haveNeitherRamDisksNorDevicesWithoutAMedium)
{
    EXPECT_THAT(parentsOf(readAll("1 0 4096 ram0\n22 0 0 hdc\n3 0 9 hda\n")), ElementsAre("hda"));
}

TEST(OldKernels, reportTheModelOfAnIdeDisk)
{
    machine.file("/proc/ide/hda/model", "MAKER 40GB\n");
    machine.file("/proc/ide/hda/media", "disk\n");
    machine.file("/proc/ide/hdc/media", "cdrom\n");
    auto const disks = readAll("3 0 9 hda\n22 0 9 hdc\n8 0 9 sda\n");
    ASSERT_THAT(disks, SizeIs(3));
    EXPECT_EQ(disks[0].model, "MAKER 40GB");
    EXPECT_EQ(disks[0].transport, "ide");
    EXPECT_EQ(disks[1].type, Disk::OPTICAL);
    EXPECT_EQ(disks[2].transport, std::nullopt);
}

TEST(OldKernels, leaveOutALineThatIsNoDevice)
{
    machine.file("/proc/partitions",
        "8 0 1 sda\n8 1\n8 2 x sda2\n8 3 18446744073709551615 sda3\nx 4 1 sda4\n8 x 1 sda5\n");
    Machine found;
    app::readDisks(found);
    EXPECT_THAT(*found.disks, SizeIs(1));
    ASSERT_THAT(found.problems, SizeIs(1));
    EXPECT_EQ(found.problems[0].reason, "5 entries were left out");
    EXPECT_EQ(found.problems[0].source, "/proc/partitions");
}

TEST(OldKernels, countOneEntryInTheSingular)
{
    EXPECT_EQ(app::leftOut(1), "1 entry was left out");
}
