#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

/** The kernel's routes and addresses, as rtnetlink(7) sends them. */
namespace app {

/** A next hop of a default route. */
struct NextHop {
    unsigned adapter; ///< Its index.
    std::string gateway; ///< IPv4 or IPv6; IPv4 routes may have an IPv6 gateway.
};

/** An address of this machine. */
struct ScopedAddress {
    unsigned adapter; ///< Its index.
    std::string address;
    std::string scope; ///< "host", "link", "site", "global" or the kernel's number.
};

/**
 * The gateways of the default routes in the main table, IPv4 before IPv6.
 *
 * @return nothing, with errno set, where the kernel has no such socket or refuses it.
 */
std::optional<std::vector<NextHop>> readNextHops();

/** The addresses with their scopes. @return nothing as above. */
std::optional<std::vector<ScopedAddress>> readScopedAddresses();

/** @param messages as received. One that is cut short ends them. */
std::vector<NextHop> nextHopsIn(std::string_view messages);

/** @param messages as above. */
std::vector<ScopedAddress> scopedAddressesIn(std::string_view messages);

}
