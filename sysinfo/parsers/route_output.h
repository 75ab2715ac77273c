#pragma once

#include <functional>
#include <istream>
#include <string>
#include <string_view>

namespace sysinfo {

/**
 * Reads the gateways from the output of route(8) -n: the second column, which begins after 16
 * characters, of each line that contains "UG".
 *
 * Kept: a line that begins with one of the letters of "Destination" is skipped.
 *
 * @param found called with each gateway.
 * @throws std::out_of_range if such a line has less than 16 characters. The message contains the
 * tool, the line and the column.
 */
void readGateways(
    std::istream& output, std::function<void(std::string const& gateway)> const& found);

/** @return the arguments with which a shell's `grep` searches for @p name: @p name itself if it
 * consists of letters, digits, ".", "_", "-", "@" and "+" and does not begin with "-"; otherwise
 * the quoted name after `-F -e`. */
std::string grepArgument(std::string_view name);

}
