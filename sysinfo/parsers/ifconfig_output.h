#pragma once

#include <functional>
#include <istream>
#include <string>
#include <vector>

namespace sysinfo {

/** One block of the output of ifconfig(8) -a. The strings are copied from the output unchanged. */
struct AdapterText {
    std::string name; ///< Empty before the first block.
    std::vector<std::string> addresses;
    std::vector<std::string> netmasks;
    std::vector<std::string> hardwareAddresses; ///< The last one is valid.
};

/**
 * Reads the output of `ifconfig -a`, in the style of net-tools before 2.0 or of later versions.
 *
 * Kept: an alias ("eth0:1") is a separate block with the name of its adapter. An IPv6 address in
 * the old style ("inet6 addr: fe80::1/64") gives an empty string.
 *
 * @param found called with the name of each block.
 * @param ended called with each block except the last.
 * @return the last block.
 */
AdapterText readAdapters(std::istream& output, std::function<void(std::string const&)> const& found,
    std::function<void(AdapterText const&)> const& ended);

}
