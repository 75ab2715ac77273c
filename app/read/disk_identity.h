#pragma once

#include "app/model/Disk.h"

#include <string>

namespace app {

/**
 * Fills in model, serial number and transport of a physical disk.
 *
 * The device manager's database knows more than sysfs, which cuts the model of an ATA disk after 16
 * characters.
 *
 * @param folder the disk's in /sys/block. @param path the folder's without links, in /sys/devices.
 */
void addIdentity(Disk& disk, std::string const& folder, std::string const& path);

/** Fills in the model of an IDE disk from /proc/ide, for kernels without sysfs. */
void addIdeIdentity(Disk& disk);

}
