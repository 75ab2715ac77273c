#pragma once

#include "app/json_text.h"

#include <cstdint>
#include <optional>
#include <string>
#include <sys/statvfs.h>
#include <vector>

namespace app {

class Session;

/** What is known of one mounted filesystem; sizes in bytes. */
struct Mount {
    std::string libraryMountPoint; // As the library tells it.
    std::vector<std::string> disks; // Names of the disks beneath.
    std::optional<uint64_t> size;
    std::optional<uint64_t> free;

    /** The mount point's own name. */
    std::string mountPoint() const;

    /** Unknown too where more is free than there is. */
    std::optional<uint64_t> used() const;
    std::optional<float> usedPercent() const;
};

/**
 * Asks the library for the mounted filesystems.
 *
 * @return false, with the user told, where not all could be read; @p mounts has what could be.
 */
bool readMounts(Session& session, std::vector<Mount>& mounts);

/**
 * The size of a filesystem, of whose number of blocks the library knows the low 32 bits: from 16
 * TiB on, where blocks have 4 KiB, it tells less than there is.
 *
 * @param status of the same filesystem; statvfs(3).
 */
uint64_t wholeSize(uint64_t librarySize, struct statvfs const& status);

/** @return an array of objects. */
Json mountsAsJson(std::vector<Mount> const& mounts);

/**
 * A name as it is, where the kernel writes a backslash and three octal digits for each blank, tab,
 * newline, backslash and '#' of a name; proc(5), /proc/mounts, and getmntent(3).
 */
std::string decodeOctal(std::string const& text);

}
