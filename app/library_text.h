#pragma once

#include <common/basic/ip_address.h>
#include <common/basic/macaddress.h>
#include <common/basic/wide_string.h>

#include <optional>
#include <string>

/** The library's values as texts in the locale's encoding. */
namespace app {

std::string textOf(dovrel::string const& text);

/** @return nothing where it is no address. @throws std::bad_alloc only */
std::optional<std::string> textOf(dovrel::ip_address const& address);

/** @return six bytes as `00:0c:29:aa:bb:cc`, nothing where all of the address is zero. */
std::optional<std::string> shortTextOf(dovrel::macaddress_cpp const& address);

/** The same with all eight bytes where the last two are not zero. */
std::optional<std::string> textOf(dovrel::macaddress_cpp const& address);

}
