#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

namespace fuzz {

/** @return the characters of UTF-8; another byte stands for the character of its number, and 0xFF
 * for the one in the next four bytes, any number. */
inline std::wstring wideText(std::string_view bytes)
{
    std::wstring text;
    for (size_t i = 0; i < bytes.size(); ++i) {
        auto const lead = static_cast<uint8_t>(bytes[i]);
        size_t const tail = lead >= 0xF0 ? 3 : lead >= 0xE0 ? 2 : lead >= 0xC0 ? 1 : 0;
        if (lead == 0xFF && i + 4 < bytes.size()) {
            wchar_t any = 0;
            std::memcpy(&any, bytes.data() + i + 1, 4);
            text += any;
            i += 4;
        } else if (tail == 0 || i + tail >= bytes.size()) {
            text += static_cast<wchar_t>(lead);
        } else {
            auto number = static_cast<uint32_t>(lead & (0x3F >> tail));
            for (size_t j = 1; j <= tail; ++j)
                number = number << 6 | (static_cast<uint8_t>(bytes[i + j]) & 0x3F);
            text += static_cast<wchar_t>(number);
            i += tail;
        }
    }
    return text;
}

/** @return the text up to its first zero, which is where a string from it ends. */
inline std::wstring untilZero(std::wstring const& text)
{
    return text.substr(0, text.find(L'\0'));
}

}
