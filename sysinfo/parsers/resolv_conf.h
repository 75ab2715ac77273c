#pragma once

#include <functional>
#include <istream>
#include <string>

namespace sysinfo {

/**
 * Reads the name servers out of resolv.conf(5): what stands behind the eleventh character of each
 * line that has "nameserver" in it, comments included.
 *
 * @throws std::out_of_range where such a line is shorter. Its message names the tool, the line and
 * the column.
 */
void readNameServers(
    std::istream& text, std::function<void(std::string const& server)> const& found);

}
