#pragma once

#include <string>

namespace bench {

/**
 * Mounts a tmpfs over /proc, /dev and /tmp in this process's mount namespace
 * (`enterPrivateMounts`). The devices are plain files. The program defines `ioctl`, which calls the
 * system and then reports SCSI bus 0 and sectors of 512 bytes for them.
 */
void replaceDisks();

/**
 * Writes /proc/partitions and /proc/diskstats with two partitions on each disk, their devices, and
 * for each disk an "ata-" and a "wwn-" name in /dev/disk/by-id, as udev(7) makes them.
 */
void writeDisks(unsigned disks);

/** Takes all permissions from the devices of @p disks disks. A process that obeys them
 * (`obeyFilePermissions`) cannot open these. @throws std::system_error */
void denyDisks(unsigned disks);

/** @return /proc/partitions of such disks. */
std::string partitionsText(unsigned disks);

/** Writes /proc/mounts with @p mounts mounts of the partitions of @p disks disks, after some mounts
 * without a disk, and makes their folders. */
void writeMounts(unsigned mounts, unsigned disks);

/** @return "sda", "sdb" ... "sdz", "sdaa" ... */
std::string diskName(unsigned number);

}
