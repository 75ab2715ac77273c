#pragma once

#include "app/model/Mount.h"

#include <string>
#include <vector>

namespace app {

/** An entry of the kernel's mount table. */
struct MountEntry {
    Mount mount; ///< Its place, source, type and mode.
    std::string device; ///< "8:1"; empty in /proc/mounts.
    std::string id; ///< The mount's own number; empty in /proc/mounts.
    std::string parent; ///< The number of the mount that it is mounted on.
    std::string root; ///< The folder of the filesystem that is mounted; "/" for the whole of it.
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
 * Fills in the mount that hides each one, if any.
 *
 * From the tree of mounts, which decides where a path leads. The numbers of stat(2) do not: btrfs
 * returns one for each subvolume, and none of them is that of the table. /proc/mounts has no tree;
 * there only a later mount at the same place hides one.
 */
void markHidden(std::vector<MountEntry>& entries);

/**
 * Removes the filesystems that lie neither on a block device nor on the network. Sorts the rest in
 * natural order of the mount points.
 *
 * Of several mounts of one filesystem one stands for it: one that is not hidden, then one of the
 * whole filesystem, then the one with the shortest mount point. Shares of the network are the same
 * where their names are, too.
 */
void keepShown(std::vector<MountEntry>& entries);

}
