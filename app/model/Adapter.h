#pragma once

#include <optional>
#include <string>
#include <vector>

namespace app {

/** An address of an adapter. */
struct Address {
    std::optional<std::string> text; ///< Nothing where the library could not read it.
    std::optional<std::string> netmask;
};

/** A network adapter. */
struct Adapter {
    std::string name;
    std::optional<std::string> mac; ///< Six bytes, or eight where the last two are not zero.
    std::vector<Address> addresses;
    std::vector<std::string> netmasks; ///< All of the library's, in its order.
};

/** The adapters, and the facts that the library attaches to them. */
struct Networks {
    std::optional<std::string> hostName;
    std::vector<Adapter> adapters;

    /** Nothing where they could not be read; an element is nothing where it is no address. */
    std::optional<std::vector<std::optional<std::string>>> nameServers;
};

}
