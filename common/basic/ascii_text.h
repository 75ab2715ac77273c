#pragma once

#include <cstddef>

namespace dovrel::ascii_text {

/**
 * Whether the current locale's encoding writes each ASCII character as that one byte and nothing
 * else, so that a text of ASCII alone needs no conversion. False for an encoding that is not known
 * here (nl_langinfo(3), CODESET): Shift-JIS and Johab, for two, read byte 0x5C as another
 * character.
 */
bool isLocalesOwn() noexcept;

/**
 * Widens @p text up to @p count bytes or its first zero byte.
 *
 * @return the number of characters stored at @p out, without a terminator; `NOT_ASCII` where a byte
 * of 0x80 or more came first.
 */
size_t widen(char const* text, size_t count, wchar_t* out) noexcept;

/** Narrows @p count characters. @return false, with part of @p out written, where one is not ASCII.
 */
bool narrow(wchar_t const* text, size_t count, char* out) noexcept;

inline constexpr size_t NOT_ASCII = static_cast<size_t>(-1);

}
