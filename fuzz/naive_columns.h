#pragma once

#include <cstddef>
#include <cstdlib>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

/** Lines and words taken off a text by hand, for the reference readers of the network tools. */
namespace fuzz {

using Texts = std::vector<std::string>;

inline void expect(bool holds)
{
    if (!holds)
        std::abort();
}

inline Texts split(std::string const& text, std::string const& separators)
{
    Texts parts(1);
    for (char const c : text)
        if (separators.find(c) != std::string::npos)
            parts.emplace_back();
        else
            parts.back() += c;
    return parts;
}

inline Texts linesOf(std::string const& text)
{
    Texts lines = split(text, "\n");
    if (lines.back().empty())
        lines.pop_back();
    return lines;
}

/** @return what the lines with @p label have behind @p column, up to the first @p end; nothing
 * where one has no such column. */
inline std::optional<Texts> behindColumn(
    std::string const& text, std::string const& label, size_t column, std::string const& end)
{
    Texts all;
    for (std::string const& line : linesOf(text)) {
        bool const isHeading =
            column == 16 && std::string("Destinao").find(line[0]) != std::string::npos;
        if (line.find(label) == std::string::npos || isHeading)
            continue;
        if (line.size() < column)
            return std::nullopt;
        all.push_back(split(line.substr(column), end).front());
    }
    return all;
}

template <class Reader> std::optional<Texts> textsBy(Reader reader, std::string const& text)
{
    std::istringstream stream(text);
    Texts all;
    try {
        reader(stream, [&](std::string const& found) { all.push_back(found); });
    } catch (std::out_of_range const&) {
        return std::nullopt;
    }
    return all;
}

}
