#include "common/basic/ascii_text.h"

#include <cstdint>
#include <cstring>
#include <langinfo.h>

namespace dovrel::ascii_text {

bool isLocalesOwn() noexcept
{
    char const* codeset = nl_langinfo(CODESET);
    return std::strcmp(codeset, "UTF-8") == 0 || std::strcmp(codeset, "ANSI_X3.4-1968") == 0
        || std::strncmp(codeset, "ISO-8859-", 9) == 0;
}

size_t widen(char const* text, size_t count, wchar_t* out) noexcept
{
    size_t const length = strnlen(text, count);
    size_t done = 0;
    for (; length - done >= 4; done += 4) {
        uint32_t four;
        std::memcpy(&four, text + done, sizeof four);
        if (four & 0x80808080U)
            return NOT_ASCII;
        out[done] = static_cast<wchar_t>(four & 0xFF);
        out[done + 1] = static_cast<wchar_t>(four >> 8 & 0xFF);
        out[done + 2] = static_cast<wchar_t>(four >> 16 & 0xFF);
        out[done + 3] = static_cast<wchar_t>(four >> 24);
    }
    for (; done < length; ++done) {
        auto const byte = static_cast<unsigned char>(text[done]);
        if (byte >= 0x80)
            return NOT_ASCII;
        out[done] = static_cast<wchar_t>(byte);
    }
    return length;
}

bool narrow(wchar_t const* text, size_t count, char* out) noexcept
{
    size_t done = 0;
    for (; count - done >= 4; done += 4) {
        auto const a = static_cast<uint32_t>(text[done]);
        auto const b = static_cast<uint32_t>(text[done + 1]);
        auto const c = static_cast<uint32_t>(text[done + 2]);
        auto const d = static_cast<uint32_t>(text[done + 3]);
        if ((a | b | c | d) >= 0x80)
            return false;
        uint32_t const four = a | b << 8 | c << 16 | d << 24;
        std::memcpy(out + done, &four, sizeof four);
    }
    for (; done < count; ++done) {
        auto const code = static_cast<uint32_t>(text[done]);
        if (code >= 0x80)
            return false;
        out[done] = static_cast<char>(code);
    }
    return true;
}

}
