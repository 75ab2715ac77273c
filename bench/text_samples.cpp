#include "bench/text_samples.h"

namespace bench {

namespace {

constexpr wchar_t ASCII_SAMPLE[] = L"/dev/disk/by-id/ata-DISK_2000.39GB_sn-0123456789 ";

// German, French, Greek and Chinese letters, of two and three bytes in UTF-8, between ASCII.
constexpr wchar_t MIXED_SAMPLE[] =
    L"Gr\u00f6\u00dfe d\u00e9j\u00e0 \u03b4\u03af\u03c3\u03ba\u03bf\u03c2 sda \u78c1\u76d8 1 ";

template <size_t SIZE> std::wstring repeated(wchar_t const (&sample)[SIZE], unsigned characters)
{
    std::wstring text;
    text.reserve(characters);
    for (unsigned i = 0; i < characters; ++i)
        text += sample[i % (SIZE - 1)];
    return text;
}

/** The samples have only characters of one to three bytes. */
std::string utf8(std::wstring const& wide)
{
    std::string text;
    for (wchar_t character : wide) {
        auto const code = static_cast<unsigned>(character);
        if (code < 0x80) {
            text += static_cast<char>(code);
        } else if (code < 0x800) {
            text += static_cast<char>(0xC0 | code >> 6);
            text += static_cast<char>(0x80 | (code & 0x3F));
        } else {
            text += static_cast<char>(0xE0 | code >> 12);
            text += static_cast<char>(0x80 | (code >> 6 & 0x3F));
            text += static_cast<char>(0x80 | (code & 0x3F));
        }
    }
    return text;
}

}

std::wstring asciiWide(unsigned characters)
{
    return repeated(ASCII_SAMPLE, characters);
}

std::wstring mixedWide(unsigned characters)
{
    return repeated(MIXED_SAMPLE, characters);
}

std::string asciiText(unsigned characters)
{
    return utf8(asciiWide(characters));
}

std::string mixedText(unsigned characters)
{
    return utf8(mixedWide(characters));
}

}
