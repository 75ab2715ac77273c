#pragma once

#include <optional>
#include <string>

namespace sysinfo {

/** @return the absolute path without links, realpath(3); nothing where the path leads nowhere. */
std::optional<std::string> canonicalPath(char const* path);

}
