#include "app/recording/archive/escaped_text.h"

#include <utf8proc.h>

namespace app {

namespace {

/** @return the bytes of the character at the start; 0 where it is a control character or no UTF-8.
 */
size_t plainBytes(std::string_view text)
{
    constexpr utf8proc_int32_t DELETE = 0x7F;
    constexpr utf8proc_int32_t FIRST_PRINTABLE = 0xA0; // Behind the controls of ISO 6429.
    utf8proc_int32_t code = 0;
    auto const bytes = utf8proc_iterate(reinterpret_cast<utf8proc_uint8_t const*>(text.data()),
        static_cast<utf8proc_ssize_t>(text.size()), &code);
    if (bytes <= 0 || code < ' ' || (code >= DELETE && code < FIRST_PRINTABLE))
        return 0;
    return static_cast<size_t>(bytes);
}

/** @return the digit's value; -1 where it is none. */
int valueOf(char digit)
{
    constexpr int TEN = 10;
    return digit >= '0' && digit <= '9' ? digit - '0'
        : digit >= 'A' && digit <= 'F'  ? digit - 'A' + TEN
        : digit >= 'a' && digit <= 'f'  ? digit - 'a' + TEN
                                        : -1;
}

}

bool isPlain(std::string_view text)
{
    while (!text.empty()) {
        size_t const bytes = plainBytes(text);
        if (bytes == 0)
            return false;
        text.remove_prefix(bytes);
    }
    return true;
}

std::string escaped(std::string_view text)
{
    constexpr char DIGITS[] = "0123456789ABCDEF";
    std::string result;
    result.reserve(text.size());
    while (!text.empty()) {
        size_t const bytes = text.front() == '%' ? 0 : plainBytes(text);
        if (bytes == 0) {
            auto const byte = static_cast<unsigned char>(text.front());
            result += {'%', DIGITS[byte >> 4], DIGITS[byte & 0xF]};
        }
        result.append(text, 0, bytes);
        text.remove_prefix(bytes == 0 ? 1 : bytes);
    }
    return result;
}

std::optional<std::string> unescaped(std::string_view text)
{
    if (!isPlain(text))
        return std::nullopt;
    std::string result;
    result.reserve(text.size());
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            result += text[i];
            continue;
        }
        int const high = i + 2 < text.size() ? valueOf(text[i + 1]) : -1;
        int const low = i + 2 < text.size() ? valueOf(text[i + 2]) : -1;
        if (high < 0 || low < 0)
            return std::nullopt;
        result += static_cast<char>(high << 4 | low);
        i += 2;
    }
    return result;
}

}
