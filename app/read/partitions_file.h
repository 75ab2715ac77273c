#pragma once

#include "app/model/Machine.h"

#include <optional>
#include <vector>

namespace app {

/**
 * The block devices of /proc/partitions, proc(5): their names, sizes, numbers, and the types that
 * their names show. RAM disks and devices without a medium are left out.
 *
 * @return nothing where it cannot be read. Lines that are no devices are a problem of @p machine.
 */
std::optional<std::vector<Disk>> readPartitionsFile(Machine& machine);

}
