#pragma once

#include "app/model/Machine.h"

#include <map>
#include <string>
#include <vector>

namespace app {

/** The gateways of the default routes. */
struct Gateways {
    std::map<std::string, std::vector<std::string>> byAdapter; ///< By its name; each once.
    bool isComplete = true; ///< Whether the adapters without any are known to have none.
};

/**
 * Reads the gateways of the default routes.
 *
 * From rtnetlink(7), nexthop objects included, and from /proc/net/route and /proc/net/ipv6_route
 * (proc(5)) where a program may not use that: those files have one next hop of an IPv4 route and no
 * IPv6 gateway of one. What cannot be read is a problem of @p machine.
 *
 * @param names of the adapters by their indices.
 */
Gateways readGateways(Machine& machine, std::map<unsigned, std::string> const& names);

}
