#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <string_view>

namespace sysinfo {

class CharacterSet {
public:
    constexpr explicit CharacterSet(std::string_view members)
    {
        for (char const member : members)
            m_contains[static_cast<unsigned char>(member)] = true;
    }

    constexpr bool contains(char c) const { return m_contains[static_cast<unsigned char>(c)]; }

private:
    std::array<bool, 256> m_contains{};
};

/** The white space of the "C" locale; isspace(3). */
inline constexpr CharacterSet BLANKS(" \t\n\v\f\r");

inline constexpr CharacterSet DIGITS("0123456789");

/** Removes the text before the first of @p ends from @p line. @return that text, empty if @p line
 * is empty or begins with one of @p ends. */
inline std::string_view takeUntil(std::string_view& line, CharacterSet const& ends)
{
    char const* const begin = line.data();
    char const* const end = begin + line.size();
    char const* at = begin;
    while (at != end && !ends.contains(*at))
        ++at;
    line = {at, static_cast<size_t>(end - at)};
    return {begin, static_cast<size_t>(at - begin)};
}

/** Removes the leading characters that are in @p allowed from @p line. @return them. */
inline std::string_view takeWhile(std::string_view& line, CharacterSet const& allowed)
{
    char const* const begin = line.data();
    char const* const end = begin + line.size();
    char const* at = begin;
    while (at != end && allowed.contains(*at))
        ++at;
    line = {at, static_cast<size_t>(end - at)};
    return {begin, static_cast<size_t>(at - begin)};
}

/** Removes leading blanks and the next word from @p line. @return the word, empty if none is left.
 */
inline std::string_view takeWord(std::string_view& line)
{
    takeWhile(line, BLANKS);
    return takeUntil(line, BLANKS);
}

/**
 * @return the text of @p line from character @p column on, counted from 0.
 * @throws std::out_of_range if the line is shorter. The message contains @p tool, the line, @p
 * field, and the column counted from 1.
 */
std::string textFromColumn(
    std::string const& line, size_t column, char const* tool, char const* field);

}
