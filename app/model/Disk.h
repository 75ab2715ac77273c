#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace app {

/** A block device of the kernel: a disk, a partition, or a device that is made of others. */
struct Disk {
    enum Type {
        DISK,
        PARTITION,
        RAID,
        LOGICAL_VOLUME,
        ENCRYPTED,
        MULTIPATH,
        MAPPED,
        LOOP,
        OPTICAL
    };

    std::string name; ///< The kernel's, without "/dev/".
    std::string label; ///< The name in /dev/mapper or /dev/md; else the kernel's.
    Type type = DISK;
    std::optional<uint64_t> bytes;
    std::optional<std::string> model;
    std::optional<std::string> serial;
    std::optional<std::string> transport; ///< "nvme", "sata", "sas", "usb", "virtio", "mmc" ...
    bool isVirtual = false; ///< Made by the kernel alone, such as a volume of ZFS; of a DISK.
    std::optional<bool> rotational;
    std::optional<bool> removable;
    std::optional<bool> readOnly;
    std::optional<unsigned> logicalSector;
    std::optional<unsigned> physicalSector;
    std::optional<std::string> raidLevel; ///< "raid1"; of RAID only.
    std::string device; ///< "8:0", major and minor number.
    std::string parent; ///< The disk that a partition lies on; empty for all other types.
    std::vector<std::string> slaves; ///< The devices that this one is made of.

    bool isPhysical() const { return type == DISK || type == OPTICAL; }

    /** @return "HDD", "SSD", "virtual" or "removable"; of a physical disk only. */
    std::optional<std::string> kind() const;
};

/** @return the word for a type: "disk", "part", "raid1", "lvm", "crypt" ... as lsblk(8) has them,
 * and "zram", "bcache" and "drbd" for devices that lsblk(8) calls disks. */
std::string typeText(Disk const& disk);

/** @return the device of that name, null where there is none. */
Disk const* findDisk(std::vector<Disk> const& disks, std::string const& name);

/** @return the number of partitions on a disk. */
size_t partitionsOf(std::vector<Disk> const& disks, Disk const& disk);

/** @return names of the physical disks beneath a device, in natural order, itself included. */
std::vector<std::string> disksBeneath(std::vector<Disk> const& disks, std::string const& name);

}
