// The parser alone, without a file.

#include "sysinfo/parsers/proc_mounts.h"
#include "tests/support/Machine.h"
#include "tests/sysinfo/PiecewiseBuffer.h"

#include <gtest/gtest.h>

#include <map>
#include <sstream>
#include <string>

using testkit::contentsOf;
using testkit::PiecewiseBuffer;

namespace {

using Mounts = std::map<std::string, std::string>;

Mounts readMountLines(std::string const& text)
{
    std::istringstream stream(text);
    return sysinfo::readMounts(stream);
}

/** @return whether the parser returns a mount of this device. */
bool isAccepted(std::string const& device)
{
    Mounts const mounts = readMountLines(device + " /mnt ext4 rw 0 0\n");
    EXPECT_LE(mounts.size(), 1U);
    return mounts == Mounts{{"/mnt", device}};
}

constexpr char MOUNT_LINES[] = "rootfs / rootfs rw 0 0\nproc /proc proc rw,nosuid 0 0\n"
                               "/dev/sdb1 /data ext4 rw,relatime 0 0\ntmpfs /run tmpfs rw 0 0\n"
                               "/dev/sda1 / ext4 rw,errors=remount-ro 0 0\n";

}

TEST(ProcMounts, returnsTheMountsOfBlockDevices)
{
    EXPECT_EQ(readMountLines(MOUNT_LINES), (Mounts{{"/", "/dev/sda1"}, {"/data", "/dev/sdb1"}}));
}

TEST(ProcMounts, readsTheSameInPiecesOfAnySize)
{
    for (size_t size = 1; size <= sizeof MOUNT_LINES; ++size) {
        PiecewiseBuffer buffer(MOUNT_LINES, size);
        std::istream stream(&buffer);
        EXPECT_EQ(sysinfo::readMounts(stream), (Mounts{{"/", "/dev/sda1"}, {"/data", "/dev/sdb1"}}))
            << size;
    }
}

TEST(ProcMounts, sortsMountPointsByTheirBytes)
{
    std::string order;
    for (auto const& mount :
        readMountLines("/dev/a /z x\n/dev/b /a\xc3\xa4 x\n/dev/c /a x\n/dev/d / x\n"
                       "/dev/e /B x\n/dev/f /a/b x\n/dev/g /a-b x\n"))
        order += mount.first + ' ';
    EXPECT_EQ(order, "/ /B /a /a-b /a/b /a\xc3\xa4 /z ");
}

TEST(ProcMounts, returnsTheLastDeviceOfAMountPoint)
{
    EXPECT_EQ(readMountLines("/dev/sda1 /mnt ext4 rw 0 0\n/dev/sdb1 /mnt xfs rw 0 0\n"),
        (Mounts{{"/mnt", "/dev/sdb1"}}));
    // A mount of another kind does not replace it.
    EXPECT_EQ(readMountLines("/dev/sda1 /mnt ext4 rw 0 0\ntmpfs /mnt tmpfs rw 0 0\n"),
        (Mounts{{"/mnt", "/dev/sda1"}}));
}

TEST(ProcMounts, returnsEveryMountPointOfADevice)
{
    EXPECT_EQ(
        readMountLines("/dev/sda1 / btrfs subvol=/a 0 0\n/dev/sda1 /home btrfs subvol=/b 0 0\n"),
        (Mounts{{"/", "/dev/sda1"}, {"/home", "/dev/sda1"}}));
}

TEST(ProcMounts, stopsAtABlankLineKept)
{
    for (char const* blank : {"", " ", "\t \t", "\r", "\v\f"})
        EXPECT_EQ(readMountLines(std::string("/dev/sda1 / ext4 rw 0 0\n") + blank
                      + "\n/dev/sdb1 /data ext4 rw 0 0\n"),
            (Mounts{{"/", "/dev/sda1"}}));
    EXPECT_TRUE(readMountLines("\n/dev/sda1 / ext4 rw 0 0\n").empty());
}

TEST(ProcMounts, acceptsOnlyDevicesThatBeginWithDev)
{
    EXPECT_TRUE(isAccepted("/dev/sda1"));
    EXPECT_TRUE(isAccepted("/dev/mapper/vg-root"));
    EXPECT_TRUE(isAccepted("/dev/root"));
    EXPECT_TRUE(isAccepted("/dev/"));
    for (char const* other : {"/dev", "dev/sda1", "rootfs", "//dev/sda1", "x/dev/sda1", "/Dev/sda1",
             "/devices/sda1", "host:/dev/sda1", "//server/dev/x", "1234567/dev/sda1"})
        EXPECT_FALSE(isAccepted(other)) << other;
}

TEST(ProcMounts, ignoresADeviceWithASecondDevWithinEightBytesKept)
{
    EXPECT_FALSE(isAccepted("/dev//dev/x"));
    EXPECT_FALSE(isAccepted("/dev/a/dev/x"));
    EXPECT_FALSE(isAccepted("/dev/ab/dev/x"));
    EXPECT_TRUE(isAccepted("/dev/abc/dev/x"));
    EXPECT_TRUE(isAccepted("/dev/abcd/dev/x"));
}

TEST(ProcMounts, keepsTheKernelsEscapes)
{
    EXPECT_EQ(readMountLines("/dev/sda1 /mnt/my\\040disk\\011\\012\\134 vfat rw 0 0\n"
                             "/dev/a\\040b /mnt/x\\040(deleted) ext4 rw 0 0\n"),
        (Mounts{{"/mnt/my\\040disk\\011\\012\\134", "/dev/sda1"},
            {"/mnt/x\\040(deleted)", "/dev/a\\040b"}}));
    EXPECT_EQ(
        readMountLines("/dev/a\\043b /mnt ext4 rw 0 0\n"), (Mounts{{"/mnt", "/dev/a\\043b"}}));
}

TEST(ProcMounts, readsTwoWordsBetweenAnyBlanks)
{
    EXPECT_EQ(readMountLines(" \t/dev/sda1\t \v/mnt\fext4\n/dev/sdb1 /data\r\n/dev/sdc1 /c"),
        (Mounts{{"/mnt", "/dev/sda1"}, {"/data", "/dev/sdb1"}, {"/c", "/dev/sdc1"}}));
    EXPECT_EQ(readMountLines("/dev/sda1 /mnt ext4 rw,comment=\"/dev/sdb1 /data\" 0 0\n"),
        (Mounts{{"/mnt", "/dev/sda1"}}));
}

TEST(ProcMounts, acceptsALineThatEndsAfterTheDevice)
{
    EXPECT_EQ(readMountLines("/dev/sda1 / ext4 rw 0 0\n/dev/sdb1"),
        (Mounts{{"", "/dev/sdb1"}, {"/", "/dev/sda1"}}));
    EXPECT_EQ(readMountLines("/dev/sda1 / ext4 rw 0 0\n/de"), (Mounts{{"/", "/dev/sda1"}}));
}

TEST(ProcMounts, readsLinesOfAnyLength)
{
    std::string const options(1024 * 1024, 'o');
    std::string const point = '/' + std::string(100'000, 'p');
    EXPECT_EQ(readMountLines("overlay /run overlay " + options + "\n/dev/sda1 " + point + ' '
                  + options + '\n'),
        (Mounts{{point, "/dev/sda1"}}));
    EXPECT_TRUE(readMountLines(options).empty());
}

TEST(ProcMounts, readsTenThousandMounts)
{
    std::string text;
    for (unsigned i = 0; i < 10'000; ++i)
        text += "/dev/sd" + std::to_string(i) + " /mnt/" + std::to_string(i) + " ext4 rw 0 0\n";
    Mounts const mounts = readMountLines(text);
    EXPECT_EQ(mounts.size(), 10'000U);
    EXPECT_EQ(mounts.at("/mnt/9999"), "/dev/sd9999");
}

TEST(ProcMounts, acceptsBytesThatAreNotText)
{
    std::string const zero("/m\0x", 4);
    EXPECT_EQ(readMountLines("/dev/\xff\xfe /\x80 ext4\n/dev/sda1 " + zero + " ext4\n"),
        (Mounts{{"/\x80", "/dev/\xff\xfe"}, {zero, "/dev/sda1"}}));
    EXPECT_TRUE(readMountLines(std::string(100, '\0')).empty());
}

TEST(ProcMounts, findsNothingInAnEmptyText)
{
    EXPECT_TRUE(readMountLines("").empty());
    EXPECT_TRUE(readMountLines("\n\n").empty());
}

TEST(ProcMounts, returnsTheMountsReadBeforeTheStreamThrows)
{
    PiecewiseBuffer buffer(
        "/dev/sda1 / ext4 rw 0 0\n/dev/sdb1 /data ext4 rw 0 0\n", 24, PiecewiseBuffer::THROWS);
    std::istream stream(&buffer);
    EXPECT_EQ(sysinfo::readMounts(stream), (Mounts{{"/", "/dev/sda1"}, {"/data", "/dev/sdb1"}}));
}

TEST(ProcMounts, findsNothingInAStreamThatHasFailed)
{
    std::istringstream stream(MOUNT_LINES);
    stream.setstate(std::ios_base::failbit);
    EXPECT_TRUE(sysinfo::readMounts(stream).empty());
}

TEST(ProcMounts, readsTheRecordedFiles)
{
    std::string const folder = "/testkit/recorded/proc-mounts/";
    EXPECT_EQ(readMountLines(contentsOf(folder + "fake-good.txt")),
        (Mounts{{"/", "/dev/mapper/vg-root"}, {"/boot", "/dev/sda1"}, {"/data", "/dev/sdb1"}}));
    EXPECT_EQ(readMountLines(contentsOf(folder + "fake-odd.txt")),
        (Mounts{{"/", "/dev/root"}, {"/a-b", "/dev/nvme0n1p2"}, {"/a/b", "/dev/cciss/c0d0p1"},
            {"/mnt/my\\040disk", "/dev/sdc1"}, {"/srv", "/dev/sdb2"}}));
    EXPECT_EQ(readMountLines(contentsOf(folder + "fake-broken.txt")),
        (Mounts{{"/", "/dev/sda1"}, {"/da", "/dev/sdb1"}}));
}
