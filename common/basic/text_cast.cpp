#include "common/basic/text_cast.h"

#include <charconv>
#include <cwchar>
#include <limits>
#include <locale>
#include <sstream>
#include <type_traits>

namespace dovrel {

namespace {

/** Buffer for the text of a value. The longest one is a MAC address. */
struct ValueText {
    wchar_t text[32];
    unsigned length = 0;
};

void widen(char const* begin, char const* end, ValueText& out)
{
    for (; begin != end; ++begin)
        out.text[out.length++] = static_cast<wchar_t>(*begin);
}

template <class T> std::enable_if_t<std::is_integral_v<T>> write(T value, ValueText& out)
{
    char narrow[std::numeric_limits<T>::digits10 + 3];
    widen(narrow, std::to_chars(narrow, narrow + sizeof narrow, value).ptr, out);
}

void write(float value, ValueText& out)
{
    constexpr int STREAM_PRECISION = 6;
    char narrow[sizeof out.text / sizeof out.text[0]];
    widen(narrow,
        std::to_chars(narrow, narrow + sizeof narrow, static_cast<double>(value),
            std::chars_format::general, STREAM_PRECISION)
            .ptr,
        out);
}

void write(macaddress_cpp const& value, ValueText& out)
{
    value.writeText(out.text);
    out.length = macaddress_cpp::TEXT_LENGTH;
}

/** isspace(3) of the classic locale. */
bool isSpace(wchar_t c)
{
    return c == L' ' || (c >= L'\t' && c <= L'\r');
}

/** @return false if there is no digit or the number is out of range. */
template <class T> std::enable_if_t<std::is_integral_v<T>, bool> read(wchar_t const* at, T& out)
{
    using Magnitude = std::make_unsigned_t<T>;
    while (isSpace(*at))
        ++at;
    bool const negative = *at == L'-';
    if (*at == L'-' || *at == L'+')
        ++at;
    wchar_t const* const first = at;
    Magnitude const largest =
        static_cast<Magnitude>(std::numeric_limits<T>::max()) + (negative ? 1U : 0U);
    Magnitude magnitude = 0;
    // Kept: numbers are decimal, and "0x1F" is 0.
    for (; *at >= L'0' && *at <= L'9'; ++at) {
        auto const digit = static_cast<Magnitude>(*at - L'0');
        if (magnitude > (largest - digit) / 10)
            return false;
        magnitude = magnitude * 10 + digit;
    }
    out = static_cast<T>(negative ? Magnitude{0} - magnitude : magnitude);
    return at != first;
}

bool read(wchar_t const* text, macaddress_cpp& out)
{
    std::wistringstream stream{std::wstring(text)};
    stream.imbue(std::locale::classic());
    return static_cast<bool>(stream >> out);
}

}

template <class T, class First, class Second>
string str_cast(T const& value, First const& first, Second const& second)
{
    ValueText written;
    write(value, written);
    string text(written.text, written.length);
    if (first.empty() && second.empty())
        return text;
    // Kept: both precede the value, so that "cpu" and 7 give "cpu7".
    return first + second + text;
}

template <class T> T literal_cast(string const& text, T const& fallback)
{
    T value{};
    return read(text.c_str(), value) ? value : fallback;
}

DOVREL_TEXT_CAST_INSTANCES()

}
