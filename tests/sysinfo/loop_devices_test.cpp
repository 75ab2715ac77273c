// Disks as the kernel really makes them: where this process may have loop devices, it brings two,
// and a /dev and a /proc/partitions that show them as disks; and where there is device-mapper, too,
// a logical volume on one of them. It needs user 0 of the machine itself, so it cannot live in the
// test kit's machine.

#include "sysinfo/LinuxSystemInformation.h"
#include "tests/support/SystemFailure.h"
#include "tests/sysinfo/LoopDevice.h"

#include <gtest/gtest.h>

#include <boost/filesystem.hpp>

#include <fcntl.h>
#include <sched.h>
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
#include <iterator>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

namespace fs = std::filesystem;
using sysinfo::LinuxSystemInformation;
using sysinfo::SystemInformation;

namespace {

constexpr uint64_t SIZE = uint64_t{16} * 1024 * 1024;

std::unique_ptr<LoopDevice> small; // Sectors of 512 bytes.
std::unique_ptr<LoopDevice> large; // Of 4,096.

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

/** Gives this process a /dev with no disks but the two, by names that do not end in a digit, and a
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

bool runs(std::string const& command)
{
    return std::system((command + " >/dev/null 2>&1").c_str()) == 0;
}

std::string contentsOf(char const* path)
{
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

/** @throws std::runtime_error with what the tool said. */
void run(std::string const& command)
{
    if (std::system(("{ " + command + "; } >/dev/tool.log 2>&1").c_str()) != 0)
        throw std::runtime_error(command + ": " + contentsOf("/dev/tool.log"));
}

/** Looks into the machine's own /dev. @return why there can be no logical volume, or nothing. */
std::string obstacleToVolumes()
{
    int const control = ::open("/dev/mapper/control", O_RDWR | O_CLOEXEC);
    int const code = errno;
    if (control >= 0)
        ::close(control);
    else if (code != EACCES && code != EPERM)
        return "there is no device-mapper";
    if (control < 0 || ::geteuid() != 0)
        return "only user 0 may use device-mapper";
    if (!runs("lvm version") || !runs("dmsetup --version"))
        return "the tools of LVM are missing";
    return {};
}

/** A real logical volume that takes up a disk, with the names that udev(7) would give it. Like the
 * loop devices it goes away with its last descriptor, however this process ends. */
class LogicalVolume : dovrel::noncopyable_::noncopyable {
public:
    /** Needs a /dev of this process's own. @throws std::exception */
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

/** Lets LVM see nothing but one disk, and neither ask nor wait for udev, which works on another
 * /dev than this process's. What pvdisplay tells goes into /dev/pvdisplay.log, too. */
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
    std::string const giveBack = "dmsetup remove --deferred " + m_group + "-all";
    run("lvcreate --yes --zero n --extents 100%FREE --name all " + m_group + " || { " + giveBack
        + "; false; }");
    m_device = ::open(path().c_str(), O_RDONLY | O_CLOEXEC);
    int const code = errno;
    run(giveBack); // From here on the kernel does it when nobody uses the volume any more.
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

/** @return whether the device carries a filesystem now, mounted on the folder; where not, a note
 * has been written. */
bool mountOrNote(std::string const& device, std::string const& folder)
{
    fs::create_directories(folder);
    if (std::system(("mke2fs -q -F -b 4096 " + device + " >/dev/mke2fs.log 2>&1").c_str()) == 0
        && ::mount(device.c_str(), folder.c_str(), "ext4", 0, nullptr) == 0)
        return true;
    std::puts("note: no filesystem can be made or mounted; answered calls speak for it");
    return false;
}

/** @return the disks beneath a mount, which the library lists once and with the kernel's figures.
 */
std::vector<std::string> disksBeneath(std::string const& folder)
{
    std::vector<dovrel::value_ptr<SystemInformation::DiskInfo>> mounts;
    EXPECT_TRUE(LinuxSystemInformation().getDisksInternal(mounts));
    struct statvfs status { };
    EXPECT_EQ(::statvfs(folder.c_str(), &status), 0);
    std::vector<std::string> disks;
    unsigned found = 0;
    for (auto const& mount : mounts) {
        if (text(mount->getDiskName()) != folder)
            continue;
        ++found;
        EXPECT_EQ(mount->getDiskSizeInBytes(), uint64_t{status.f_blocks} * status.f_bsize);
        EXPECT_EQ(mount->getDiskFreeInBytes(), uint64_t{status.f_bfree} * status.f_bsize);
        EXPECT_GT(mount->getDiskFreeInBytes(), SIZE / 2);
        for (auto const& disk : mount->getParentDisks())
            disks.push_back(text(disk->getDiskID()));
    }
    EXPECT_EQ(found, 1U);
    return disks;
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
    if (!mountOrNote("/dev/loopb", "/dev/data"))
        return;
    EXPECT_EQ(disksBeneath("/dev/data"), std::vector<std::string>{"loopb"});
    EXPECT_EQ(::umount("/dev/data"), 0);
}

TEST(LogicalVolume, hasNoDisksThoughTheToolTellsThemKept)
{
    LogicalVolume const volume("/dev/loopa");
    std::puts("note: a real logical volume was made, on a loop device");
    EXPECT_EQ(sysinfo::getRootDevices(volume.node().c_str()), std::set<std::string>{});
    std::string const told = contentsOf("/dev/pvdisplay.log");
    EXPECT_EQ(told.rfind("  /dev/loopa:" + volume.group() + ':', 0), 0U) << told;
    if (!mountOrNote(volume.path(), "/dev/volume"))
        return;
    EXPECT_EQ(disksBeneath("/dev/volume"), std::vector<std::string>{});
    EXPECT_EQ(contentsOf("/dev/pvdisplay.log"), told + told) << "the tool was asked again";
    EXPECT_EQ(::umount("/dev/volume"), 0);
}

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    if (GTEST_FLAG_GET(list_tests))
        return RUN_ALL_TESTS();
    ::setenv("PATH", "/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin", 1);
    std::string obstacle = obstacleToVolumes();
    try {
        makeDevices();
        showDevices();
        std::puts("note: real loop devices were made, with sectors of 512 and 4,096 bytes");
    } catch (std::system_error const& error) {
        std::printf(
            "note: no loop devices here (%s); answered calls speak for them\n", error.what());
        GTEST_FLAG_SET(filter, "-*");
        if (obstacle.empty())
            obstacle = "there is no loop device for it";
    }
    if (!obstacle.empty()) {
        std::printf("note: no logical volume here (%s); the tests' own pvdisplay speaks for it\n",
            obstacle.c_str());
        GTEST_FLAG_SET(filter, GTEST_FLAG_GET(filter) + ":-LogicalVolume.*");
    }
    int const result = RUN_ALL_TESTS();
    large.reset();
    small.reset();
    return result;
}
