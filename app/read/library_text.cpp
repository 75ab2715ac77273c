#include "app/read/library_text.h"

#include <common/basic/text_cast.h>

namespace app {

std::string textOf(dovrel::string const& text)
{
    return static_cast<char const*>(text);
}

std::optional<std::string> textOf(dovrel::ip_address const& address)
{
    return address.valid() ? std::optional(textOf(address.toStringInternal())) : std::nullopt;
}

std::optional<std::string> textOf(dovrel::macaddress_cpp const& address)
{
    constexpr unsigned ETHERNET_BYTES = 6; // IEEE EUI-48
    constexpr size_t PAIR = 3; // Two digits and a colon.
    if (address == dovrel::macaddress_cpp())
        return std::nullopt;
    std::string text = textOf(dovrel::str_cast(address));
    if (address[ETHERNET_BYTES] == 0 && address[ETHERNET_BYTES + 1] == 0)
        text.resize(ETHERNET_BYTES * PAIR - 1);
    return text;
}

}
