#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/** Facts as people read them. Widths are columns of a terminal, in the program's locale. */
namespace app {

/** Stands for an unknown fact, and for none. */
inline constexpr char const* UNKNOWN = "-";

/**
 * Replaces every control character, and every byte that the locale cannot decode, by one '?'. Names
 * come from the machine, and a terminal would obey an escape sequence in them.
 */
std::string printable(std::string const& text);

/** @return the columns of a terminal that a printable string takes, by Unicode's tables; a letter
 * and its combining marks count once. */
size_t displayWidth(std::string const& text);

/** @return the bytes of the longest beginning of a string that takes at most @p columns. */
size_t bytesWithin(std::string const& text, size_t columns);

/** @return the string, cut to @p columns with a sign at its end where it is wider. */
std::string shortened(std::string const& text, size_t columns);

/** @return the sign at the end of a cut string, one column wide. */
std::string cutSign();

enum Color { BOLD, FAINT, YELLOW, RED };

/** @return the text between the escape sequences of a color; as it is where none is wanted. */
std::string colored(std::string const& text, Color color, bool wanted);

/** @return the number with one decimal, and a point in every locale: scripts read tables too. */
std::string oneDecimal(double value);

/** @return the elements with ", " between them. */
std::string joined(std::vector<std::string> const& elements);

/** @return "1 disk", "2 disks". */
std::string counted(size_t count, std::string const& one, std::string const& several);

/** @return the share of a part; nothing where it is unknown or larger than the whole. */
std::optional<double> percentOf(std::optional<uint64_t> part, std::optional<uint64_t> whole);

/** "12.5 %", or `UNKNOWN`. */
std::string percentText(std::optional<double> percent);

/** "12 %", or `UNKNOWN`. */
std::string wholePercentText(std::optional<unsigned> percent);

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
std::string bar(double percent, unsigned cells, bool blocks);

/** A bar of ten columns as the locale can write it, or nothing. */
std::string barText(std::optional<double> percent);

}
