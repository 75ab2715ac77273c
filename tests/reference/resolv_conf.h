#pragma once

#include <optional>
#include <string>
#include <vector>

namespace reference {

/** @return the rest of each line of resolv.conf(5) that contains "nameserver", after eleven
 * characters; nothing when one of them is shorter. */
std::optional<std::vector<std::string>> readServers(std::string const& text);

}
