#include "app/read/Reader.h"
#include "tests/app/read/FakeCalls.h"
#include "tests/app/read/FakeSys.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using app::Disk;
using app::Machine;
using app_read_test::blockDevice;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testkit::machine;

namespace {

std::vector<std::string> unlistedNames(std::vector<Disk> const& disks)
{
    std::vector<std::string> names;
    for (Disk const& disk : disks)
        names.push_back(disk.name);
    return names;
}

}

TEST(UnlistedDisks, comeFromProcPartitionsWhereSysfsListsNone)
{
    machine.folder("/sys/block");
    machine.file("/proc/partitions",
        "major minor  #blocks  name\n\n   8        0       1024 sda\n   8        1        512 "
        "sda1\n");
    Machine found;
    app::readDisks(found);
    ASSERT_THAT(unlistedNames(*found.disks), ElementsAre("sda", "sda1"));
    EXPECT_EQ(found.disks->at(0).bytes, 1048576U);
    EXPECT_EQ(found.disks->at(0).device, "8:0");
    EXPECT_EQ(found.disks->at(1).parent, "sda");
    ASSERT_THAT(found.problems, SizeIs(1));
    EXPECT_EQ(found.problems[0].fact, "all facts of the disks");
    EXPECT_EQ(found.problems[0].source, "/sys/block");
    EXPECT_EQ(found.problems[0].reason, "it has no folder of sda, sda1");
}

TEST(UnlistedDisks, areShownBesideThoseOfSysfs)
{
    blockDevice("x/sda", {{"size", "8"}, {"sda1/start", "1"}, {"sda1/size", "2"}});
    blockDevice("x/cciss!c0d0", {{"size", "8"}});
    blockDevice("x/sdf", {{"size", "0"}});
    machine.link("/sys/block/sdb", "../devices/gone");
    machine.link("/sys/block/sdz", "../devices/gone");
    machine.file("/proc/partitions",
        "8 0 4 sda\n8 1 1 sda1\n8 2 1 sda2\n8 16 4 sdb\n8 17 1 sdb1\n8 32 7 sdc\n"
        "8 80 7 sdf\n8 81 7 sdf1\n104 0 4 cciss/c0d0\n1 0 4096 ram0\n259 0 1 ram0p1\n");
    Machine found;
    app::readDisks(found);
    EXPECT_THAT(unlistedNames(*found.disks),
        ElementsAre("cciss/c0d0", "sda", "sda1", "sda2", "sdb", "sdb1", "sdc"));
    ASSERT_THAT(found.problems, SizeIs(2));
    EXPECT_EQ(found.problems[0].reason, "it has no folder of sda2, sdb, sdb1 and 1 more");
    EXPECT_EQ(found.problems[1].reason, "1 entry was left out") << "sdz";
}

TEST(UnlistedDisks, haveOneProblemWhereProcPartitionsCannotBeRead)
{
    blockDevice("x/sda", {{"size", "8"}});
    machine.folder("/proc/partitions");
    Machine found;
    app::readDisks(found);
    EXPECT_THAT(*found.disks, SizeIs(1));
    ASSERT_THAT(found.problems, SizeIs(1));
    EXPECT_EQ(found.problems[0].source, "/proc/partitions");
}

TEST(UnlistedDisks, haveAReasonForTheFactsThatAKernelWithoutSysfsLacks)
{
    machine.file("/proc/partitions", "3 0 1024 hda\n");
    Machine found;
    app::readDisks(found);
    EXPECT_THAT(found.problems, IsEmpty());
    ASSERT_THAT(found.unavailable, SizeIs(1));
    EXPECT_EQ(found.unavailable[0].fact, "further facts of the disks");
    EXPECT_EQ(found.unavailable[0].reason, "there is no /sys/block");
}

TEST(UnlistedDisks, mayBeInAFolderThatCannotBeReadToItsEnd)
{
    blockDevice("x/sda", {{"size", "8"}});
    app_read_test::FakeCalls calls;
    calls.entriesBeforeFailure = 0;
    Machine found;
    app::readDisks(found);
    EXPECT_THAT(*found.disks, IsEmpty());
    ASSERT_THAT(found.problems, SizeIs(1));
    EXPECT_EQ(found.problems[0].reason, "Input/output error");
    EXPECT_EQ(found.problems[0].source, "/sys/block");
}
