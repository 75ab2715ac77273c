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
    unsigned object = 0; ///< Not 0: the number of the nexthop object that has the two.
};

/** A nexthop object, ip-nexthop(8): one next hop, or a group of other objects. */
struct NextHopObject {
    unsigned number;
    NextHop hop; ///< Its gateway is empty where it has none.
    std::vector<unsigned> members; ///< Numbers.
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

/** The nexthop objects of kernels since 5.3. @return nothing as above. */
std::optional<std::vector<NextHopObject>> readNextHopObjects();

/** The addresses with their scopes. @return nothing as above. */
std::optional<std::vector<ScopedAddress>> readScopedAddresses();

/** @param messages as received. One that is cut short ends them. */
std::vector<NextHop> nextHopsIn(std::string_view messages);

/** @param messages as above. */
std::vector<NextHopObject> nextHopObjectsIn(std::string_view messages);

/** @param messages as above. */
std::vector<ScopedAddress> scopedAddressesIn(std::string_view messages);

}
