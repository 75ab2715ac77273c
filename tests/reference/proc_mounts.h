#pragma once

#include <cstddef>
#include <map>
#include <string>

namespace reference {

/** The mounts in /proc/mounts (proc(5)), up to the first blank line. */
struct MountTable {
    size_t entries = 0; // Of any kind.
    std::map<std::string, std::string> devices; // Block devices by mount point.
};

MountTable readMounts(std::string const& text);

}
