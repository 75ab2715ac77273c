#pragma once

#include <functional>
#include <istream>
#include <string>
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

}
