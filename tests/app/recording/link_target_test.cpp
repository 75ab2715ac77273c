#include "app/recording/archive/link_target.h"

#include <gtest/gtest.h>

using app::canBeUnpacked;
using app::isRecordedPath;
using app::leavesRoot;
using app::targetInRoot;

TEST(RecordedPath, isAbsoluteAndHasOnlyNames)
{
    for (char const* const path : {"/", "/a", "/a/..b/.c", "/a b/\n"})
        EXPECT_TRUE(isRecordedPath(path)) << path;
    for (char const* const path :
        {"", "a", "/a/", "//", "/a//b", "/.", "/a/./b", "/..", "/a/../b", "/a/.."})
        EXPECT_FALSE(isRecordedPath(path)) << path;
    EXPECT_FALSE(isRecordedPath(std::string_view("/a\0b", 4)));
}

TEST(LinkTarget, leavesTheRootByMoreDotsThanFolders)
{
    EXPECT_FALSE(leavesRoot("/a", "b"));
    EXPECT_FALSE(leavesRoot("/sys/block/sda", "../devices/sda"));
    EXPECT_FALSE(leavesRoot("/sys/block/sda", "../.."));
    EXPECT_FALSE(leavesRoot("/a", "/../../b")) << "absolute: resolved in the root";
    EXPECT_TRUE(leavesRoot("/a", ".."));
    EXPECT_TRUE(leavesRoot("/a/b", "../../c"));
    EXPECT_TRUE(leavesRoot("/a/b", "c/../../../d"));
    EXPECT_TRUE(leavesRoot("/a/b", "./..//../a"));
}

TEST(LinkTarget, thatLeavesTheRootBecomesTheAbsolutePathThatTheKernelFinds)
{
    EXPECT_EQ(targetInRoot("/sys/block/sda", "../devices/sda"), "../devices/sda");
    EXPECT_EQ(targetInRoot("/a", "/../b"), "/../b");
    EXPECT_EQ(targetInRoot("/etc/mtab", "../../proc/mounts"), "/proc/mounts");
    EXPECT_EQ(targetInRoot("/a", "../../.."), "/");
}

TEST(LinkTarget, canBeUnpackedWhereNoOtherLinkChangesItsMeaning)
{
    EXPECT_TRUE(canBeUnpacked("/sys/block/sda", "../devices/sda"));
    EXPECT_TRUE(canBeUnpacked("/a", "b/c"));
    EXPECT_TRUE(canBeUnpacked("/a/b", ".././c/"));
    EXPECT_FALSE(canBeUnpacked("/a", "/b"));
    EXPECT_FALSE(canBeUnpacked("/a", ""));
    EXPECT_FALSE(canBeUnpacked("/a", "../b"));
    EXPECT_FALSE(canBeUnpacked("/a/b/c", "d/../../e")) << "d may be a link to a folder above";
}
