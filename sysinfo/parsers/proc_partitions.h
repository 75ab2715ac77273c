#pragma once

#include <cstdint>
#include <functional>
#include <istream>
#include <string>

namespace sysinfo {

/** A whole disk of the kernel's partition table. */
struct DiskEntry {
    std::string name;
    uint64_t blocks = 0;
    unsigned int partitions = 0;
};

/**
 * Reads the whole disks out of the text of /proc/partitions (proc(5)).
 *
 * A name that ends in a digit is a partition: of the disk before it where it begins with that
 * disk's name, else of nothing that is listed (software RAID, loop and optical devices). Kept: a
 * disk whose name begins with the name of the one before it, as `sdaa` after `sda`, takes that
 * one's place.
 *
 * @param partitionFound called with the name of each partition that is counted.
 * @param diskFound called with each disk, once its partitions are counted.
 */
void readPartitions(std::istream& text,
    std::function<void(std::string const& name)> const& partitionFound,
    std::function<void(DiskEntry const& disk)> const& diskFound);

}
