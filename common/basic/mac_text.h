#pragma once

#include "common/basic/macaddress.h"

namespace dovrel {

inline constexpr unsigned MAC_TEXT_LENGTH = macaddress_cpp::SIZE * 3 - 1;

/** Writes the address's text form, `MAC_TEXT_LENGTH` characters without a terminator, to @p out. */
void writeMacText(macaddress_cpp const& address, wchar_t* out) noexcept;

}
