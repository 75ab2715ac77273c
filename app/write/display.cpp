#include "app/write/display.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cwchar>
#include <cwctype>
#include <langinfo.h>

namespace app {

namespace {

/** One character of narrow text, or one byte that is none. */
struct Character {
    size_t bytes;
    std::optional<wchar_t> code;
};

Character characterAt(std::string const& text, size_t position)
{
    std::mbstate_t state{};
    wchar_t code = 0;
    size_t const bytes =
        std::mbrtowc(&code, text.data() + position, text.size() - position, &state);
    // 0 is the zero character; the two highest values are "invalid" and "cut short".
    if (bytes == 0 || bytes > text.size() - position)
        return {1, std::nullopt};
    return {bytes, code};
}

}

std::string printable(std::string const& text)
{
    std::string shown;
    for (size_t position = 0; position < text.size();) {
        Character const next = characterAt(text, position);
        if (next.code && std::iswprint(static_cast<wint_t>(*next.code)))
            shown.append(text, position, next.bytes);
        else
            shown += '?';
        position += next.bytes;
    }
    return shown;
}

size_t displayWidth(std::string const& text)
{
    size_t width = 0;
    for (size_t position = 0; position < text.size();) {
        Character const next = characterAt(text, position);
        int const columns = next.code ? wcwidth(*next.code) : 1;
        width += static_cast<size_t>(std::max(columns, 0));
        position += next.bytes;
    }
    return width;
}

std::string oneDecimal(double value)
{
    // The largest double has 309 digits before the point.
    std::array<char, 320> digits;
    auto const result = std::to_chars(
        digits.data(), digits.data() + digits.size(), value, std::chars_format::fixed, 1);
    return std::string(digits.data(), result.ptr);
}

std::string joined(std::vector<std::string> const& elements)
{
    std::string text;
    for (std::string const& element : elements)
        text += (text.empty() ? "" : ", ") + element;
    return text;
}

std::string addressText(std::optional<std::string> const& address)
{
    return address.value_or("<invalid>");
}

std::string addressesText(std::optional<std::vector<std::optional<std::string>>> const& addresses)
{
    std::vector<std::string> texts;
    if (addresses)
        for (auto const& address : *addresses)
            texts.push_back(addressText(address));
    return joined(texts);
}

std::optional<double> percentOf(std::optional<uint64_t> part, std::optional<uint64_t> whole)
{
    if (!part || !whole || *whole == 0 || *part > *whole)
        return std::nullopt;
    return 100.0 * static_cast<double>(*part) / static_cast<double>(*whole);
}

std::string percentText(std::optional<double> percent)
{
    return percent ? oneDecimal(*percent) + " %" : UNKNOWN;
}

std::string sizeText(std::optional<uint64_t> bytes, SizeUnit unit)
{
    constexpr std::array UNITS = {"KiB", "MiB", "GiB", "TiB", "PiB", "EiB"};
    constexpr double STEP = 1024;
    if (!bytes)
        return UNKNOWN;
    if (unit == UNIT_BYTES)
        return std::to_string(*bytes);
    if (*bytes < 1024)
        return std::to_string(*bytes) + " B";
    double size = static_cast<double>(*bytes) / STEP;
    size_t power = 0;
    // 1,023.95 would be shown as 1,024.0 of a unit, which is one of the next.
    constexpr double ROUNDED_TO_STEP = STEP - 0.05;
    for (; size >= ROUNDED_TO_STEP && power + 1 < UNITS.size(); ++power)
        size /= STEP;
    return oneDecimal(size) + " " + UNITS[power];
}

bool localeIsUtf8()
{
    return std::string(nl_langinfo(CODESET)) == "UTF-8";
}

std::string bar(double percent, unsigned cells, bool blocks)
{
    char const* const fullCell = blocks ? "\xE2\x96\x88" : "#"; // U+2588, full block
    char const* const emptyCell = blocks ? "\xE2\x96\x91" : "."; // U+2591, light shade
    double const share = std::clamp(percent / 100, 0.0, 1.0);
    auto const full = static_cast<unsigned>(std::lround(share * cells));
    std::string text;
    for (unsigned cell = 0; cell < cells; ++cell)
        text += cell < full ? fullCell : emptyCell;
    return text;
}

std::string barText(std::optional<double> percent)
{
    constexpr unsigned CELLS = 10;
    return percent ? bar(*percent, CELLS, localeIsUtf8()) : "";
}

}
