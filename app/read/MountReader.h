#pragma once

#include "app/model/Machine.h"
#include "app/read/TimedChild.h"

#include <chrono>
#include <functional>
#include <list>
#include <string>
#include <utility>
#include <vector>

namespace app {

/**
 * Reads the mounted filesystems that lie on a block device or on the network.
 *
 * From /proc/self/mountinfo, and from /proc/mounts where a kernel does not have it (proc(5)); sizes
 * from statvfs(3), which waits as long as the filesystem does: so it is called in child processes,
 * one for each network filesystem and up to 32 for all others. A filesystem that another mount
 * hides has no path, and so no sizes; it is unavailable.
 */
class MountReader {
public:
    /**
     * Reads the list and starts the children.
     *
     * @param disks the block devices, for the disks beneath; empty where they are unknown.
     * @param limit the longest time that a filesystem may take.
     */
    MountReader(Machine& machine, std::vector<Disk> const& disks,
        std::chrono::steady_clock::duration limit);

    /** Waits for the sizes and stores the mounts. A filesystem that did not respond in time has no
     * sizes, and is a problem. */
    void finish(Machine& machine);

private:
    /** Mounts whose sizes one child reads. */
    struct Group {
        Group(std::vector<size_t> indices, std::function<std::string()> const& work)
            : mounts(std::move(indices)), child(work, true)
        {
        }

        std::vector<size_t> mounts; ///< Indices.
        TimedChild child;
    };

    void start(std::vector<size_t> const& mounts);

    bool m_readable = false;
    std::vector<Mount> m_mounts;
    std::list<Group> m_groups;
    std::chrono::steady_clock::time_point const m_deadline;
};

}
