#pragma once

#include <map>
#include <string>

namespace reference {

/** Reads a listing of `ls -l`. @return the targets of its links, by name. */
std::map<std::string, std::string> readLinks(std::string const& listing);

/** @return the first name in /dev/disk/by-id, in the folder's order, that does not begin with "wwn"
 * and that leads to @p device; an empty string when @p device or a name before it leads nowhere. */
std::string persistentNameOf(std::string const& device);

}
