#pragma once

#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace fuzz {

/** @return the strings that @p parser finds in @p text; nothing when it throws
 * `std::out_of_range`. */
template <class Parser>
std::optional<std::vector<std::string>> stringsIn(std::string const& text, Parser parser)
{
    std::istringstream stream(text);
    std::vector<std::string> all;
    try {
        parser(stream, [&](std::string const& found) { all.push_back(found); });
    } catch (std::out_of_range const&) {
        return std::nullopt;
    }
    return all;
}

}
