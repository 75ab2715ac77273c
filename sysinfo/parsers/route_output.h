#pragma once

#include <functional>
#include <istream>
#include <string>
#include <string_view>

namespace sysinfo {

/**
 * Reads the gateways out of the output of route(8) -n: the second column, at its fixed place, of
 * the lines with "UG".
 *
 * Kept: a line that begins with one of the letters of "Destination" is skipped.
 *
 * @throws std::out_of_range where such a line ends before that place. Its message names the tool,
 * the line and the column.
 */
void readGateways(
    std::istream& output, std::function<void(std::string const& gateway)> const& found);

/** @return @p name as one word of a shell's command line that `grep` takes for the text to find: as
 * it stands where it is made of letters, digits, ".", "_", "-", "@" and "+" alone, and "-" is not
 * its first. */
std::string grepArgument(std::string_view name);

}
