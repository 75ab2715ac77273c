#pragma once

#include "app/model/Mount.h"

#include <string>
#include <vector>

namespace app {

/** An entry of the kernel's mount table. */
struct MountEntry {
    Mount mount; ///< Its place, source, type and mode.
    std::string device; ///< "8:1"; empty in /proc/mounts.
};

/** The entries of a mount table, and the number of lines that are none. */
struct MountTable {
    std::vector<MountEntry> entries;
    size_t leftOut = 0;
};

/** @param text /proc/self/mountinfo, proc(5). */
MountTable parseMountInfo(std::string const& text);

/** @param text /proc/mounts, which is in the format of fstab(5). */
MountTable parseMounts(std::string const& text);

/**
 * Removes what people do not look for: filesystems that lie neither on a block device nor on the
 * network, and those that a later one at the same place hides. Sorts the rest in natural order of
 * the mount points.
 */
void keepShown(std::vector<MountEntry>& entries);

}
