#pragma once

#include <common/basic/ip_address.h>
#include <common/basic/macaddress.h>
#include <common/basic/wide_string.h>

#include <optional>
#include <string>

/** The library's values as strings in the locale's encoding. */
namespace app {

std::string textOf(dovrel::string const& text);

/** @return nothing for an invalid address. */
std::optional<std::string> textOf(dovrel::ip_address const& address);

/** @return six bytes as `00:0c:29:aa:bb:cc`, all eight where the last two are not zero, nothing
 * where all are. */
std::optional<std::string> textOf(dovrel::macaddress_cpp const& address);

}
