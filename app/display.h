#pragma once

#include <cstdint>
#include <optional>
#include <string>

/** How things look to people. Widths are columns of a terminal, in the locale that setlocale(3) has
 * set. */
namespace app {

/** What stands for a fact that the machine does not tell. */
inline constexpr char const* UNKNOWN = "-";

/**
 * The text with every control character and every byte that the locale cannot decode replaced by
 * one '?': names come from the machine, and a terminal would obey an escape sequence in them.
 */
std::string printable(std::string const& text);

/** @return the columns that a terminal gives to a text that `printable` made. wcwidth(3). */
size_t displayWidth(std::string const& text);

/** With one decimal, and a point in every locale: tables are read by scripts too. */
std::string oneDecimal(double value);

/** "12.5 %", or `UNKNOWN`. */
std::string percentText(std::optional<float> percent);

enum SizeUnit {
    UNIT_FITTING, ///< Units of 1,024, "15.6 GiB", with one decimal from KiB on.
    UNIT_BYTES ///< The number of bytes alone.
};

/** A size, or `UNKNOWN`. */
std::string sizeText(std::optional<uint64_t> bytes, SizeUnit unit = UNIT_FITTING);

/** @return true where the locale writes UTF-8. nl_langinfo(3). */
bool localeIsUtf8();

/**
 * A bar of @p cells columns, full at 100 and above.
 *
 * @param blocks true for block characters in UTF-8, false for '#' and '.'.
 */
std::string bar(float percent, unsigned cells, bool blocks);

/** A bar of ten columns as the locale can write it, or nothing. */
std::string barText(std::optional<float> percent);

}
