#include "common/basic/ascii_text.h"

#include <cstdint>
#include <cstring>
#include <langinfo.h>
#include <string_view>

namespace dovrel::ascii_text {

bool localeExtendsAscii() noexcept
{
    std::string_view const codeset = nl_langinfo(CODESET);
    return codeset == "UTF-8" || codeset == "ANSI_X3.4-1968" || codeset.starts_with("ISO-8859-");
}

bool isAscii(char const* text, size_t count) noexcept
{
    constexpr size_t WORD = sizeof(uint64_t);
    size_t at = 0;
    for (; count - at >= WORD; at += WORD) {
        uint64_t word;
        std::memcpy(&word, text + at, WORD);
        if (word & 0x8080808080808080U)
            return false;
    }
    for (; at < count; ++at)
        if (static_cast<unsigned char>(text[at]) >= 0x80)
            return false;
    return true;
}

bool isAscii(wchar_t const* text, size_t count) noexcept
{
    size_t at = 0;
    for (; count - at >= 4; at += 4)
        if (static_cast<uint32_t>(text[at] | text[at + 1] | text[at + 2] | text[at + 3]) >= 0x80)
            return false;
    for (; at < count; ++at)
        if (static_cast<uint32_t>(text[at]) >= 0x80)
            return false;
    return true;
}

void widen(char const* text, size_t count, wchar_t* out) noexcept
{
    size_t done = 0;
    for (; count - done >= 4; done += 4) {
        uint32_t four;
        std::memcpy(&four, text + done, sizeof four);
        out[done] = static_cast<wchar_t>(four & 0xFF);
        out[done + 1] = static_cast<wchar_t>(four >> 8 & 0xFF);
        out[done + 2] = static_cast<wchar_t>(four >> 16 & 0xFF);
        out[done + 3] = static_cast<wchar_t>(four >> 24);
    }
    for (; done < count; ++done)
        out[done] = static_cast<wchar_t>(text[done]);
}

void narrow(wchar_t const* text, size_t count, char* out) noexcept
{
    size_t done = 0;
    for (; count - done >= 4; done += 4) {
        uint32_t const four = static_cast<uint32_t>(text[done])
            | static_cast<uint32_t>(text[done + 1]) << 8
            | static_cast<uint32_t>(text[done + 2]) << 16
            | static_cast<uint32_t>(text[done + 3]) << 24;
        std::memcpy(out + done, &four, sizeof four);
    }
    for (; done < count; ++done)
        out[done] = static_cast<char>(text[done]);
}

}
