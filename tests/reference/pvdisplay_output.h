#pragma once

#include <string>
#include <utility>
#include <vector>

namespace reference {

/** @return the first two fields of each line of `pvdisplay -c` (pvdisplay(8)) that has two colons
 * at least. */
std::vector<std::pair<std::string, std::string>> readVolumes(std::string const& output);

}
