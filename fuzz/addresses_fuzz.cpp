// Addresses with and without a port or a prefix, and netmasks, agree with a separate parser.

#include "common/basic/NetworkError.h"
#include "common/basic/inet_address.h"
#include "fuzz/expect.h"
#include "fuzz/wide_input.h"
#include "sysinfo/UNIXSystemInformation.h"
#include "tests/reference/text.h"

#include <array>
#include <optional>
#include <sstream>
#include <vector>

using dovrel::inet_address;
using dovrel::ip_address;
using dovrel::string;
using fuzz::expect;

namespace {

using Bytes = std::vector<uint8_t>;

bool isHexadecimal(std::string const& text)
{
    return text.find_first_not_of("0123456789abcdefABCDEF") == std::string::npos;
}

/** Four decimal numbers without leading zeros. */
std::optional<Bytes> readIPv4(std::string const& text)
{
    Bytes bytes;
    for (std::string const& part : reference::split(text, ".")) {
        bool const isDecimal = part.find_first_not_of("0123456789") == std::string::npos;
        if (part.empty() || part.size() > 3 || !isDecimal || (part[0] == '0' && part.size() > 1)
            || std::stoi(part) > 255)
            return std::nullopt;
        bytes.push_back(static_cast<uint8_t>(std::stoi(part)));
    }
    return bytes.size() == 4 ? std::optional<Bytes>(bytes) : std::nullopt;
}

/** Reads groups of hexadecimal digits, the last of which may be an IPv4 address. */
std::optional<Bytes> readGroups(std::string const& text)
{
    Bytes bytes;
    if (text.empty())
        return bytes;
    auto const groups = reference::split(text, ":");
    for (size_t i = 0; i < groups.size(); ++i) {
        std::string const& group = groups[i];
        if (i + 1 == groups.size() && group.find('.') != std::string::npos) {
            auto const last = readIPv4(group);
            if (!last)
                return std::nullopt;
            bytes.insert(bytes.end(), last->begin(), last->end());
        } else if (group.empty() || group.size() > 4 || !isHexadecimal(group)) {
            return std::nullopt;
        } else {
            int const number = std::stoi(group, nullptr, 16);
            bytes.push_back(static_cast<uint8_t>(number >> 8));
            bytes.push_back(static_cast<uint8_t>(number & 0xFF));
        }
    }
    return bytes;
}

/** "::" stands once for one or more groups of zeros. RFC 4291, 2.2. */
std::optional<Bytes> readIPv6(std::string const& text)
{
    constexpr size_t SIZE = 16;
    size_t const gap = text.find("::");
    auto before = readGroups(text.substr(0, gap));
    if (gap == std::string::npos)
        return before && before->size() == SIZE ? before : std::nullopt;
    auto const after = readGroups(text.substr(gap + 2));
    // An IPv4 address is the last part of the whole.
    bool const isSplit = text.substr(0, gap).find('.') != std::string::npos;
    if (!before || !after || isSplit || before->size() + after->size() > SIZE - 2)
        return std::nullopt;
    before->resize(SIZE - after->size());
    before->insert(before->end(), after->begin(), after->end());
    return before;
}

std::optional<Bytes> readAddress(std::string const& text)
{
    auto const bytes = readIPv4(text);
    return bytes ? bytes : readIPv6(text);
}

void expectAddress(ip_address const& address, std::optional<Bytes> const& expected)
{
    expect(address.valid() == expected.has_value());
    if (!expected) {
        expect(address.family() == ip_address::AF_INVALID);
        return;
    }
    auto const* const socket = reinterpret_cast<uint8_t const*>(address.sockaddrPtr());
    size_t const offset =
        address.ipv4() ? offsetof(sockaddr_in, sin_addr) : offsetof(sockaddr_in6, sin6_addr);
    expect(Bytes(socket + offset, socket + offset + expected->size()) == *expected);
    expect(ip_address(address.ip_address::toStringInternal()).isEqual(address));
}

void expectWithPort(std::string const& text)
{
    inet_address const address{string(text)};
    size_t const colon = text.rfind(':');
    std::optional<Bytes> expected;
    int port = -1;
    if (colon != std::string::npos) {
        std::istringstream in(text.substr(colon + 1));
        if (!(in >> port))
            port = -1;
        if (port != -1)
            expected = readAddress(text.substr(0, colon));
    }
    expectAddress(address, expected);
    expect(address.port() == (expected ? static_cast<unsigned short>(port) : 0));
    if (!expected)
        return;
    inet_address const again(address.toStringInternal());
    expect(again.isEqual(address) && !again.isLess(address));
}

/** Hexadecimal, with or without "0x", becomes dotted; everything else stays. */
void expectMask(std::string const& text)
{
    bool const isPrefixed = text.starts_with("0x");
    size_t const begin = isPrefixed ? 2 : 0;
    std::string digits = text.substr(begin);
    digits.resize(std::min(digits.find_first_not_of("0123456789abcdefABCDEF"), digits.size()));
    bool const isNumber = !digits.empty() && (isPrefixed || isHexadecimal(text));
    digits.erase(0, std::min(digits.find_first_not_of('0'), digits.size()));
    std::string expected = text;
    if (isNumber && digits.size() <= 8) {
        auto const word = static_cast<uint32_t>(std::stoul("0" + digits, nullptr, 16));
        expected = std::to_string(word >> 24) + "." + std::to_string(word >> 16 & 0xFF) + "."
            + std::to_string(word >> 8 & 0xFF) + "." + std::to_string(word & 0xFF);
    }
    string const mask = sysinfo::UNIXSystemInformation::UNIXNetworkInfo::convertMask(text);
    expect(std::string(static_cast<char const*>(mask)) == expected);
}

void expectOrder(ip_address const& a, ip_address const& b)
{
    expect(!a.isLess(a) && !(a.isLess(b) && b.isLess(a)));
    expect(a.isEqual(b) == b.isEqual(a) && a.isEqual(a) == a.valid());
    if (a.valid() && b.valid() && a.ipv4() == b.ipv4())
        expect(a.isEqual(b) == (!a.isLess(b) && !b.isLess(a)));
}

}

/** The first line is an address; each further line, and the line before it, another. */
extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size)
{
    // The locale is "C", in which a character beyond ASCII becomes "?", as no address has.
    std::string text(reinterpret_cast<char const*>(data), size);
    for (char& c : text)
        if (c == '\0' || static_cast<signed char>(c) < 0)
            c = '?';
    ip_address before;
    for (std::string const& line : reference::lines(text)) {
        ip_address const address{string(line)};
        auto const expected = readAddress(line);
        expectAddress(address, expected);
        expectOrder(address, before);
        before = address;

        inet_address const withPort(443, string(line));
        expectAddress(withPort, expected);
        expect(withPort.port() == (expected ? 443 : 0));
        expectWithPort(line);
        expectMask(line);
    }
    return 0;
}
