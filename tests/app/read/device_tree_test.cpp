#include "app/model/device_tree.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using app::Disk;
using testing::ElementsAre;

namespace {

Disk device(
    std::string const& name, std::string const& parent, std::vector<std::string> const& slaves)
{
    Disk disk;
    disk.name = name;
    disk.parent = parent;
    disk.slaves = slaves;
    return disk;
}

/** Each device with a '-' for each level above it, and '!' where it is the last of its level. */
std::vector<std::string> drawn(std::vector<Disk> const& disks)
{
    std::vector<std::string> lines;
    for (app::DeviceNode const& node : app::deviceTree(disks))
        lines.push_back(std::string(node.depth, '-') + node.disk->name + (node.last ? "!" : ""));
    return lines;
}

}

TEST(DeviceTree, drawsPartitionsBelowTheirDisk)
{
    EXPECT_THAT(drawn({device("sda", "", {}), device("sda1", "sda", {}), device("sda2", "sda", {}),
                    device("sdb", "", {})}),
        ElementsAre("sda", "-sda1", "-sda2!", "sdb!"));
}

TEST(DeviceTree, drawsAMultipathDeviceBelowBothPaths)
{
    EXPECT_THAT(drawn({device("dm-0", "", {"sda", "sdb"}), device("dm-1", "", {"dm-0"}),
                    device("sda", "", {}), device("sdb", "", {})}),
        ElementsAre("sda", "-dm-0!", "--dm-1!", "sdb!", "-dm-0!", "--dm-1!"));
}

TEST(DeviceTree, drawsDevicesInACircleOnce)
{
    EXPECT_THAT(drawn({device("dm-0", "", {"dm-1"}), device("dm-1", "", {"dm-0"})}),
        ElementsAre("dm-0!", "-dm-1!"));
    EXPECT_THAT(drawn({device("dm-0", "", {"dm-0"})}), ElementsAre("dm-0!"));
}

TEST(DeviceTree, drawsADeviceWithoutItsDiskAtTheRoot)
{
    EXPECT_THAT(drawn({device("sda1", "sda", {}), device("dm-0", "", {"gone"})}),
        ElementsAre("sda1", "dm-0!"));
}

TEST(DeviceTree, tellsWhichOfTheDevicesAboveAreTheLast)
{
    std::vector<Disk> const disks = {device("sda", "", {}), device("sda1", "sda", {}),
        device("sda2", "sda", {}), device("dm-0", "", {"sda1"}), device("dm-1", "", {"sda2"})};
    auto const nodes = app::deviceTree(disks);
    EXPECT_THAT(nodes.at(2).lastAbove, ElementsAre(false)) << "dm-0 below sda1";
    EXPECT_THAT(nodes.at(4).lastAbove, ElementsAre(true)) << "dm-1 below sda2";
}
