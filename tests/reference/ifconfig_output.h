#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace reference {

/** A block of the output of `ifconfig -a` (ifconfig(8)), with its strings as they are. */
struct Adapter {
    std::string name;
    std::vector<std::string> addresses;
    std::vector<std::string> netmasks;
    std::vector<std::string> hardwareAddresses;

    bool operator==(Adapter const&) const = default;

    /** @return the bytes of the last hardware address: six or the first eight, else zeros. */
    std::array<uint8_t, 8> mac() const;
};

struct AdapterTable {
    std::vector<std::string> names; // Of each line that begins a block.
    std::vector<Adapter> blocks; // With a name, but the last may have none.

    std::vector<Adapter> named() const;
};

/** Reads both styles of net-tools. */
AdapterTable readAdapters(std::string const& output);

}
