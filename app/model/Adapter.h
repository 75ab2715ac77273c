#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace app {

/** An address of an adapter. */
struct Address {
    std::string text;
    std::optional<unsigned> prefixLength;
    std::string scope; ///< "host", "link", "site", "global" or the kernel's number of another.
};

/** A network adapter. */
struct Adapter {
    std::string name;

    /** "physical", "wireless", "bridge", "bond", "vlan", "tunnel", "loopback" or "virtual". */
    std::optional<std::string> kind;

    std::optional<std::string> state; ///< "up", "down", "no carrier"; of the link.
    std::optional<std::string> mac; ///< Nothing where it has none, or where that is unknown.
    bool macIsUnknown = false;
    std::optional<unsigned> speedMbit; ///< Mbit/s; unknown where the link is down or has no speed.
    std::optional<unsigned> mtu;
    std::optional<std::vector<Address>> addresses;
    std::optional<std::vector<std::string>> gateways; ///< Of the default routes through it.

    /** @return the addresses; none where they are unknown. */
    std::vector<Address> const& knownAddresses() const
    {
        static std::vector<Address> const none;
        return addresses ? *addresses : none;
    }

    bool hasGateway() const { return gateways && !gateways->empty(); }
};

/** The adapters, the machine's name and its name servers. */
struct Networks {
    std::optional<std::string> hostName;
    std::vector<Adapter> adapters; ///< In natural order, the loopback last.
    std::optional<std::vector<std::string>> nameServers;
};

}
