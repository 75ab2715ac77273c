#pragma once

#include <functional>
#include <istream>
#include <string>

namespace sysinfo {

/**
 * Reads the name servers from resolv.conf(5): the text after the eleventh character of each line
 * that contains "nameserver", comments included.
 *
 * @param found called with each such text.
 * @throws std::out_of_range if such a line has less than eleven characters. The message contains
 * the tool, the line and the column.
 */
void readNameServers(
    std::istream& text, std::function<void(std::string const& server)> const& found);

}
