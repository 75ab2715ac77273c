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

/** Whether each of the first @p count characters is below 0x80. */
bool isAscii(char const* text, size_t count) noexcept;
bool isAscii(wchar_t const* text, size_t count) noexcept;

/** Widens and narrows @p count characters for which `isAscii` holds. */
void widen(char const* text, size_t count, wchar_t* out) noexcept;
void narrow(wchar_t const* text, size_t count, char* out) noexcept;

}
