#pragma once

#include <istream>
#include <map>
#include <string>

namespace sysinfo {

/**
 * Reads the mounts of block devices out of the text of /proc/mounts (proc(5)), up to the first line
 * without a device.
 *
 * @return device by mount point, both as the kernel writes them, with its octal escapes; the last
 * mount over a point stands.
 */
std::map<std::string, std::string> readMounts(std::istream& text);

}
