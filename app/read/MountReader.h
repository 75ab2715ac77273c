#pragma once

#include "app/model/Machine.h"
#include "app/read/FilesystemQueries.h"

#include <chrono>
#include <optional>
#include <vector>

namespace app {

/**
 * Reads the mounted filesystems that lie on a block device or on the network.
 *
 * From /proc/self/mountinfo, and from /proc/mounts where a kernel does not have it (proc(5)); sizes
 * from statvfs(3), which waits as long as the filesystem does: so it is called in child processes.
 * A filesystem that another mount hides has no path, and so no sizes; it is unavailable.
 */
class MountReader {
public:
    /**
     * Reads the list and starts the children.
     *
     * @param disks the block devices, for the disks beneath; empty where they are unknown.
     * @param limit the longest time for the sizes.
     */
    MountReader(Machine& machine, std::vector<Disk> const& disks,
        std::chrono::steady_clock::duration limit);

    /** Waits for the sizes and stores the mounts. A filesystem that did not respond in time has no
     * sizes, and is a problem. */
    void finish(Machine& machine);

private:
    std::vector<Mount> m_mounts;
    std::vector<size_t> m_queried; // Indices of those that are not hidden.
    std::optional<FilesystemQueries> m_queries; // None where the list cannot be read.
};

}
