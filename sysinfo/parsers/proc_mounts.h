#pragma once

#include <istream>
#include <map>
#include <string>

namespace sysinfo {

/**
 * Reads the mounts of block devices from /proc/mounts (proc(5)), up to the first blank line.
 *
 * @return devices by mount point, both with the kernel's octal escapes. The last mount over a mount
 * point counts.
 */
std::map<std::string, std::string> readMounts(std::istream& text);

}
