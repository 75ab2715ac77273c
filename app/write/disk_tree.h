#pragma once

#include "app/model/Machine.h"

#include <vector>

namespace app {

/** A disk and the filesystems on it. */
struct DiskBranch {
    Disk const* disk; ///< Null for the filesystems of which no disk is known.
    std::vector<Mount const*> mounts;
};

/**
 * The disks with their filesystems, in the lists' order; the branch without a disk is the last. A
 * filesystem on several disks stands at each of them.
 *
 * @param machine must outlive the result.
 */
std::vector<DiskBranch> diskTreeOf(Machine const& machine);

}
