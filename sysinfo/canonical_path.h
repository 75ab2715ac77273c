#pragma once

#include <optional>
#include <string>

namespace sysinfo {

/** @return the absolute path without links, realpath(3); no value if it cannot be resolved.
 * @throws std::bad_alloc if there is no memory for it */
std::optional<std::string> canonicalPath(char const* path);

}
