#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
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
    std::vector<size_t> disks; ///< Indices into the list of disks.
};

/** How often the names in /dev/disk/by-id are resolved. */
enum class Resolve {
    for_each_disk, ///< For each disk, stat(2) of the names up to its own, as the library does.
    once ///< Once for all disks.
};

/** A whole disk in /proc/partitions. */
struct BareEntry {
    std::string_view name;
    uint64_t blocks = 0;
    unsigned partitions = 0;
};

/** Parses /proc/partitions in one pass. The results point into @p text. */
std::vector<BareEntry> scanPartitions(std::string_view text);

// These read each file in one pass and make no system call that is not needed. They do not check
// the files for errors.

/** @throws std::system_error */
std::vector<BareDisk> bareDisks(Resolve resolve);

/** @return mounted disks, sorted by folder. @throws std::system_error */
std::vector<BareMount> bareMounts();

}
