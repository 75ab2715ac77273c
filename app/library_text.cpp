#include "app/library_text.h"

#include <exception>
#include <new>

namespace app {

namespace {

constexpr unsigned ETHERNET_BYTES = 6; // IEEE EUI-48

std::string pairs(dovrel::macaddress_cpp const& address, unsigned count)
{
    constexpr char DIGITS[] = "0123456789abcdef";
    std::string text;
    for (unsigned i = 0; i < count; ++i) {
        if (i > 0)
            text += ':';
        text += DIGITS[address[i] >> 4];
        text += DIGITS[address[i] & 0xF];
    }
    return text;
}

}

std::string textOf(dovrel::string const& text)
{
    return static_cast<char const*>(text);
}

std::optional<std::string> textOf(dovrel::ip_address const& address)
{
    if (!address.valid())
        return std::nullopt;
    // Virtual, so the code of the library that made the address answers; what it throws is its own
    // too, and must not outlive it.
    try {
        return textOf(address.toStringInternal());
    } catch (std::bad_alloc const&) {
        throw;
    } catch (std::exception const&) {
        return std::nullopt;
    }
}

std::optional<std::string> shortTextOf(dovrel::macaddress_cpp const& address)
{
    if (address == dovrel::macaddress_cpp())
        return std::nullopt;
    return pairs(address, ETHERNET_BYTES);
}

std::optional<std::string> textOf(dovrel::macaddress_cpp const& address)
{
    if (address[ETHERNET_BYTES] == 0 && address[ETHERNET_BYTES + 1] == 0)
        return shortTextOf(address);
    return pairs(address, dovrel::macaddress_cpp::SIZE);
}

}
