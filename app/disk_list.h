#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace app {

class Session;

/** What is known of one physical disk. */
struct Disk {
    std::string name; // The kernel's, without "/dev/".
    std::string caption; // Empty where it has none.
    unsigned partitions;
    std::optional<uint64_t> bytes;

    /** What the library calls the total size in bytes: the kernel's blocks of 1,024 bytes times the
     * sector size, which is the number of bytes of no disk but one with sectors of 1,024. */
    std::optional<uint64_t> librarySizeFigure;
};

/**
 * Asks the library for the physical disks, and the kernel for their sizes.
 *
 * @return false, with the user told, where not all could be read; @p disks has what could be.
 */
bool readDisks(Session& session, std::vector<Disk>& disks);

/** @return the disk's size in bytes, from /sys/block/NAME/size; sysfs(5). */
std::optional<uint64_t> sizeOfDisk(std::string const& name);

}
