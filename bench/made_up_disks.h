#pragma once

#include <string>

namespace bench {

/**
 * Replaces /proc, /dev and /tmp, for this process alone, by folders in memory; `enterOwnMounts`.
 * The program's own `ioctl` answers for their devices, which are plain files, as a disk does: on
 * SCSI bus 0, with sectors of 512 bytes. The system is called all the same.
 */
void replaceDisks();

/**
 * So many disks with two partitions each in /proc/partitions and /proc/diskstats, with devices, and
 * in /dev/disk/by-id two names each, one of them of the "wwn" family, as udev(7) has it.
 */
void writeDisks(unsigned disks);

/** So many mounts in /proc/mounts, on the partitions of the @p disks, in folders that are there,
 * among those of no disk. */
void writeMounts(unsigned mounts, unsigned disks);

/** "sda", "sdb" ... "sdz", "sdaa" ... */
std::string diskName(unsigned number);

}
