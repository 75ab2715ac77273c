#pragma once

#include <string>

namespace app {

/**
 * Resolves the escapes of a name from /proc/mounts.
 *
 * The kernel writes a backslash and three octal digits for each blank, tab, newline, backslash and
 * '#' of a name; proc(5) and getmntent(3).
 */
std::string decodeOctal(std::string const& text);

}
