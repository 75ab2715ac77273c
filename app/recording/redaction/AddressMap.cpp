#include "app/recording/redaction/AddressMap.h"

#include "app/recording/redaction/random_number.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <iterator>
#include <optional>
#include <vector>

namespace app {

namespace {

constexpr size_t IPV4 = 4;
constexpr size_t MAC = 6;
constexpr size_t GUID = 8;
constexpr unsigned BITS = 8; ///< of a byte
constexpr unsigned GROUP = 16; ///< bits of four hexadecimal digits

unsigned byteAt(AddressBytes const& address, size_t index)
{
    return static_cast<unsigned char>(address[index]);
}

bool bitAt(AddressBytes const& address, unsigned index)
{
    return (byteAt(address, index / BITS) >> (BITS - 1 - index % BITS) & 1U) != 0;
}

/** The address with zeros behind its first bits. */
AddressBytes firstBits(AddressBytes address, unsigned count)
{
    for (size_t i = 0; i < address.size(); ++i) {
        unsigned const begin = static_cast<unsigned>(i) * BITS;
        unsigned const kept = std::min(BITS, count > begin ? count - begin : 0);
        address[i] = static_cast<char>(byteAt(address, i) & ~(0xFFU >> kept));
    }
    return address;
}

/** A block of IPv4 addresses that is no part of the public ones; RFC 6890 and others. */
struct Block {
    uint32_t begin;
    unsigned prefixLength;
    unsigned kept; ///< bits that stay; 32: the address stays
};

constexpr unsigned ALL = 32;
constexpr Block BLOCKS[] = {
    {0x00000000, 8, ALL}, // "This host", RFC 1122
    {0x0A000000, 8, 8}, // private, RFC 1918
    {0x64400000, 10, 10}, // shared by a provider's customers, RFC 6598
    {0x7F000000, 8, ALL}, // loopback
    {0xA9FEA9FE, 32, ALL}, // a cloud's metadata
    {0xA9FE0000, 16, 16}, // link-local, RFC 3927
    {0xAC100000, 12, 12}, // private
    {0xC0000000, 24, ALL}, // protocols
    {0xC0000200, 24, ALL}, // documentation, RFC 5737
    {0xC0A80000, 16, 16}, // private
    {0xC6120000, 15, 15}, // benchmarks, RFC 2544
    {0xC6336400, 24, ALL}, // documentation
    {0xCB007100, 24, ALL}, // documentation
    {0xE0000000, 24, ALL}, // multicast on the link
    {0xE0000000, 4, 8}, // multicast
    {0xF0000000, 4, 8}, // reserved
};

uint32_t numberOf4(AddressBytes const& address)
{
    return byteAt(address, 0) << 24U | byteAt(address, 1) << 16U | byteAt(address, 2) << 8U
        | byteAt(address, 3);
}

uint32_t maskOf(unsigned prefixLength)
{
    return prefixLength == 0 ? 0 : UINT32_MAX << (ALL - prefixLength);
}

bool isNetmask(uint32_t number)
{
    return (~number & (~number + 1)) == 0;
}

/** The first bytes that only public addresses have. */
bool isPublicFirstByte(unsigned byte)
{
    constexpr std::array<unsigned, 9> MIXED = {10, 100, 127, 169, 172, 192, 198, 203, 0};
    return byte < 0xE0 && std::find(MIXED.begin(), MIXED.end(), byte) == MIXED.end();
}

bool startsWith(AddressBytes const& address, AddressBytes const& start)
{
    return address.compare(0, start.size(), start) == 0;
}

/** The bits of an IPv6 address that stay, RFC 4291; nothing where all stay. */
std::optional<unsigned> keptBits6(AddressBytes const& address)
{
    AddressBytes const loopback = AddressBytes(15, '\0') + '\1';
    if (startsWith(address, AddressBytes(15, '\0')) && address <= loopback)
        return std::nullopt;
    if (startsWith(address, {"\x20\x01\x0d\xb8", 4})) // documentation, RFC 3849
        return std::nullopt;
    if (startsWith(address, {"\x3f\xff", 2}) && byteAt(address, 2) < 0x10) // RFC 9637
        return std::nullopt;
    switch (byteAt(address, 0)) {
    case 0xFC: // unique local
    case 0xFD:
        return BITS;
    case 0xFE: // link-local
    case 0xFF: // multicast: flags and scope
        return GROUP;
    default:
        return 0;
    }
}

/** @return whether the last 4 bytes of an IPv6 address are one of IPv4. */
bool endsInIpv4(AddressBytes const& address)
{
    AddressBytes const mapped = AddressBytes(10, '\0') + "\xff\xff";
    AddressBytes const translated = AddressBytes("\x00\x64\xff\x9b", 4) + AddressBytes(8, '\0');
    return startsWith(address, mapped) || startsWith(address, translated);
}

/** @return the MAC address that the second half of an IPv6 address is made of; empty: of none. */
AddressBytes macIn(AddressBytes const& address)
{
    if (address.size() <= IPV4 || address.compare(11, 2, "\xff\xfe") != 0)
        return {};
    AddressBytes mac = address.substr(8, 3) + address.substr(13);
    mac[0] = static_cast<char>(byteAt(mac, 0) ^ 2U);
    return mac;
}

bool isAll(AddressBytes const& address, unsigned char byte)
{
    return std::all_of(address.begin(), address.end(),
        [&](char c) { return static_cast<unsigned char>(c) == byte; });
}

/** @return whether an IP address is its own replacement. */
bool stays(AddressBytes const& address)
{
    if (address.size() != IPV4)
        return !keptBits6(address) && macIn(address).empty();
    uint32_t const number = numberOf4(address);
    Block const* const block = std::find_if(std::begin(BLOCKS), std::end(BLOCKS),
        [&](Block const& one) { return (number & maskOf(one.prefixLength)) == one.begin; });
    return isNetmask(number) || (block != std::end(BLOCKS) && block->kept == ALL);
}

/** The bytes of a hardware address that identify the device; those before name its maker. */
AddressBytes deviceOf(AddressBytes const& address)
{
    return address.size() > MAC ? address.substr(address.size() - GUID) : address;
}

char randomByte()
{
    return static_cast<char>(randomBelow(UINT8_MAX + 1));
}

/** Random last bytes. The last two keep their number of leading zero digits, so that the text of an
 * IPv6 address that is made of them keeps its length. */
AddressBytes randomDevice(AddressBytes device)
{
    unsigned const old =
        byteAt(device, device.size() - 2) << BITS | byteAt(device, device.size() - 1);
    unsigned limit = 1;
    while (limit <= old)
        limit *= 16;
    unsigned const least = limit / 16;
    unsigned const last = old == 0 ? 0 : least + randomBelow(limit - least);
    for (size_t i = 3; i < device.size() - 2; ++i)
        device[i] = randomByte();
    device[device.size() - 2] = static_cast<char>(last >> BITS);
    device[device.size() - 1] = static_cast<char>(last);
    return device;
}

}

void AddressMap::addIp(AddressBytes const& address)
{
    if (stays(address) || !m_ips.insert(address).second)
        return;
    if (AddressBytes const mac = macIn(address); !mac.empty())
        addHardware(mac);
    if (address.size() > IPV4 && endsInIpv4(address))
        addIp(address.substr(address.size() - IPV4));
    if (address.size() != IPV4)
        return;
    for (unsigned const kept : {BITS, 2 * BITS, 3 * BITS}) {
        AddressBytes const host = address.substr(kept / BITS);
        if (isAll(host, 0) || isAll(host, UINT8_MAX)) {
            addNetwork(address, kept);
            return;
        }
    }
}

void AddressMap::addNetwork(AddressBytes const& address, unsigned prefixLength)
{
    if (prefixLength > 0 && prefixLength < address.size() * BITS)
        m_networks[{address.size(), prefixLength}].insert(firstBits(address, prefixLength));
}

void AddressMap::addHardware(AddressBytes const& address)
{
    if (!isAll(address, 0) && !isAll(address, UINT8_MAX))
        m_hardware.insert(address);
}

/** @return whether the first @p depth bits are those of a first or last address: of a known network
 * and, of IPv6, of a group of four digits, where zeros alone count. */
bool AddressMap::isEdge(AddressBytes const& address, unsigned depth) const
{
    auto const allAre = [&](unsigned begin, bool bit) {
        while (begin < depth && bitAt(address, begin) == bit)
            ++begin;
        return begin == depth;
    };
    if (address.size() != IPV4 && allAre(depth / GROUP * GROUP, false))
        return true;
    for (auto const& [lengths, networks] : m_networks)
        if (lengths.first == address.size() && lengths.second <= depth
            && (allAre(lengths.second, false)
                || (address.size() == IPV4 && allAre(lengths.second, true)))
            && networks.count(firstBits(address, lengths.second)) != 0)
            return true;
    return false;
}

bool AddressMap::flips(AddressBytes const& address, unsigned depth)
{
    auto const [place, isNew] = m_flips.try_emplace({firstBits(address, depth), depth}, false);
    if (isNew)
        place->second = !isEdge(address, depth) && randomBelow(2) == 1;
    return place->second;
}

AddressBytes AddressMap::withFlips(AddressBytes const& address, unsigned kept)
{
    AddressBytes result = address;
    for (unsigned depth = kept; depth < address.size() * BITS; ++depth)
        if (flips(address, depth))
            result[depth / BITS] =
                static_cast<char>(byteAt(result, depth / BITS) ^ (0x80U >> (depth % BITS)));
    return result;
}

unsigned char AddressMap::replacedFirstByte(unsigned char byte)
{
    auto const found = m_firstBytes.find(byte);
    if (found != m_firstBytes.end())
        return found->second;
    std::set<unsigned> used;
    for (auto const& [from, to] : m_firstBytes)
        used.insert(to);
    std::vector<unsigned char> free;
    for (unsigned candidate = 1; candidate < 0xE0; ++candidate)
        if (isPublicFirstByte(candidate) && candidate != byte && used.count(candidate) == 0)
            free.push_back(static_cast<unsigned char>(candidate));
    unsigned char const chosen =
        free.empty() ? byte : free[randomBelow(static_cast<uint32_t>(free.size()))];
    m_firstBytes[byte] = chosen;
    return chosen;
}

AddressBytes AddressMap::replaced4(AddressBytes const& address)
{
    uint32_t const number = numberOf4(address);
    if (stays(address))
        return address;
    for (Block const& block : BLOCKS)
        if ((number & maskOf(block.prefixLength)) == block.begin)
            return withFlips(address, block.kept);
    AddressBytes result = withFlips(address, BITS);
    result[0] = static_cast<char>(replacedFirstByte(static_cast<unsigned char>(address[0])));
    return result;
}

AddressBytes AddressMap::replaced6(AddressBytes const& address)
{
    if (endsInIpv4(address))
        return address.substr(0, 12) + replaced4(address.substr(12));
    auto const kept = keptBits6(address);
    AddressBytes result = kept ? withFlips(address, *kept) : address;
    if (AddressBytes const mac = macIn(address); !mac.empty()) {
        AddressBytes const other = replacedHardware(mac);
        result.replace(8, 3, other, 0, 3);
        result[8] = static_cast<char>(byteAt(result, 8) ^ 2U);
        result.replace(11, 2, "\xff\xfe");
        result.replace(13, 3, other, 3, 3);
    }
    return result;
}

AddressBytes AddressMap::replacedIp(AddressBytes const& address)
{
    return address.size() == IPV4 ? replaced4(address) : replaced6(address);
}

AddressBytes AddressMap::replacedHardware(AddressBytes const& address) const
{
    AddressBytes const device = deviceOf(address);
    auto const found = m_hardwareReplacements.find(device);
    return found == m_hardwareReplacements.end()
        ? address
        : address.substr(0, address.size() - device.size()) + found->second;
}

void AddressMap::chooseHardware()
{
    constexpr int ATTEMPTS = 1000;
    std::set<AddressBytes> taken;
    for (AddressBytes const& address : m_hardware)
        taken.insert(deviceOf(address));
    for (AddressBytes const& address : m_hardware) {
        AddressBytes const device = deviceOf(address);
        AddressBytes other = randomDevice(device);
        for (int i = 0; i < ATTEMPTS && taken.count(other) != 0; ++i)
            other = randomDevice(device);
        if (m_hardwareReplacements.emplace(device, other).second)
            taken.insert(other);
    }
}

void AddressMap::choose()
{
    constexpr int ATTEMPTS = 64;
    chooseHardware();
    size_t fewest = SIZE_MAX;
    auto flips = m_flips;
    auto firstBytes = m_firstBytes;
    for (int attempt = 0; attempt < ATTEMPTS && fewest > 0; ++attempt) {
        m_flips.clear();
        m_firstBytes.clear();
        auto const isTaken = [&](AddressBytes const& address) {
            return m_ips.count(replacedIp(address)) != 0;
        };
        auto const count = static_cast<size_t>(std::count_if(m_ips.begin(), m_ips.end(), isTaken));
        if (count >= fewest)
            continue;
        fewest = count;
        flips = m_flips;
        firstBytes = m_firstBytes;
    }
    m_flips = flips;
    m_firstBytes = firstBytes;
}

}
