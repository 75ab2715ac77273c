#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

/**
 * A second opinion on disks and mounts. It shares no code with the library: it takes whole texts
 * apart into lines and words where the library reads fields off a stream.
 */
namespace testkit {

std::vector<std::string> linesOf(std::string const& text);
std::vector<std::string> wordsOf(std::string const& text);

struct ListedDisk {
    std::string name;
    uint64_t blocks;
    unsigned partitions;

    bool operator==(ListedDisk const&) const = default;
};

struct PartitionTable {
    size_t entries = 0;
    uint64_t largest = 0; // Blocks.
    std::vector<ListedDisk> disks;
};

/** Takes four words for an entry, as long as the third is a number. */
PartitionTable readPartitionTable(std::string const& text);

struct MountTable {
    size_t entries = 0; // Of any kind.
    std::map<std::string, std::string> devices; // By mount point.
};

/** Knows no device that names "/dev/" twice. */
MountTable readMountTable(std::string const& text);

/** @return the first two fields of each line that has two colons at least. */
std::vector<std::pair<std::string, std::string>> readVolumes(std::string const& text);

/** @return the targets of the links that `ls -l` lists, by name. */
std::map<std::string, std::string> readLinks(std::string const& text);

/** @return the first entry of /dev/disk/by-id, in the folder's order, that leads to @p device and
 * is no "wwn"; nothing where an entry before it, or the device, leads nowhere. Resolves every name.
 */
std::string persistentNameOf(std::string const& device);

/** @return @p text without what ends it: decimal digits. */
std::string withoutDigits(std::string text);

}
