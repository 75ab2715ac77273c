#pragma once

#include <optional>
#include <string>

namespace sysinfo {

/** @return the absolute path without links, realpath(3); no value if it cannot be resolved. */
std::optional<std::string> canonicalPath(char const* path);

}
