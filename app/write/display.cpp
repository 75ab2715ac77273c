#include "app/write/display.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cwchar>
#include <cwctype>
#include <langinfo.h>
#include <utf8proc.h>

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

namespace {

/** A character as a reader sees it: a letter with the marks that are combined with it. */
struct Cluster {
    size_t bytes = 0;
    size_t columns = 0;
};

Cluster clusterAt(std::string const& text, size_t position)
{
    Cluster cluster;
    utf8proc_int32_t state = 0;
    std::optional<utf8proc_int32_t> before;
    while (position < text.size()) {
        Character const next = characterAt(text, position);
        // wchar_t holds Unicode's codes in every locale of the GNU C library.
        auto const code = static_cast<utf8proc_int32_t>(next.code.value_or(L'?'));
        if (before && utf8proc_grapheme_break_stateful(*before, code, &state))
            break;
        // Marks have no width, and the parts of a joined emoji stand in one place.
        cluster.columns =
            std::max(cluster.columns, static_cast<size_t>(std::max(utf8proc_charwidth(code), 0)));
        cluster.bytes += next.bytes;
        position += next.bytes;
        before = code;
    }
    return cluster;
}

}

size_t displayWidth(std::string const& text)
{
    size_t width = 0;
    for (size_t position = 0; position < text.size();) {
        Cluster const next = clusterAt(text, position);
        width += next.columns;
        position += next.bytes;
    }
    return width;
}

size_t bytesWithin(std::string const& text, size_t columns)
{
    size_t position = 0;
    for (size_t width = 0; position < text.size();) {
        Cluster const next = clusterAt(text, position);
        width += next.columns;
        if (width > columns)
            break;
        position += next.bytes;
    }
    return position;
}

std::string shortened(std::string const& text, size_t columns)
{
    if (displayWidth(text) <= columns)
        return text;
    return columns == 0 ? "" : text.substr(0, bytesWithin(text, columns - 1)) + cutSign();
}

std::string cutSign()
{
    return localeIsUtf8() ? "\xE2\x80\xA6" : "~"; // U+2026
}

std::string colored(std::string const& text, Color color, bool wanted)
{
    constexpr std::array CODES = {"1", "2", "33", "31"};
    return wanted && !text.empty() ? std::string("\x1B[") + CODES.at(color) + "m" + text + "\x1B[0m"
                                   : text;
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

std::string counted(size_t count, std::string const& one, std::string const& several)
{
    return std::to_string(count) + " " + (count == 1 ? one : several);
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

std::string wholePercentText(std::optional<unsigned> percent)
{
    return percent ? std::to_string(*percent) + " %" : UNKNOWN;
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
