#include "app/read/mount_table.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using app::MountEntry;
using app::MountTable;
using app::parseMountInfo;
using app::parseMounts;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

void choose(MountTable& table)
{
    app::markHidden(table.entries);
    app::keepShown(table.entries);
}

/** "/a hidden by /b", "/a same as /b", in the order of the list. */
std::vector<std::string> relationsOf(std::string const& mountInfo)
{
    MountTable table = parseMountInfo(mountInfo);
    choose(table);
    std::vector<std::string> relations;
    for (MountEntry const& entry : table.entries) {
        app::Mount const& mount = entry.mount;
        std::string const hidden = mount.hiddenBy.empty() ? "" : " hidden by " + mount.hiddenBy;
        std::string const same = mount.sameAs.empty() ? "" : " same as " + mount.sameAs;
        relations.push_back(mount.mountPoint + hidden + same);
    }
    return relations;
}

std::vector<std::string> shownOf(MountTable table)
{
    choose(table);
    std::vector<std::string> places;
    for (MountEntry const& entry : table.entries)
        places.push_back(entry.mount.mountPoint);
    return places;
}

}

TEST(MountInfo, hasDevicePlaceTypeSourceAndMode)
{
    auto const table =
        parseMountInfo("36 35 98:0 /mnt1 /mnt2 rw,noatime master:1 shared:2 - ext3 /dev/sda1 rw\n");
    ASSERT_THAT(table.entries, SizeIs(1));
    EXPECT_EQ(table.entries[0].device, "98:0");
    EXPECT_EQ(table.entries[0].mount.mountPoint, "/mnt2");
    EXPECT_EQ(table.entries[0].mount.filesystem, "ext3");
    EXPECT_EQ(table.entries[0].mount.source, "/dev/sda1");
    EXPECT_FALSE(table.entries[0].mount.readOnly);
}

TEST(MountInfo, isReadWithoutOptionalFieldsAndWithoutOptionsOfTheFilesystem)
{
    EXPECT_THAT(parseMountInfo("36 35 8:1 / / rw - ext4 /dev/sda1\n").entries, SizeIs(1));
}

TEST(MountInfo, isReadOnlyAsAMountOrAsAFilesystem)
{
    auto const table = parseMountInfo("1 1 8:1 / /a ro,nosuid - ext4 /dev/sda1 rw\n"
                                      "2 1 8:1 / /b rw - ext4 /dev/sda1 ro\n"
                                      "3 1 8:1 / /c rw,root - ext4 /dev/sda1 rw,ro2\n");
    EXPECT_TRUE(table.entries.at(0).mount.readOnly);
    EXPECT_TRUE(table.entries.at(1).mount.readOnly);
    EXPECT_FALSE(table.entries.at(2).mount.readOnly);
}

TEST(MountInfo, decodesTheEscapesInNames)
{
    auto const table = parseMountInfo("1 1 0:9 / /my\\040disk rw - nfs4 nas:/a\\040b rw\n");
    EXPECT_EQ(table.entries.at(0).mount.mountPoint, "/my disk");
    EXPECT_EQ(table.entries.at(0).mount.source, "nas:/a b");
}

TEST(MountInfo, keepsTheControlCharactersThatTheKernelDoesNotEscape)
{
    auto const table = parseMountInfo("1 1 8:1 / /a\rb\vc rw - ext4 /dev/sda1 rw\n");
    ASSERT_THAT(table.entries, SizeIs(1));
    EXPECT_EQ(table.entries[0].mount.mountPoint, "/a\rb\vc");
}

TEST(MountInfo, hasAnEmptySource)
{
    auto const table = parseMountInfo("1 1 0:9 / /a rw - tmpfs  rw\n");
    ASSERT_THAT(table.entries, SizeIs(1));
    EXPECT_EQ(table.entries[0].mount.source, "");
}

TEST(MountInfo, countsTheLinesThatAreNone)
{
    auto const table =
        parseMountInfo("1 1 8:1 / / rw ext4 /dev/sda1 rw\n1 1 8:1 / - ext4 x y\n"
                       "1 1 8:1 / / rw - ext4\n1 1 8:1 / /ok rw - ext4 /dev/sda1 rw");
    EXPECT_EQ(table.leftOut, 3U);
    EXPECT_THAT(table.entries, SizeIs(1));
}

TEST(ProcMounts, hasSourcePlaceTypeAndMode)
{
    auto const table = parseMounts("/dev/hda1 /my\\040disk ext2 ro,noatime 0 0\nx\n");
    ASSERT_THAT(table.entries, SizeIs(1));
    EXPECT_EQ(table.entries[0].mount.source, "/dev/hda1");
    EXPECT_EQ(table.entries[0].mount.mountPoint, "/my disk");
    EXPECT_EQ(table.entries[0].mount.filesystem, "ext2");
    EXPECT_EQ(table.entries[0].device, "");
    EXPECT_TRUE(table.entries[0].mount.readOnly);
    EXPECT_EQ(table.leftOut, 1U);
}

TEST(ShownMounts, areThoseOfBlockDevicesAndOfTheNetwork)
{
    EXPECT_THAT(shownOf(parseMountInfo("1 1 0:5 / /proc rw - proc proc rw\n"
                                       "2 1 8:1 / / rw - ext4 /dev/sda1 rw\n"
                                       "3 1 0:9 / /run rw - tmpfs /dev/shm rw\n"
                                       "4 1 0:44 / /nas rw - nfs4 nas:/x rw\n"
                                       "5 1 0:45 / /ssh rw - fuse.sshfs me@host: rw\n"
                                       "6 1 8:17 / /usb rw - fuseblk /dev/sdb1 rw\n")),
        ElementsAre("/", "/nas", "/ssh", "/usb"));
}

TEST(ShownMounts, haveBtrfsThoughItsNumberIsOfNoDevice)
{
    EXPECT_THAT(
        shownOf(parseMountInfo("1 1 0:33 /@ / rw - btrfs /dev/sda2 rw\n")), ElementsAre("/"));
}

TEST(ShownMounts, haveTheNodesOfDevOnKernelsWithoutMountInfo)
{
    EXPECT_THAT(shownOf(parseMounts("rootfs / rootfs rw 0 0\n/dev/root / ext3 rw 0 0\n"
                                    "/dev/fuse /f fuse rw 0 0\nnone /p proc rw 0 0\n"
                                    "nas:/x /nas nfs rw 0 0\n")),
        ElementsAre("/", "/nas"));
}

TEST(ShownMounts, areInNaturalOrder)
{
    EXPECT_THAT(shownOf(parseMounts("/dev/a /d10 ext4 rw 0 0\n/dev/b /d9 ext4 rw 0 0\n")),
        ElementsAre("/d9", "/d10"));
    EXPECT_THAT(shownOf(parseMounts("")), IsEmpty());
}

TEST(ShownMounts, knowWhichLieOnTheNetwork)
{
    auto table = parseMounts("nas:/x /nas nfs rw 0 0\n/dev/a /z ext4 rw 0 0\n");
    choose(table);
    EXPECT_TRUE(table.entries.at(0).mount.network);
    EXPECT_FALSE(table.entries.at(1).mount.network);
}

TEST(HiddenMounts, areBelowALaterMountOnAFolderAbove)
{
    EXPECT_THAT(relationsOf("1 0 8:1 / / rw - ext4 /dev/sda1 rw\n"
                            "2 1 8:2 / /a/b/c rw - ext4 /dev/sda2 rw\n"
                            "3 2 8:3 / /a/b/c/d rw - ext4 /dev/sda3 rw\n"
                            "4 1 0:9 / /a rw - tmpfs none rw\n"
                            "5 4 8:4 / /a/b rw - ext4 /dev/sda4 rw\n"
                            "6 1 8:5 / /ab rw - ext4 /dev/sda5 rw\n"),
        ElementsAre("/", "/a/b", "/a/b/c hidden by /a", "/a/b/c/d hidden by /a", "/ab"));
}

TEST(HiddenMounts, areBelowALaterMountAtTheSamePlace)
{
    EXPECT_THAT(relationsOf("1 0 8:1 / / rw - ext4 /dev/sda1 rw\n"
                            "2 1 8:2 / /a rw - ext4 /dev/sda2 rw\n"
                            "3 2 8:3 / /a/x rw - ext4 /dev/sda3 rw\n"
                            "4 2 8:4 / /a rw - xfs /dev/sda4 rw\n"
                            "5 4 8:5 / /a/x rw - ext4 /dev/sda5 rw\n"),
        ElementsAre("/", "/a hidden by /a", "/a", "/a/x hidden by /a", "/a/x"));
}

TEST(HiddenMounts, areTheEarlierOnesOfOneParentAndPlace)
{
    EXPECT_THAT(relationsOf("1 0 8:1 / /a rw - ext4 /dev/sda1 rw\n"
                            "2 0 8:2 / /a rw - xfs /dev/sda2 rw\n"
                            "3 0 8:3 / /b rw - ext4 /dev/sda3 rw\n"
                            "4 0 0:9 / /b rw - tmpfs none rw\n"),
        ElementsAre("/a hidden by /a", "/a", "/b hidden by /b"));
}

TEST(HiddenMounts, areOverTheProgramsOwnRoot)
{
    EXPECT_THAT(relationsOf("1 0 8:1 / / rw - ext4 /dev/sda1 rw\n"
                            "2 1 8:2 / /a rw - ext4 /dev/sda2 rw\n"
                            "3 1 8:3 / / rw - ext4 /dev/sda3 rw\n"
                            "4 3 8:4 / /b rw - ext4 /dev/sda4 rw\n"),
        ElementsAre("/", "/ hidden by /", "/a", "/b hidden by /"));
}

TEST(HiddenMounts, areFoundInATableWithCircles)
{
    EXPECT_THAT(relationsOf("1 2 8:1 / /a rw - ext4 /dev/sda1 rw\n"
                            "2 1 8:2 / /b rw - ext4 /dev/sda2 rw\n"),
        ElementsAre("/a", "/b"));
}

TEST(HiddenMounts, areAtThePlaceOfALaterOneOnKernelsWithoutMountInfo)
{
    auto table = parseMounts("/dev/hda1 /a/b ext2 rw 0 0\n/dev/hda2 /a ext2 rw 0 0\n"
                             "/dev/hda3 /a ext2 rw 0 0\n");
    choose(table);
    ASSERT_THAT(table.entries, SizeIs(3));
    EXPECT_EQ(table.entries[0].mount.source, "/dev/hda2");
    EXPECT_EQ(table.entries[0].mount.hiddenBy, "/a");
    EXPECT_EQ(table.entries[1].mount.hiddenBy, "");
    EXPECT_EQ(table.entries[2].mount.hiddenBy, "") << "the order says nothing of folders above";
}

TEST(RepeatedMounts, haveTheShortestPlaceOfTheWholeFilesystemStandForIt)
{
    EXPECT_THAT(relationsOf("1 0 8:1 / / rw - ext4 /dev/sda1 rw\n"
                            "2 1 8:2 /sub /d rw - ext4 /dev/sda2 rw\n"
                            "3 1 8:2 / /mnt/whole rw - ext4 /dev/sda2 rw\n"
                            "4 1 8:2 / /mnt/data rw - ext4 /dev/sda2 rw\n"
                            "5 1 0:33 /@home /home rw - btrfs /dev/sda3 rw\n"
                            "6 1 0:33 /@var /var rw - btrfs /dev/sda3 rw\n"),
        ElementsAre("/", "/d same as /mnt/data", "/home same as /var", "/mnt/data",
            "/mnt/whole same as /mnt/data", "/var"));
}

TEST(RepeatedMounts, haveOneThatIsNotHiddenStandForThem)
{
    EXPECT_THAT(relationsOf("1 0 8:1 / / rw - ext4 /dev/sda1 rw\n"
                            "2 1 8:2 / /a/b rw - ext4 /dev/sda2 rw\n"
                            "3 1 0:9 / /a rw - tmpfs none rw\n"
                            "4 1 8:2 /sub /mnt/sub rw - ext4 /dev/sda2 rw\n"),
        ElementsAre("/", "/a/b hidden by /a same as /mnt/sub", "/mnt/sub"));
}

TEST(RepeatedMounts, areOfOneServersShareOnly)
{
    EXPECT_THAT(relationsOf("1 0 0:44 / /one rw - nfs4 nas:/one rw\n"
                            "2 0 0:44 / /two rw - nfs4 nas:/two rw\n"
                            "3 0 0:44 / /again rw - nfs4 nas:/one rw\n"),
        ElementsAre("/again same as /one", "/one", "/two"));
}

TEST(RepeatedMounts, haveOneSourceOnKernelsWithoutMountInfo)
{
    auto table = parseMounts("/dev/hda1 /a ext2 rw 0 0\n/dev/hda1 /bb ext2 rw 0 0\n"
                             "/dev/hda2 /cc ext2 rw 0 0\n");
    choose(table);
    EXPECT_EQ(table.entries.at(0).mount.sameAs, "");
    EXPECT_EQ(table.entries.at(1).mount.sameAs, "/a");
    EXPECT_EQ(table.entries.at(2).mount.sameAs, "");
}
