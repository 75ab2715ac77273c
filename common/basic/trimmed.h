#pragma once

#include <string_view>

namespace dovrel {

/** @return @p text without the blanks, tabs, carriage returns and line feeds at both ends. */
inline std::string_view trimmed(std::string_view text)
{
    auto const isBlank = [](char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; };
    while (!text.empty() && isBlank(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && isBlank(text.back()))
        text.remove_suffix(1);
    return text;
}

}
