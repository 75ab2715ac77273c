#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace app {

/** A physical disk. */
struct Disk {
    std::string name; ///< The kernel's, without "/dev/".
    std::string caption; ///< Model and serial number; empty where unknown.
    unsigned partitions = 0;
    std::optional<uint64_t> bytes;

    /** The library's total size: blocks of 1,024 bytes times the sector size, which is the size in
     * bytes only where a sector has 1,024 bytes. */
    std::optional<uint64_t> librarySizeFigure;
};

}
