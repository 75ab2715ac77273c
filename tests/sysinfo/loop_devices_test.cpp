// Disks as the kernel really makes them: where this process may have loop devices, it brings two,
// and a /dev and a /proc/partitions that show them as disks. It needs user 0 of the machine itself,
// so it cannot live in the test kit's machine.

#include "sysinfo/LinuxSystemInformation.h"
#include "tests/support/SystemFailure.h"
#include "tests/sysinfo/LoopDevice.h"

#include <gtest/gtest.h>

#include <boost/filesystem.hpp>

#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <set>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

namespace fs = std::filesystem;
using sysinfo::LinuxSystemInformation;
using sysinfo::SystemInformation;

namespace {

constexpr uint64_t SIZE = 16 * 1024 * 1024;

std::unique_ptr<LoopDevice> small; // Sectors of 512 bytes.
std::unique_ptr<LoopDevice> large; // Of 4,096.

/** The disks of the machine's own volumes, by path, as they were found before /dev was replaced. */
std::vector<std::pair<std::string, std::set<std::string>>> volumes;

std::string text(dovrel::string const& value)
{
    return static_cast<char const*>(value);
}

/** @return the figure of the kernel's own table. */
uint64_t blocksOf(std::string const& name)
{
    std::ifstream table("/proc/partitions");
    std::string line;
    std::getline(table, line);
    std::string major;
    std::string minor;
    std::string found;
    for (uint64_t blocks = 0; table >> major >> minor >> blocks >> found;)
        if (found == name)
            return blocks;
    return 0;
}

void makeDevices()
{
    small = std::make_unique<LoopDevice>(SIZE, 512);
    large = std::make_unique<LoopDevice>(SIZE, 4096);
}

/** Gives this process a /dev with nothing but the two, by names that do not end in a digit, and a
 * table that lists them with the kernel's figures. */
void showDevices()
{
    std::string const table = "major minor  #blocks  name\n\n   7 0 "
        + std::to_string(blocksOf(small->name())) + " loopa\n   7 1 1 loopa1\n   7 2 "
        + std::to_string(blocksOf(large->name())) + " loopb\n   7 0 7 loop0\n";
    if (::unshare(CLONE_NEWNS) != 0)
        testkit::fail("unshare", "mount namespace");
    if (::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0
        || ::mount("loop-devices-test", "/dev", "tmpfs", 0, "mode=0755") != 0)
        testkit::fail("mount", "/dev");
    small->makeNode("/dev/loopa");
    large->makeNode("/dev/loopb");
    fs::create_directories("/dev/disk/by-id");
    fs::create_symlink("../../loopb", "/dev/disk/by-id/virtio-LARGE_SECTORS");
    std::ofstream("/dev/table") << table;
    if (::mount("/dev/table", "/proc/partitions", nullptr, MS_BIND, nullptr) != 0)
        testkit::fail("mount", "/proc/partitions");
}

/** Looks at the real /dev/mapper, which is only read. */
void findVolumes()
{
    std::error_code none;
    for (auto const& entry : fs::directory_iterator("/dev/mapper", none)) {
        fs::path const node = fs::canonical(entry.path(), none);
        if (node.string().rfind("/dev/dm-", 0) == 0)
            volumes.emplace_back(
                entry.path().string(), sysinfo::getRootDevices(node.string().c_str()));
    }
    if (volumes.empty())
        std::puts("note: no logical volumes here; the tests' own pvdisplay speaks for them");
}

/** @return whether the device carries a filesystem now, mounted on /dev/data. */
bool mountFilesystem()
{
    fs::create_directories("/dev/data");
    return std::system("PATH=/sbin:/usr/sbin:/bin:/usr/bin mke2fs -q -F -b 4096 /dev/loopb "
                       ">/dev/mke2fs.log 2>&1")
        == 0
        && ::mount("/dev/loopb", "/dev/data", "ext4", 0, nullptr) == 0;
}

}

TEST(LoopDevices, ofSmallSectorsHaveHalfTheirSizeKept)
{
    uint64_t const blocks = blocksOf("loopa");
    EXPECT_EQ(blocks * 1024, small->bytes());
    LinuxSystemInformation::LinuxPhysicalDiskInfo const disk(L"loopa", blocks, 0);
    EXPECT_EQ(disk.getDiskTotalSizeInBytes(), SIZE / 2);
}

TEST(LoopDevices, ofLargeSectorsHaveFourTimesTheirSizeKept)
{
    uint64_t const blocks = blocksOf("loopb");
    EXPECT_EQ(blocks * 1024, large->bytes());
    LinuxSystemInformation::LinuxPhysicalDiskInfo const disk(L"loopb", blocks, 0);
    EXPECT_EQ(disk.getDiskTotalSizeInBytes(), SIZE * 4);
}

TEST(LoopDevices, areListedAsDisksThatHangOnNoBus)
{
    std::vector<dovrel::value_ptr<SystemInformation::PhysicalDiskInfo>> disks;
    ASSERT_TRUE(LinuxSystemInformation().getPhysicalDisksInternal(disks));
    ASSERT_EQ(disks.size(), 2U);
    EXPECT_EQ(text(disks[0]->toString()), "loopa () 8388608 bytes in  1 partitions ");
    EXPECT_EQ(text(disks[1]->toString()), "loopb (LARGE_SECTORS) 67108864 bytes in  0 partitions ");
}

TEST(LoopDevices, areFoundBeneathARealMount)
{
    if (!mountFilesystem()) {
        std::puts("note: no filesystem can be made or mounted; answered calls speak for it");
        return;
    }
    std::vector<dovrel::value_ptr<SystemInformation::DiskInfo>> disks;
    EXPECT_TRUE(LinuxSystemInformation().getDisksInternal(disks));
    struct statvfs status { };
    EXPECT_EQ(::statvfs("/dev/data", &status), 0);
    unsigned found = 0;
    for (auto const& disk : disks) {
        if (text(disk->getDiskName()) != "/dev/data")
            continue;
        ++found;
        ASSERT_EQ(disk->getParentDisks().size(), 1U);
        EXPECT_EQ(text(disk->getParentDisks()[0]->getDiskID()), "loopb");
        EXPECT_EQ(disk->getDiskSizeInBytes(), uint64_t{status.f_blocks} * status.f_bsize);
        EXPECT_EQ(disk->getDiskFreeInBytes(), uint64_t{status.f_bfree} * status.f_bsize);
        EXPECT_GT(disk->getDiskFreeInBytes(), SIZE / 2);
    }
    EXPECT_EQ(found, 1U);
    EXPECT_EQ(::umount("/dev/data"), 0);
}

TEST(Volumes, ofThisMachineHaveNoDisksKept)
{
    // The tool's first field is never the path of a group, so no line of it counts.
    for (auto const& [path, disks] : volumes)
        EXPECT_TRUE(disks.empty()) << path;
}

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    findVolumes();
    try {
        makeDevices();
        showDevices();
        std::puts("note: real loop devices were made, with sectors of 512 and 4,096 bytes");
    } catch (std::system_error const& error) {
        std::printf(
            "note: no loop devices here (%s); answered calls speak for them\n", error.what());
        GTEST_FLAG_SET(filter, "Volumes.*");
    }
    int const result = RUN_ALL_TESTS();
    large.reset();
    small.reset();
    return result;
}
