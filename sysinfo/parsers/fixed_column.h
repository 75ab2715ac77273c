#pragma once

#include <cstddef>
#include <string>

namespace sysinfo {

/**
 * @return the line from character @p column on, counted from 0.
 * @throws std::out_of_range where it ends before: a message for people, who count from 1.
 */
std::string restOf(std::string line, size_t column, char const* tool, char const* missing);

}
