#pragma once

#include "app/model/Machine.h"

#include <optional>
#include <vector>

namespace app {

/**
 * The kernel's block devices in natural order: disks, partitions, and the devices made of others.
 *
 * From /sys/block (sysfs(5)); devices that it does not have from /proc/partitions and /proc/mdstat,
 * which is a problem of @p machine where there is a /sys/block. RAM disks and devices without a
 * medium are left out, as lsblk(8) does.
 *
 * @return nothing where neither can be read; then @p machine has the problem.
 */
std::optional<std::vector<Disk>> readBlockDevices(Machine& machine);

}
