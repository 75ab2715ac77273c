#pragma once

#include <functional>
#include <istream>
#include <string>
#include <string_view>
#include <vector>

namespace sysinfo {

/** A block of the output of ifconfig(8) -a, with the texts as they stand there. */
struct AdapterText {
    std::string name; ///< Empty before the first block.
    std::vector<std::string> addresses;
    std::vector<std::string> netmasks;
    std::vector<std::string> hardwareAddresses; ///< The last one counts.
};

/**
 * Reads the output of `ifconfig -a`, in the style of net-tools before 2.0 or since.
 *
 * Kept: an alias ("eth0:1") is a block of its own under its adapter's name; an IPv6 address of the
 * old style ("inet6 addr: fe80::1/64") is read as an empty text.
 *
 * @param found called with each block's name.
 * @param ended called with each block that another one follows.
 * @return the last block.
 */
AdapterText readAdapters(std::istream& output, std::function<void(std::string const&)> const& found,
    std::function<void(AdapterText const&)> const& ended);

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

/**
 * Reads the name servers out of resolv.conf(5): what stands behind the eleventh character of each
 * line that has "nameserver" in it, comments included.
 *
 * @throws std::out_of_range where such a line is shorter. Its message names the tool, the line and
 * the column.
 */
void readNameServers(
    std::istream& text, std::function<void(std::string const& server)> const& found);

/** @return @p name as one word of a shell's command line that `grep` takes for the text to find: as
 * it stands where it is made of letters, digits, ".", "_", "-", "@" and "+" alone, and "-" is not
 * its first. */
std::string grepArgument(std::string_view name);

}
