#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace app {

/** A filesystem on a block device or on the network, at one place where it is mounted; sizes in
 * bytes, counted as df(1) counts. */
struct Mount {
    std::string mountPoint;
    std::string source; ///< The device or the server's share, "/dev/sda1", "nas:/export".
    std::string filesystem; ///< Its type, "ext4", "nfs4".
    bool readOnly = false;
    bool network = false;
    std::string device; ///< The block device's kernel name; empty on the network and where unknown.
    std::vector<std::string> disks; ///< Names of the physical disks beneath.

    /** The mount point of the mount that hides this one: a later one at the same place or on a
     * folder above. Empty where programs reach the filesystem. */
    std::string hiddenBy;

    /** The mount point that stands for the filesystem where it is mounted several times; empty in
     * that one itself. Sums must leave the others out. */
    std::string sameAs;

    std::optional<uint64_t> size;
    std::optional<uint64_t> used;
    std::optional<uint64_t> available; ///< To ordinary users.
    std::optional<uint64_t> inodes; ///< Unknown where the filesystem does not count them.
    std::optional<uint64_t> freeInodes;

    /** The share of what ordinary users can use, as df(1) shows it. */
    std::optional<double> usedPercent() const;
};

}
