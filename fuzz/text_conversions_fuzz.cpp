// Text in the locale's encoding becomes wide text, and wide text that, as the C library's functions
// have it, with "?" for what is none. The first byte chooses the locale, the second a count.

#include "common/basic/wide_string.h"
#include "fuzz/expect.h"
#include "fuzz/wide_input.h"
#include "tests/common/basic/recursive_wcstombs.h"

#include <array>
#include <clocale>
#include <cstdlib>

using dovrel::string;
using fuzz::expect;

namespace {

/** The locales that tests/common/basic/locale_scope.h describes, each loaded once. */
std::array<locale_t, 7> loadLocales()
{
    std::array<locale_t, 7> locales{};
    ::setenv("LOCPATH", DOVREL_TEST_LOCALES, 1);
    size_t i = 0;
    for (char const* name :
        {"C", "BIG5-HKSCS", "BS_4730", "ISO-8859-1", "ISO-8859-9", "SHIFT_JIS", "C.UTF-8"}) {
        if (i + 1 == locales.size())
            ::unsetenv("LOCPATH"); // It hides the system's locales.
        // newlocale(3) would leak with LOCPATH.
        expect(std::setlocale(LC_CTYPE, name) != nullptr);
        locales[i++] = ::duplocale(LC_GLOBAL_LOCALE);
    }
    return locales;
}

constexpr unsigned WHOLE = 0xFFFFFFFF;

/** One "?" for each byte where a byte is invalid. */
std::wstring expectedWide(std::string const& text, unsigned count)
{
    size_t const most = std::min<size_t>(text.size(), count);
    std::wstring wide(most + 1, L'\0');
    size_t const length = std::mbstowcs(wide.data(), text.c_str(), most);
    if (length == static_cast<size_t>(-1))
        return std::wstring(most, L'?');
    wide.resize(length);
    return wide;
}

/** Converts with a size, as C code does. @return the bytes with the terminator in the last one. */
std::string expectConversion(std::wstring const& text)
{
    auto const length = static_cast<unsigned>(text.size());
    unsigned needed = 0;
    expect(recursiveWcstombs(&needed, nullptr, 0, text.c_str(), length) == 0);
    std::string expected(needed, '#');
    recursiveWcstombs(&needed, expected.data(), needed, text.c_str(), length);

    unsigned size = 0;
    expect(dovrel::safe_wcstombs_s(&size, nullptr, 0, text.c_str(), length) == 0);
    expect(size == expected.size());
    std::string found(size, '#');
    expect(dovrel::safe_wcstombs_s(&size, found.data(), size, text.c_str(), length) == 0);
    expect(found == expected);
    expected.back() = '\0';
    return expected;
}

/** The narrow copy has the terminator converted too, which ends what the locale holds back. */
void expectNarrowCopy(std::wstring const& text)
{
    std::string expected = expectConversion(text);
    std::string whole((text.size() + 1) * MB_LEN_MAX, '#');
    wchar_t const* next = text.c_str();
    std::mbstate_t state{};
    if (std::wcsrtombs(whole.data(), &next, whole.size(), &state) != static_cast<size_t>(-1))
        expected = whole;
    string const converted(text.c_str());
    expect(std::string(static_cast<char const*>(converted))
        == expected.substr(0, expected.find('\0')));
    // NOLINTNEXTLINE(performance-unnecessary-copy-initialization): copies are fuzzed, too.
    string const copied(converted);
    expect(copied == converted && copied.length() == text.size());
}

}

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size)
{
    if (size < 2)
        return 0;
    static auto const locales = loadLocales();
    ::uselocale(locales[data[0] % locales.size()]);
    std::string const bytes(reinterpret_cast<char const*>(data) + 2, size - 2);
    std::string const text = bytes.substr(0, bytes.find('\0'));

    expect(string(text).c_str() == expectedWide(text, WHOLE));
    unsigned const count = data[1];
    expect(string(text.c_str(), count).c_str() == expectedWide(text, count));
    expectNarrowCopy(string(text).c_str());
    expectNarrowCopy(fuzz::untilZero(fuzz::wideText(bytes)));
    return 0;
}
