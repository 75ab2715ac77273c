#pragma once

#include <cstdint>
#include <functional>
#include <istream>
#include <string>

namespace sysinfo {

/** A whole disk in /proc/partitions. */
struct DiskEntry {
    std::string name;
    uint64_t blocks = 0; ///< Of 1,024 bytes.
    unsigned int partitions = 0;
};

/**
 * Reads the whole disks from /proc/partitions (proc(5)).
 *
 * A name that does not end in a digit is a disk. A name that ends in a digit and begins with the
 * name of the preceding disk is a partition of that disk. Other names that end in a digit (software
 * RAID, loop and optical devices) are skipped, and so are the partitions after them.
 *
 * Kept: a disk is left out if the name of the next disk begins with its name (`sda` before `sdaa`).
 *
 * @param partitionFound called with the name of each partition that is counted.
 * @param diskFound called with each disk after its partitions.
 */
void readPartitions(std::istream& text,
    std::function<void(std::string const& name)> const& partitionFound,
    std::function<void(DiskEntry const& disk)> const& diskFound);

}
