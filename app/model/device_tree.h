#pragma once

#include "app/model/Disk.h"

#include <vector>

namespace app {

/** A block device in the tree of devices. */
struct DeviceNode {
    Disk const* disk;
    unsigned depth; ///< 0 for a device that is made of no other.
    bool last; ///< No other device of the same depth follows below the same one.
    std::vector<bool> lastAbove; ///< The same of the devices above it, from depth 1 on.
};

/** @return the devices that lie on a device or are made of it, in the order of @p disks. */
std::vector<Disk const*> devicesOn(std::vector<Disk> const& disks, Disk const& disk);

/**
 * The devices in the order of a drawing: each below those that it lies on or is made of.
 *
 * A device made of several stands below each of them, as lsblk(8) draws it.
 *
 * @param disks must outlive the result.
 */
std::vector<DeviceNode> deviceTree(std::vector<Disk> const& disks);

}
