// Real disks: two loop devices, with a private /dev and a /proc/partitions that list them as disks,
// and a logical volume on one of them. They need user 0 of the real machine, so the tests do not
// run on the fake one.

#include "sysinfo/LinuxSystemInformation.h"
#include "tests/support/SystemFailure.h"
#include "tests/support/commands.h"
#include "tests/support/narrow.h"
#include "tests/support/system_path.h"
#include "tests/support/text.h"
#include "tests/support/user_namespace.h"
#include "tests/sysinfo/LoopDevice.h"

#include <gtest/gtest.h>

#include <boost/filesystem.hpp>

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

namespace fs = std::filesystem;
using sysinfo::LinuxSystemInformation;
using sysinfo::SystemInformation;
using testkit::contentsOf;

namespace {

constexpr uint64_t SIZE = uint64_t{16} * 1024 * 1024;

std::unique_ptr<LoopDevice> small; // Has sectors of 512 bytes.
std::unique_ptr<LoopDevice> large; // Has sectors of 4,096 bytes.

/** @return the disk's number of blocks in /proc/partitions; 0 when it is not listed. */
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

/** Gives this process a private /dev and a private /proc/partitions. They have only the two disks,
 * by names that do not end in a digit, and the kernel's numbers of blocks. */
void mountPrivateDev()
{
    std::string const table = "major minor  #blocks  name\n\n   7 0 "
        + std::to_string(blocksOf(small->name())) + " loopa\n   7 1 1 loopa1\n   7 2 "
        + std::to_string(blocksOf(large->name())) + " loopb\n   7 0 7 loop0\n";
    testkit::enterNamespaces(CLONE_NEWNS);
    if (::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0
        || ::mount("loop-devices-test", "/dev", "tmpfs", 0, "mode=0755") != 0)
        testkit::fail("mount", "/dev");
    if (::mknod("/dev/null", S_IFCHR | 0666, makedev(1, 3)) != 0
        || ::mknod("/dev/urandom", S_IFCHR | 0444, makedev(1, 9)) != 0)
        testkit::fail("mknod", "/dev/null");
    small->makeNode("/dev/loopa");
    large->makeNode("/dev/loopb");
    fs::create_directories("/dev/disk/by-id");
    fs::create_symlink("../../loopb", "/dev/disk/by-id/virtio-LARGE_SECTORS");
    std::ofstream("/dev/table") << table;
    if (::mount("/dev/table", "/proc/partitions", nullptr, MS_BIND, nullptr) != 0)
        testkit::fail("mount", "/proc/partitions");
}

/** @throws std::runtime_error with the output of a command that fails. */
void run(std::string const& command)
{
    if (std::system(("{ " + command + "; } >/dev/tool.log 2>&1").c_str()) != 0)
        throw std::runtime_error(command + ": " + contentsOf("/dev/tool.log"));
}

/** Reads the real /dev. @return why no logical volume can be made; else an empty string. */
std::string whatVolumesLack()
{
    int const control = ::open("/dev/mapper/control", O_RDWR | O_CLOEXEC);
    int const code = errno;
    if (control >= 0)
        ::close(control);
    else if (code != EACCES && code != EPERM)
        return "this machine has no device-mapper";
    if (control < 0 || ::geteuid() != 0)
        return "this machine has no device-mapper for this user";
    if (!testkit::runs("lvm version") || !testkit::runs("dmsetup --version"))
        return "this machine has no LVM tools";
    return {};
}

/** A real logical volume that fills a disk, with the names that udev(7) gives it. Like a loop
 * device it is removed when its last descriptor is closed, however this process ends. */
class LogicalVolume : dovrel::noncopyable_::noncopyable {
public:
    /** Needs a private /dev. @throws std::exception */
    explicit LogicalVolume(std::string const& disk);
    ~LogicalVolume() { ::close(m_device); }

    std::string const& group() const { return m_group; }
    std::string path() const { return "/dev/mapper/" + m_group + "-all"; }
    std::string const& node() const { return m_node; }

private:
    std::string m_group = "dovrel" + std::to_string(::getpid());
    std::string m_node; // "/dev/dm-0"
    int m_device = -1;
};

/** Makes LVM use only one disk, and not udev, which works on the real /dev. Copies the output of
 * pvdisplay to /dev/pvdisplay.log. */
void confineVolumeTools(std::string const& disk)
{
    std::string const onlyDisk = "[ \"a|^" + disk + "$|\", \"r|.*|\" ]\n";
    fs::create_directories("/dev/lvm");
    std::ofstream("/dev/lvm/lvm.conf")
        << R"(devices/dir = "/dev"
devices/scan = [ "/dev" ]
devices/use_devicesfile = 0
devices/hints = "none"
devices/obtain_device_list_from_udev = 0
devices/external_device_info_source = "none"
global/locking_dir = "/dev/lvm"
activation/monitoring = 0
activation/udev_sync = 0
activation/udev_rules = 0
backup/backup = 0
backup/archive = 0
)"
        << "devices/filter = " << onlyDisk << "devices/global_filter = " << onlyDisk;
    ::setenv("LVM_SYSTEM_DIR", "/dev/lvm", 1);
    ::setenv("DM_DISABLE_UDEV", "1", 1);
    fs::create_directories("/dev/tools");
    std::ofstream("/dev/tools/pvdisplay")
        << "#!/bin/sh\nPATH=${PATH#/dev/tools:}\npvdisplay \"$@\" | tee -a /dev/pvdisplay.log\n";
    fs::permissions("/dev/tools/pvdisplay", fs::perms::owner_all);
    ::setenv("PATH", (std::string("/dev/tools:") + std::getenv("PATH")).c_str(), 1);
}

LogicalVolume::LogicalVolume(std::string const& disk)
{
    confineVolumeTools(disk);
    run("pvcreate --yes " + disk);
    run("vgcreate --yes " + m_group + ' ' + disk);
    std::string const removeLater = "dmsetup remove --deferred " + m_group + "-all";
    run("lvcreate --yes --zero n --extents 100%FREE --name all " + m_group + " || { " + removeLater
        + "; false; }");
    m_device = ::open(path().c_str(), O_RDONLY | O_CLOEXEC);
    int const code = errno;
    run(removeLater); // The kernel removes the volume once it is not in use.
    struct stat status { };
    if (m_device < 0 || ::fstat(m_device, &status) != 0)
        throw std::system_error(code, std::generic_category(), path());
    std::string const name = "dm-" + std::to_string(minor(status.st_rdev));
    m_node = "/dev/" + name;
    if (::mknod(m_node.c_str(), S_IFBLK | 0600, status.st_rdev) != 0)
        testkit::fail("mknod", m_node);
    fs::remove(path());
    fs::create_symlink("../" + name, path());
}

/** Makes a filesystem on the device and mounts it on the folder. @return whether it could. */
bool formatAndMount(std::string const& device, std::string const& folder)
{
    fs::create_directories(folder);
    return testkit::runs("mke2fs -q -F -b 4096 " + device)
        && ::mount(device.c_str(), folder.c_str(), "ext4", 0, nullptr) == 0;
}

/** Expects the library to list the mount once, with the sizes of statvfs(3). @return its disks. */
std::vector<std::string> disksBeneath(std::string const& folder)
{
    std::vector<dovrel::value_ptr<SystemInformation::DiskInfo>> mounts;
    EXPECT_TRUE(LinuxSystemInformation().getDisksInternal(mounts));
    struct statvfs status { };
    EXPECT_EQ(::statvfs(folder.c_str(), &status), 0);
    std::vector<std::string> disks;
    unsigned found = 0;
    for (auto const& mount : mounts) {
        if (narrow(mount->getDiskName()) != folder)
            continue;
        ++found;
        EXPECT_EQ(mount->getDiskSizeInBytes(), uint64_t{status.f_blocks} * status.f_bsize);
        EXPECT_EQ(mount->getDiskFreeInBytes(), uint64_t{status.f_bfree} * status.f_bsize);
        EXPECT_GT(mount->getDiskFreeInBytes(), SIZE / 2);
        for (auto const& disk : mount->getParentDisks())
            disks.push_back(narrow(disk->getDiskID()));
    }
    EXPECT_EQ(found, 1U);
    return disks;
}

constexpr char NO_FILESYSTEM[] = "this machine has no ext4 filesystem to make and mount";

std::string missingLoopDevices; // Why there are none; empty when there are.
std::string missingVolumes;

class LoopDevices : public testing::Test {
protected:
    void SetUp() override
    {
        if (!missingLoopDevices.empty())
            GTEST_SKIP() << missingLoopDevices;
    }
};

}

TEST_F(LoopDevices, reportHalfTheirSizeWith512ByteSectorsKept)
{
    uint64_t const blocks = blocksOf("loopa");
    EXPECT_EQ(blocks * 1024, small->bytes());
    LinuxSystemInformation::LinuxPhysicalDiskInfo const disk(L"loopa", blocks, 0);
    EXPECT_EQ(disk.getDiskTotalSizeInBytes(), SIZE / 2);
}

TEST_F(LoopDevices, reportFourTimesTheirSizeWith4096ByteSectorsKept)
{
    uint64_t const blocks = blocksOf("loopb");
    EXPECT_EQ(blocks * 1024, large->bytes());
    LinuxSystemInformation::LinuxPhysicalDiskInfo const disk(L"loopb", blocks, 0);
    EXPECT_EQ(disk.getDiskTotalSizeInBytes(), SIZE * 4);
}

TEST_F(LoopDevices, areListedAsDisksWithoutAScsiBus)
{
    std::vector<dovrel::value_ptr<SystemInformation::PhysicalDiskInfo>> disks;
    ASSERT_TRUE(LinuxSystemInformation().getPhysicalDisksInternal(disks));
    ASSERT_EQ(disks.size(), 2U);
    EXPECT_EQ(narrow(disks[0]->toString()), "loopa () 8388608 bytes in  1 partitions ");
    EXPECT_EQ(
        narrow(disks[1]->toString()), "loopb (LARGE_SECTORS) 67108864 bytes in  0 partitions ");
}

TEST_F(LoopDevices, areTheParentDisksOfARealMount)
{
    if (!formatAndMount("/dev/loopb", "/dev/data"))
        GTEST_SKIP() << NO_FILESYSTEM;
    EXPECT_EQ(disksBeneath("/dev/data"), std::vector<std::string>{"loopb"});
    EXPECT_EQ(::umount("/dev/data"), 0);
}

TEST(LogicalVolume, hasNoDisksAlthoughPvdisplayReportsThemKept)
{
    if (!missingVolumes.empty())
        GTEST_SKIP() << missingVolumes;
    LogicalVolume const volume("/dev/loopa");
    EXPECT_EQ(sysinfo::getRootDevices(volume.node().c_str()), std::set<std::string>{});
    std::string const output = contentsOf("/dev/pvdisplay.log");
    EXPECT_EQ(output.rfind("  /dev/loopa:" + volume.group() + ':', 0), 0U) << output;
    if (!formatAndMount(volume.path(), "/dev/volume"))
        GTEST_SKIP() << NO_FILESYSTEM;
    EXPECT_EQ(disksBeneath("/dev/volume"), std::vector<std::string>{});
    EXPECT_EQ(contentsOf("/dev/pvdisplay.log"), output + output) << "pvdisplay did not run again";
    EXPECT_EQ(::umount("/dev/volume"), 0);
}

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    if (GTEST_FLAG_GET(list_tests))
        return RUN_ALL_TESTS();
    testkit::setSystemPath();
    missingVolumes = whatVolumesLack();
    try {
        makeDevices();
        mountPrivateDev();
    } catch (std::system_error const& error) {
        std::printf("no loop devices: %s\n", error.what());
        missingLoopDevices = "this machine has no loop devices for this user";
        if (missingVolumes.empty())
            missingVolumes = missingLoopDevices;
    }
    int const result = RUN_ALL_TESTS();
    large.reset();
    small.reset();
    return result;
}
