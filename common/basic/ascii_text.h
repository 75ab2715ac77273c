#pragma once

#include <cstddef>

namespace dovrel::ascii_text {

/**
 * @return whether the current locale's encoding encodes each ASCII character as its own byte, so
 * that an ASCII string needs no conversion; nl_langinfo(3), CODESET. False for an encoding that is
 * not in the list. For example, byte 0x5C is another character in Shift-JIS and Johab.
 */
bool localeExtendsAscii() noexcept;

/** @return whether each of the first @p count characters is below 0x80. */
bool isAscii(char const* text, size_t count) noexcept;
bool isAscii(wchar_t const* text, size_t count) noexcept;

/** Convert @p count characters, which must be ASCII. */
void widen(char const* text, size_t count, wchar_t* out) noexcept;
void narrow(wchar_t const* text, size_t count, char* out) noexcept;

}
