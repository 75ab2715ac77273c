#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace bench {

struct BareDisk {
    std::string name;
    std::string caption;
    uint64_t bytes = 0;
    unsigned partitions = 0;
};

struct BareMount {
    std::string folder;
    uint64_t bytes = 0;
    std::vector<size_t> disks; ///< Their places in the list of disks.
};

/** How often the names in /dev/disk/by-id are read. */
enum class Resolve {
    for_each_disk, ///< stat(2) of each up to that disk's, as for a record that is made by itself.
    once ///< All are resolved for the whole list.
};

// What a host would write for itself: one pass over each file's text, and beside it the system
// calls that the facts demand. None of it looks for what is broken.

/** @throws std::system_error */
std::vector<BareDisk> bareDisks(Resolve resolve);

/** The mounts of disks in the order of their folders. @throws std::system_error */
std::vector<BareMount> bareMounts();

}
