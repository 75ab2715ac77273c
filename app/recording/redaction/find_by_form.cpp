#include "app/recording/redaction/characters.h"
#include "app/recording/redaction/find_values.h"
#include "app/recording/redaction/lines.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <vector>

namespace app {

namespace {

constexpr size_t UUID_DIGITS = 32;

/** Groups of letters and digits that are an identifier. */
struct IdentifierForm {
    std::vector<size_t> lengths;
    char separator;
    bool (*is)(char);
};

/** @return the length of the groups at the beginning; 0: there are none. */
size_t groupsLength(std::string_view text, IdentifierForm const& form)
{
    size_t place = 0;
    for (size_t const length : form.lengths) {
        if (place > 0 && (place >= text.size() || text[place++] != form.separator))
            return 0;
        std::string_view const group = text.substr(place, length);
        if (group.size() < length || !std::all_of(group.begin(), group.end(), form.is))
            return 0;
        place += length;
    }
    return place < text.size() && isAlphanumeric(text[place]) ? 0 : place;
}

/** @return whether it has digits and letters, as an identifier has and a number has not. */
bool isMixed(std::string_view text)
{
    return std::any_of(text.begin(), text.end(), isDigit)
        && !std::all_of(text.begin(), text.end(), isDigit);
}

/** UUIDs, identifiers of md and LVM, of machines (machine-id(5)) and of containers.
 * @return the length; 0: none is here. */
size_t uuidLength(std::string_view text)
{
    static IdentifierForm const FORMS[] = {{{8, 4, 4, 4, 12}, '-', isHexDigit},
        {{8, 4, 4, 4, 12}, '_', isHexDigit}, {{8, 8, 8, 8}, ':', isHexDigit},
        {{6, 4, 4, 4, 4, 4, 6}, '-', isAlphanumeric}};
    for (size_t const length : {64, 40, 32})
        if (groupsLength(text, {{length}, ' ', isHexDigit}) > 0 && isMixed(text.substr(0, length)))
            return length;
    for (IdentifierForm const& form : FORMS)
        if (size_t const length = groupsLength(text, form); length > 0)
            return length;
    return 0;
}

/** Pairs of hexadecimal digits with one separator. @return their length; 0: fewer than 4. */
size_t pairsLength(std::string_view text)
{
    constexpr size_t FEWEST = 4;
    char const separator = text.size() > 2 ? text[2] : ' ';
    if (separator != ':' && separator != '-')
        return 0;
    size_t count = 0;
    while (text.size() >= count * 3 + 2 && isHexDigit(text[count * 3])
        && isHexDigit(text[count * 3 + 1])) {
        ++count;
        if (text.size() <= count * 3 - 1 || text[count * 3 - 1] != separator)
            break;
    }
    size_t const end = count == 0 ? 0 : count * 3 - 1;
    bool const isCut = end < text.size() && isAlphanumeric(text[end]);
    return count < FEWEST || isCut ? 0 : end;
}

void addPairs(std::string_view text, RedactedValues& values)
{
    constexpr size_t GUID = 8;
    constexpr size_t INFINIBAND = 20;
    AddressBytes const bytes = bytesOf(core(text));
    // A tunnel's hardware address is its IP address.
    if (bytes.size() == sizeof(in6_addr) && bytes[0] != '\0' && (bytes[0] & 0xC0) != 0x80)
        values.addresses.addIp(bytes);
    // The first bytes of InfiniBand's: no part of the device's own.
    bool const isCut = bytes.size() == GUID && bytes.substr(4) == std::string("\xFE\x80\0\0", 4);
    if (isCut)
        return;
    if (bytes.size() == 6 || bytes.size() == GUID || bytes.size() == INFINIBAND)
        values.addresses.addHardware(bytes);
}

/** @return the address in a text; empty: none. */
AddressBytes parsed(std::string const& text)
{
    std::array<char, sizeof(in6_addr)> bytes{};
    if (inet_pton(AF_INET, text.c_str(), bytes.data()) == 1)
        return {bytes.data(), sizeof(in_addr)};
    if (inet_pton(AF_INET6, text.c_str(), bytes.data()) == 1)
        return {bytes.data(), bytes.size()};
    return {};
}

/** @return the digits, dots and colons at the beginning that may be an address. */
std::string_view addressAt(std::string_view text)
{
    size_t end = 0;
    while (end < text.size() && (isHexDigit(text[end]) || text[end] == '.' || text[end] == ':'))
        ++end;
    // A sign behind an address: "fe80::1:", "192.0.2.1."
    bool const endsInGap = end > 1 && text.substr(end - 2, 2) == "::";
    if (end > 0 && !isHexDigit(text[end - 1]) && !endsInGap)
        --end;
    std::string_view const all = text.substr(0, end);
    // "192.0.2.1:3260"
    if (size_t const colon = all.find(':'); all.find('.') < colon)
        return all.substr(0, colon);
    return all;
}

bool isMask(AddressBytes const& address)
{
    return address.size() == sizeof(in_addr) && static_cast<unsigned char>(address[0]) == UINT8_MAX;
}

unsigned onesIn(AddressBytes const& mask)
{
    unsigned count = 0;
    for (char const c : mask)
        for (unsigned bits = static_cast<unsigned char>(c); (bits & 0x80U) != 0; bits <<= 1U)
            ++count;
    return count;
}

/** The prefix length behind an address: "/24", "  prefixlen 64". 0: none. */
unsigned prefixBehind(std::string_view text)
{
    for (std::string_view const mark : {"/", "  prefixlen ", " prefixlen "})
        if (text.substr(0, mark.size()) == mark) {
            unsigned number = 0;
            for (size_t i = mark.size(); i < text.size() && isDigit(text[i]) && number < 128; ++i)
                number = number * 10 + static_cast<unsigned>(text[i] - '0');
            return number;
        }
    return 0;
}

/** An old ifconfig's "netmask 0xffffff00". Empty: none. */
AddressBytes hexMaskIn(std::string_view line)
{
    constexpr size_t DIGITS = 8;
    for (std::string_view const mark : {"netmask 0x", "netmask "})
        if (size_t const place = line.find(mark); place != std::string_view::npos)
            if (auto const digits = line.substr(place + mark.size(), DIGITS);
                digits.size() == DIGITS && isHex(digits))
                return bytesOf(digits);
    return {};
}

/** @return whether a version stands behind this text: "Version: ", "kernel=", `"firmware": "`. */
bool isBeforeVersion(std::string_view before)
{
    constexpr size_t LONGEST_KEY = 24;
    before.remove_prefix(before.size() - std::min(before.size(), LONGEST_KEY));
    // Of "crashkernel=auto nfsroot=192.0.2.1" the last word counts.
    if (!before.empty() && before.back() == '=')
        before.remove_prefix(before.find_last_of(' ') + 1);
    std::string const text = lowered(before);
    for (char const* const word : {"version", "revision", "kernel", "firmware", "release", "bios"})
        if (text.find(word) != std::string::npos)
            return true;
    return false;
}

void findAddresses(std::string_view line, bool mayBeIpv4, RedactedValues& values)
{
    std::vector<AddressBytes> addresses;
    AddressBytes mask = hexMaskIn(line);
    for (size_t i = 0; i < line.size(); ++i) {
        bool const begins = isHexDigit(line[i]) || line.substr(i, 2) == "::";
        if (!begins || !isWordBegin(line, i))
            continue;
        std::string const text(addressAt(line.substr(i)));
        // Eight pairs are a GUID, and no IPv6 address.
        bool const isHardware = !text.empty() && pairsLength(text) == text.size();
        AddressBytes const address = isHardware ? AddressBytes() : parsed(text);
        size_t const end = i + text.size();
        bool const isCut = end < line.size() && isAlphanumeric(line[end]);
        bool const isVersion =
            address.size() == sizeof(in_addr) && (!mayBeIpv4 || isBeforeVersion(line.substr(0, i)));
        if (!address.empty() && !isCut && !isVersion) {
            values.addresses.addIp(address);
            values.addresses.addNetwork(address, prefixBehind(line.substr(end)));
            if (address.size() != sizeof(in_addr))
                values.addressTexts[address].insert(lowered(text));
            (isMask(address) ? mask : addresses.emplace_back()) = address;
        }
        // The rest of the word is no address, whatever it is.
        while (i + 1 < line.size()
            && (isAlphanumeric(line[i + 1]) || line[i + 1] == '.'
                || (line[i + 1] == ':' && i + 1 < end)))
            ++i;
    }
    for (AddressBytes const& address : addresses)
        if (address.size() == mask.size())
            values.addresses.addNetwork(address, onesIn(mask));
}

}

void findByForm(std::string_view text, RedactedValues& values, bool mayHaveIpv4)
{
    constexpr std::string_view POD = "pod"; // "kubepods-pod12345678_..."
    for (std::string_view const line : linesIn(text)) {
        findAddresses(line, mayHaveIpv4, values);
        for (size_t i = 0; i < line.size(); ++i) {
            std::string_view const rest = line.substr(i);
            bool const isPod = i >= POD.size() && line.substr(i - POD.size(), POD.size()) == POD;
            if (!isAlphanumeric(line[i]) || !(isPod || isWordBegin(line, i)))
                continue;
            if (size_t const length = uuidLength(rest); length > 0) {
                values.add(RedactedKind::UUID, rest.substr(0, length));
                i += length - 1;
            } else if (size_t const pairs = pairsLength(rest); pairs > 0) {
                addPairs(rest.substr(0, pairs), values);
                i += pairs - 1;
            }
        }
    }
}

}
