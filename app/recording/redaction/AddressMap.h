#pragma once

#include <map>
#include <set>
#include <string>

namespace app {

/** An IP address of 4 or 16 bytes in network order, or a hardware address of 6 and more bytes. */
using AddressBytes = std::string;

/**
 * Random replacements for addresses, which keep the structure of the networks:
 *
 * - Two IP addresses with N equal first bits have replacements with N equal first bits.
 * - Private, shared, link-local and multicast blocks map into themselves, public addresses to
 * public ones. Loopback, documentation and unspecified addresses and netmasks stay.
 * - In a known network the first and the last address stay the first and the last one.
 * - A group of four hexadecimal digits of an IPv6 address keeps its number of leading zero bits, so
 *   that the text keeps its length.
 * - The second half of an IPv6 address that is made of a MAC address, RFC 4291 appendix A, follows
 *   the MAC address.
 * - A hardware address keeps all but its last 3 bytes (6 bytes), or all but its last 5.
 */
class AddressMap {
public:
    /** Announces an IP address. It is a known network where it ends in zeros or, of IPv4, ones. */
    void addIp(AddressBytes const& address);

    /** Announces the network of an address. */
    void addNetwork(AddressBytes const& address, unsigned prefixLength);

    void addHardware(AddressBytes const& address);

    /** Chooses the replacements of all announced addresses. Tries that none is an announced
     * address.
     */
    void choose();

    /** @return the replacement; the same for the same address. */
    AddressBytes replacedIp(AddressBytes const& address);

    /** @return the replacement; the address itself where it was not announced. */
    AddressBytes replacedHardware(AddressBytes const& address) const;

    std::set<AddressBytes> const& ips() const { return m_ips; }
    std::set<AddressBytes> const& hardware() const { return m_hardware; }

private:
    bool flips(AddressBytes const& address, unsigned depth);
    bool isEdge(AddressBytes const& address, unsigned depth) const;
    AddressBytes withFlips(AddressBytes const& address, unsigned kept);
    AddressBytes replaced4(AddressBytes const& address);
    AddressBytes replaced6(AddressBytes const& address);
    unsigned char replacedFirstByte(unsigned char byte);
    void chooseHardware();

    std::set<AddressBytes> m_ips;
    std::set<AddressBytes> m_hardware;
    std::map<AddressBytes, AddressBytes> m_hardwareReplacements; ///< of the last 6 or 8 bytes
    /** The first addresses of the known networks by length of the address and of the prefix. */
    std::map<std::pair<size_t, unsigned>, std::set<AddressBytes>> m_networks;
    std::map<unsigned char, unsigned char> m_firstBytes; ///< of public IPv4 addresses
    /** Whether the bit behind the first N bits is inverted, by these bits and N. */
    std::map<std::pair<AddressBytes, unsigned>, bool> m_flips;
};

}
