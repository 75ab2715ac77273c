#pragma once

#include "app/model/Machine.h"

#include <string>
#include <vector>

namespace app {

/** Devices that a picture shows as one: of the same type, size and kind, with the same below. */
struct DeviceGroup {
    std::vector<Disk const*> disks;
    std::vector<Mount const*> mounts; ///< Of its devices.
    std::vector<size_t> children; ///< The groups of the devices that are made of these.
};

/** The groups of all devices, and where a drawing of them begins. */
struct DeviceGroups {
    std::vector<DeviceGroup> list;
    std::vector<size_t> roots; ///< Every group is one of these or below one.
};

/** Groups the machine's devices. @param machine must outlive the result; its disks are known. */
DeviceGroups deviceGroups(Machine const& machine);

}
