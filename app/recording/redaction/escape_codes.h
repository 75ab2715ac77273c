#pragma once

#include "app/recording/redaction/characters.h"

#include <algorithm>
#include <string>
#include <string_view>

namespace app {

/** A code of two hexadecimal or three octal digits behind `\`. @return its length, 0: none. */
inline size_t codeLength(std::string_view text, unsigned& code)
{
    constexpr size_t LENGTH = 4;
    if (text.size() < LENGTH || text[0] != '\\')
        return 0;
    std::string_view const digits = text.substr(1, LENGTH - 1);
    if (digits[0] == 'x' && isHexDigit(digits[1]) && isHexDigit(digits[2])) {
        code = hexValue(digits[1]) << 4U | hexValue(digits[2]);
        return LENGTH;
    }
    if (!std::all_of(digits.begin(), digits.end(), isDigit))
        return 0;
    code = hexValue(digits[0]) << 6U | hexValue(digits[1]) << 3U | hexValue(digits[2]);
    return LENGTH;
}

/** A text without the codes of udev and of /proc/mounts. */
inline std::string decoded(std::string_view text)
{
    std::string result;
    while (!text.empty()) {
        unsigned code = 0;
        size_t const length = codeLength(text, code);
        result += length > 0 ? static_cast<char>(code) : text[0];
        text.remove_prefix(std::max<size_t>(length, 1));
    }
    return result;
}

}
