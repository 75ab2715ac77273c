#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace reference {

struct Disk {
    std::string name;
    uint64_t blocks;
    unsigned partitions;

    bool operator==(Disk const&) const = default;
};

/** The whole disks of /proc/partitions (proc(5)). */
struct PartitionTable {
    size_t entries = 0; // Of any kind.
    uint64_t largest = 0; // Blocks.
    std::vector<Disk> disks;
    std::vector<std::string> order; // Partitions that belong to a disk, then that disk.
};

PartitionTable readPartitions(std::string const& text);

/** @return @p name without the digits at its end. */
std::string withoutDigits(std::string name);

}
