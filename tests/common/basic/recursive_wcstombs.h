#pragma once

#include <algorithm>
#include <climits>
#include <cstring>
#include <cwchar>
#include <string>

/** Calls wcsnrtombs(3) once, with a fresh state. The count includes no more than the terminator,
 * and no zero byte precedes the buffer: glibc may abort otherwise. */
inline size_t attemptedWcstombs(char* dest, unsigned destSize, wchar_t const* src, unsigned count)
{
    size_t const limit = std::min<size_t>(count, std::wcslen(src) + 1);
    size_t const room = dest ? destSize : limit * MB_LEN_MAX;
    std::string guarded(1 + room, '#');
    std::mbstate_t state{};
    wchar_t const* next = src;
    size_t const bytes = wcsnrtombs(guarded.data() + 1, &next, limit, room, &state);
    if (dest && bytes != static_cast<size_t>(-1))
        std::memcpy(dest, guarded.data() + 1, next ? bytes : bytes + 1);
    return bytes;
}

/** A recursive reference of `safe_wcstombs_s` that shares no code with the library's.
 * @return 0 */
inline int recursiveWcstombs(
    unsigned* result, char* dest, unsigned destSize, wchar_t const* src, unsigned count)
{
    unsigned tried = count;
    for (;;) {
        size_t const bytes = attemptedWcstombs(dest, destSize, src, tried);
        if (bytes != static_cast<size_t>(-1)) {
            *result = static_cast<unsigned>(bytes) + 1;
            if (tried == count || bytes + 1 == destSize)
                return 0;
            unsigned rest = 0;
            int const code = recursiveWcstombs(&rest, dest ? dest + bytes : nullptr,
                destSize - std::min(destSize, static_cast<unsigned>(bytes)), src + tried,
                count - tried);
            *result = rest + static_cast<unsigned>(bytes);
            return code;
        }
        *result = 0xFFFFFFFF;
        if (tried == 0xFFFFFFFF)
            tried = std::min(static_cast<unsigned>(std::wcslen(src)), destSize / 2);
        tried /= 2;
        if (tried == 0)
            break;
    }
    if (dest)
        *dest = '?';
    unsigned rest = 0;
    int const code = recursiveWcstombs(&rest, dest ? dest + 1 : nullptr,
        destSize - std::min(destSize, 1U), src + 1, count == 0xFFFFFFFF ? count : count - 1);
    *result = rest + 1;
    return code;
}
