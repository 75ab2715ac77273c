#include "sysinfo/LinuxSystemInformation.h"
#include "tests/support/CapturedTrace.h"
#include "tests/support/DescriptorGuard.h"
#include "tests/support/Machine.h"
#include "tests/support/narrow.h"
#include "tests/sysinfo/DiskCalls.h"
#include "tests/sysinfo/ReadCalls.h"
#include "tests/sysinfo/RemovedWorkingDirectory.h"

#include <gtest/gtest.h>

#include <boost/filesystem.hpp>

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>
#include <string>
#include <vector>

using sysinfo::LinuxSystemInformation;
using sysinfo::SystemInformation;
using testkit::CapturedTrace;
using testkit::machine;

namespace {

using Disks = std::vector<dovrel::value_ptr<SystemInformation::DiskInfo>>;

/** @return one line per mount, such as `/data: sda sdb`. */
std::string lines(Disks const& disks)
{
    std::string all;
    for (auto const& disk : disks) {
        all += narrow(disk->getDiskName()) + ':';
        for (auto const& parent : disk->getParentDisks())
            all += ' ' + narrow(parent->getDiskID());
        all += '\n';
    }
    return all;
}

class DisksQuery : public testing::Test {
protected:
    std::string query()
    {
        Disks disks;
        m_calls.forget();
        EXPECT_TRUE(LinuxSystemInformation().getDisksInternal(disks));
        return lines(disks);
    }

    /** Creates a file and a line of /proc/partitions for each device. */
    static void showDevices(std::initializer_list<char const*> names)
    {
        std::string table = "major minor  #blocks  name\n\n";
        for (char const* name : names) {
            machine.file(std::string("/dev/") + name, "");
            table += std::string("   8        0          2 ") + name + '\n';
        }
        machine.file("/proc/partitions", table);
    }

    testkit::DiskCalls m_calls;
};

}

TEST_F(DisksQuery, listsMountsWithTheirDisks)
{
    showDevices({"sda", "sda1", "sdb", "sdb1"});
    machine.file("/proc/mounts",
        "rootfs / rootfs rw 0 0\n/dev/sdb1 /data ext4 rw 0 0\n"
        "proc /proc proc rw 0 0\n/dev/sda1 / ext4 rw 0 0\n");
    EXPECT_EQ(query(), "/: sda\n/data: sdb\n");
}

TEST_F(DisksQuery, sortsMountsByTheirBytes)
{
    showDevices({"sda", "sda1"});
    machine.file("/proc/mounts",
        "/dev/sda1 /b x\n/dev/sda1 /a/b x\n/dev/sda1 /a-b x\n"
        "/dev/sda1 /B x\n/dev/sda1 / x\n");
    EXPECT_EQ(query(), "/: sda\n/B: sda\n/a-b: sda\n/a/b: sda\n/b: sda\n");
}

TEST_F(DisksQuery, reportsTheLastDeviceOfAMountPoint)
{
    showDevices({"sda", "sda1", "sdb", "sdb1"});
    machine.file("/proc/mounts", "/dev/sda1 /mnt ext4 rw 0 0\n/dev/sdb1 /mnt ext4 rw 0 0\n");
    EXPECT_EQ(query(), "/mnt: sdb\n");
}

TEST_F(DisksQuery, endsAtABlankLineKept)
{
    showDevices({"sda", "sda1"});
    machine.file("/proc/mounts", "/dev/sda1 / ext4 rw 0 0\n\n/dev/sda1 /data ext4 rw 0 0\n");
    EXPECT_EQ(query(), "/: sda\n");
}

TEST_F(DisksQuery, reportsTheSizesOfEachFilesystem)
{
    showDevices({"sda", "sda1"});
    machine.file("/proc/mounts", "/dev/sda1 /boot ext4 rw 0 0\n/dev/sda1 /gone ext4 rw 0 0\n");
    m_calls.filesystem("/boot", testkit::filesystemOf(100, 80, 1000));
    Disks disks;
    ASSERT_TRUE(LinuxSystemInformation().getDisksInternal(disks));
    ASSERT_EQ(disks.size(), 2U);
    EXPECT_EQ(narrow(disks[0]->toString()), "/boot 80000/100000 across 1 disks");
    EXPECT_EQ(narrow(disks[1]->toString()), "/gone 0/0 across 1 disks");
}

TEST_F(DisksQuery, callsStatvfsOnlyForListedMounts)
{
    // A hung file server would block the caller.
    showDevices({"sda", "sda1"});
    machine.file("/proc/mounts",
        "nas:/export /nas nfs rw 0 0\nsystemd-1 /auto autofs rw 0 0\n"
        "/dev/sda1 / ext4 rw 0 0\n");
    query();
    EXPECT_EQ(m_calls.statvfsPaths(), std::vector<std::string>{"/"});
}

TEST_F(DisksQuery, keepsTheKernelsEscapesInNamesKept)
{
    showDevices({"sda", "sda1"});
    machine.folder("/my disk");
    machine.file("/proc/mounts", "/dev/sda1 /my\\040disk ext4 rw 0 0\n");
    EXPECT_EQ(query(), "/my\\040disk: sda\n");
    EXPECT_EQ(m_calls.statvfsPaths(), std::vector<std::string>{"/my\\040disk"});
}

TEST_F(DisksQuery, appendsToTheCallersList)
{
    showDevices({"sda", "sda1"});
    machine.file("/proc/mounts", "/dev/sda1 / ext4 rw 0 0\n");
    Disks disks;
    LinuxSystemInformation const information;
    ASSERT_TRUE(information.getDisksInternal(disks));
    ASSERT_TRUE(information.getDisksInternal(disks));
    EXPECT_EQ(lines(disks), "/: sda\n/: sda\n");
}

TEST_F(DisksQuery, returnsFalseAndKeepsTheListWithoutTheMountTable)
{
    showDevices({"sda"});
    Disks disks(1);
    CapturedTrace trace;
    EXPECT_FALSE(LinuxSystemInformation().getDisksInternal(disks));
    EXPECT_EQ(disks.size(), 1U);
    ASSERT_EQ(trace.lines().size(), 1U) << "the query also looked at the disks";
    EXPECT_EQ(trace.text(1), "Failed to open /proc/mounts\n");
    EXPECT_EQ(trace.lines()[0].scope.rfind(
                  "virtual bool sysinfo::UNIXSystemInformation::getDisksInternal(std::vector<", 0),
        0U)
        << trace.lines()[0];
}

TEST_F(DisksQuery, returnsFalseWhenTheMountTableIsUnreadable)
{
    showDevices({"sda"});
    machine.file("/proc/mounts", "");
    ASSERT_EQ(::chmod("/proc/mounts", 0), 0);
    Disks disks;
    EXPECT_FALSE(LinuxSystemInformation().getDisksInternal(disks));
}

TEST_F(DisksQuery, returnsFalseAndKeepsTheListWithoutThePartitionTable)
{
    machine.file("/dev/sda1", "");
    machine.file("/proc/mounts", "/dev/sda1 / ext4 rw 0 0\n");
    Disks disks(1);
    CapturedTrace trace;
    EXPECT_FALSE(LinuxSystemInformation().getDisksInternal(disks));
    EXPECT_EQ(disks.size(), 1U);
    ASSERT_EQ(trace.lines().size(), 1U);
    EXPECT_EQ(trace.text(1), "Failed to open: /proc/partitions\n");
    EXPECT_TRUE(m_calls.statvfsPaths().empty());
}

TEST_F(DisksQuery, callsTheVirtualPhysicalDisksQuery)
{
    struct TwoDisks : LinuxSystemInformation {
        bool getPhysicalDisksInternal(
            std::vector<dovrel::value_ptr<PhysicalDiskInfo>>& disks) const override
        {
            disks.emplace_back(new LinuxPhysicalDiskInfo(L"sdb", 1, 0));
            disks.emplace_back(new LinuxPhysicalDiskInfo(L"sda", 2, 0));
            disks.emplace_back(new LinuxPhysicalDiskInfo(L"sdb", 3, 0));
            return true;
        }
    };
    machine.file("/dev/sdb7", "");
    machine.file("/proc/mounts", "/dev/sdb7 / ext4 rw 0 0\n");
    Disks disks;
    EXPECT_TRUE(TwoDisks().getDisksInternal(disks));
    EXPECT_EQ(lines(disks), "/: sdb sdb\n");
}

TEST_F(DisksQuery, skipsNullPhysicalDisks)
{
    struct WithNulls : LinuxSystemInformation {
        bool getPhysicalDisksInternal(
            std::vector<dovrel::value_ptr<PhysicalDiskInfo>>& disks) const override
        {
            disks.resize(1);
            disks.emplace_back(new LinuxPhysicalDiskInfo(L"sda", 1, 0));
            disks.resize(3);
            return true;
        }
    };
    machine.file("/dev/sda1", "");
    machine.file("/proc/mounts", "/dev/sda1 / ext4 rw 0 0\n");
    Disks disks;
    EXPECT_TRUE(WithNulls().getDisksInternal(disks));
    EXPECT_EQ(lines(disks), "/: sda\n");
}

TEST_F(DisksQuery, resolvesTheDeviceAgainForEachMount)
{
    showDevices({"sda", "sda1", "sdb", "sdb1", "dm-0"});
    machine.link("/dev/root", "sda1");
    machine.link("/dev/mapper/vg-root", "../dm-0");
    machine.file("/proc/mounts",
        "/dev/root /1 ext4 rw 0 0\n/dev/mapper/vg-root /2 ext4 rw 0 0\n"
        "/dev/root /3 ext4 rw 0 0\n");
    machine.tool("/sbin/pvdisplay", "ln -sfn sdb1 /dev/root");
    EXPECT_EQ(query(), "/1: sda\n/2:\n/3: sdb\n");
}

TEST_F(DisksQuery, needsNoWorkingDirectory)
{
    showDevices({"sda:", "sda1", "dm-0"});
    machine.link("/dev/mapper/vg-root", "../dm-0");
    machine.file(
        "/proc/mounts", "/dev/mapper/vg-root / ext4 rw 0 0\n/dev/sda1 /data ext4 rw 0 0\n");
    machine.tool("/sbin/pvdisplay", "echo /dev/mapper/vg:/dev/sda:");
    testkit::RemovedWorkingDirectory const gone;
    EXPECT_EQ(query(), "/: sda:\n/data:\n");
}

TEST_F(DisksQuery, returnsAnEmptyListWithoutMounts)
{
    showDevices({"sda"});
    machine.file("/proc/mounts", "");
    EXPECT_EQ(query(), "");
}

TEST_F(DisksQuery, listsAMountOfAMissingDeviceWithoutDisks)
{
    showDevices({"sda"});
    machine.file("/proc/mounts", "/dev/root / ext4 rw 0 0\n/dev/sda\\040x /x ext4 rw 0 0\n");
    CapturedTrace trace;
    EXPECT_EQ(query(), "/:\n/x:\n");
    EXPECT_EQ(trace.text(2),
        "Don't know what to do with device: /dev/root\n"
        "Don't know what to do with device: /dev/sda\\040x\n");
    EXPECT_EQ(trace.text(1), "");
}

TEST_F(DisksQuery, listsAMountOfADeviceInASubfolderWithoutDisks)
{
    showDevices({"sda", "cciss/c0d0p1"});
    machine.file("/proc/mounts", "/dev/cciss/c0d0p1 / ext3 rw 0 0\n");
    CapturedTrace trace;
    EXPECT_EQ(query(), "/:\n");
    EXPECT_EQ(trace.text(2), "Don't know what to do with device: /dev/cciss/c0d0p1\n");
}

TEST_F(DisksQuery, findsNoDiskForNvmePartitionsKept)
{
    showDevices({"nvme0n1", "nvme0n1p1", "sda"});
    machine.file("/proc/mounts", "/dev/nvme0n1p1 / ext4 rw 0 0\n");
    EXPECT_EQ(query(), "/:\n");
}

TEST_F(DisksQuery, followsLinksToTheDevice)
{
    showDevices({"sda", "sda1"});
    machine.link("/dev/disk/by-uuid/1234", "../../sda1");
    machine.link("/dev/root", "sda1");
    machine.file("/proc/mounts",
        "/dev/disk/by-uuid/1234 / ext4 rw 0 0\n/dev/root /r ext4 rw 0 0\n"
        "/dev/./mapper/../sda1 /s ext4 rw 0 0\n");
    machine.folder("/dev/mapper");
    EXPECT_EQ(query(), "/: sda\n/r: sda\n/s: sda\n");
}

TEST_F(DisksQuery, omitsUsbDisks)
{
    showDevices({"sda", "sda1", "sdb", "sdb1"});
    m_calls.bus("/dev/sdb", 4);
    machine.folder("/proc/scsi/usb-storage/4");
    machine.file("/proc/mounts", "/dev/sdb1 /stick vfat rw 0 0\n/dev/sda1 / ext4 rw 0 0\n");
    EXPECT_EQ(query(), "/: sda\n/stick:\n");
}

TEST_F(DisksQuery, listsTheDisksOfALogicalVolumeInPhysicalDiskOrder)
{
    // The query passes on the tool's second field with its colon.
    showDevices({"sdb:", "sda2:", "sdc:", "dm-0"});
    machine.link("/dev/mapper/vg-root", "../dm-0");
    machine.file("/proc/mounts", "/dev/mapper/vg-root / ext4 rw 0 0\n");
    machine.tool(
        "/sbin/pvdisplay", "echo /dev/mapper/vg:/dev/sda2:x\necho /dev/mapper/vg:/dev/sdb:x");
    EXPECT_EQ(query(), "/: sdb: sda2:\n");
}

TEST_F(DisksQuery, findsNoDiskInRealPvdisplayOutputKept)
{
    showDevices({"sda", "sda2", "dm-0"});
    machine.link("/dev/mapper/vg-root", "../dm-0");
    machine.file("/proc/mounts", "/dev/mapper/vg-root / ext4 rw 0 0\n");
    machine.tool("/sbin/pvdisplay", "echo '  /dev/sda2:vg:974716928:-1:8:8:-1:4096:118984'");
    EXPECT_EQ(query(), "/:\n");
}

TEST_F(DisksQuery, throwsWhenDevMapperCannotBeRead)
{
    testkit::DescriptorGuard const guard;
    showDevices({"sda", "dm-0"});
    machine.file("/proc/mounts", "/dev/dm-0 / ext4 rw 0 0\n");
    for (unsigned i = 0; i < 10'000; ++i) {
        if (i == 5'000)
            machine.link("/dev/mapper/gone", "../dm-9"); // From here on a link dangles.
        Disks disks;
        m_calls.forget();
        ASSERT_THROW(
            LinuxSystemInformation().getDisksInternal(disks), boost::filesystem::filesystem_error);
    }
}

TEST_F(DisksQuery, listsAMountWithNamesLongerThanPathMax)
{
    showDevices({"sda", "sda1"});
    std::string const point = '/' + std::string(15'395, 'p');
    std::string const device = "/dev/" + std::string(15'395, 'd');
    machine.file(
        "/proc/mounts", "/dev/sda1 " + point + " ext4 rw 0 0\n" + device + " /x ext4 rw 0 0\n");
    EXPECT_EQ(query(), point + ": sda\n/x:\n");
}

TEST_F(DisksQuery, doesNotBlockOnFifosWithoutAWriter)
{
    showDevices({"sda"});
    machine.remove("/proc/partitions");
    ASSERT_EQ(::mkfifo("/proc/partitions", 0644), 0);
    machine.file("/proc/mounts", "/dev/sda1 / ext4 rw 0 0\n");
    EXPECT_EQ(query(), "/:\n");
    machine.remove("/proc/mounts");
    ASSERT_EQ(::mkfifo("/proc/mounts", 0644), 0);
    EXPECT_EQ(query(), "");
}

TEST_F(DisksQuery, acceptsReadsOfSingleBytesBetweenSignals)
{
    showDevices({"sda", "sda1"});
    machine.file("/proc/mounts", "/dev/sda1 / ext4 rw 0 0\n/dev/sda1 /data ext4 rw 0 0\n");
    testkit::ReadCalls reads("/proc/mounts");
    reads.giveSingleBytesBetweenSignals();
    EXPECT_EQ(query(), "/: sda\n/data: sda\n");
    EXPECT_GE(reads.failures(), 50U) << "too few reads were interrupted";
}

TEST_F(DisksQuery, listsMountsReadBeforeAnError)
{
    showDevices({"sda", "sda1"});
    std::string const first = "/dev/sda1 / ext4 rw 0 0\n";
    machine.file("/proc/mounts", first + "/dev/sda1 /data ext4 rw 0 0\n");
    testkit::ReadCalls reads("/proc/mounts");
    reads.failBehind(first.size(), EIO);
    EXPECT_EQ(query(), "/: sda\n");
    EXPECT_GE(reads.failures(), 1U);
}

TEST_F(DisksQuery, opensEveryFileCloseOnExecAndNotAsATerminal)
{
    showDevices({"sda", "sda1"});
    machine.file("/proc/mounts", "/dev/sda1 / ext4 rw 0 0\n");
    query();
    EXPECT_EQ(m_calls.opened().size(), 4U);
    for (auto const& [path, flags] : m_calls.opened()) {
        EXPECT_NE(flags & O_NOCTTY, 0) << path;
        EXPECT_NE(flags & O_CLOEXEC, 0) << path;
    }
}

TEST_F(DisksQuery, passesNoDescriptorsToPvdisplay)
{
    // The real tool warns about each inherited descriptor.
    showDevices({"sda", "dm-0"});
    machine.link("/dev/mapper/vg-root", "../dm-0");
    machine.file("/proc/mounts", "/dev/mapper/vg-root / ext4 rw 0 0\n");
    machine.tool("/sbin/pvdisplay",
        "for fd in 3 4 5 6 7 8 9; do (eval \": <&$fd\") 2>/dev/null && echo $fd >>/tmp/open\n"
        "done; echo ran >>/tmp/open");
    ASSERT_EQ(std::system("pvdisplay"), 0);
    std::string const inherited = testkit::contentsOf("/tmp/open");
    machine.remove("/tmp/open");
    query();
    EXPECT_EQ(testkit::contentsOf("/tmp/open"), inherited);
}

TEST_F(DisksQuery, listsTenThousandMounts)
{
    showDevices({"sda", "sda1"});
    std::string mounts;
    for (unsigned i = 0; i < 10'000; ++i)
        mounts += "/dev/sda1 /mnt/" + std::to_string(i) + " ext4 rw 0 0\n";
    machine.file("/proc/mounts", mounts);
    m_calls.forget();
    Disks disks;
    ASSERT_TRUE(LinuxSystemInformation().getDisksInternal(disks));
    ASSERT_EQ(disks.size(), 10'000U);
    EXPECT_EQ(narrow(disks[9'999]->getDiskName()), "/mnt/9999");
    EXPECT_EQ(disks[9'999]->getParentDisks().size(), 1U);
    // One statvfs(3) per mount; the disks are opened once.
    EXPECT_EQ(m_calls.statvfsPaths().size(), 10'000U);
    EXPECT_EQ(m_calls.opened().size(), 4U);
}

TEST_F(DisksQuery, leaksNoDescriptorInTenThousandCalls)
{
    showDevices({"sda", "sda1"});
    machine.file("/proc/mounts", "/dev/sda1 / ext4 rw 0 0\n");
    testkit::DescriptorGuard const guard;
    for (unsigned i = 0; i < 10'000; ++i)
        ASSERT_EQ(query(), "/: sda\n");
}

TEST_F(DisksQuery, leaksNoDescriptorOrChildInAHundredCallsWithPvdisplay)
{
    showDevices({"sda", "dm-0"});
    machine.link("/dev/mapper/vg-root", "../dm-0");
    machine.file("/proc/mounts", "/dev/mapper/vg-root / ext4 rw 0 0\n");
    machine.tool("/sbin/pvdisplay", "echo /dev/mapper/vg:/dev/sda:");
    testkit::DescriptorGuard const guard;
    for (unsigned i = 0; i < 100; ++i)
        ASSERT_EQ(query(), "/:\n");
    testkit::expectNoChildren();
}
