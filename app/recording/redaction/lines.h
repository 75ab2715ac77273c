#pragma once

#include <algorithm>
#include <string_view>
#include <vector>

namespace app {

/** The lines of a text without their ends. */
inline std::vector<std::string_view> linesIn(std::string_view text)
{
    std::vector<std::string_view> lines;
    while (!text.empty()) {
        size_t const end = std::min(text.find('\n'), text.size());
        lines.push_back(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return lines;
}

/** The words of a line, which blanks separate. */
inline std::vector<std::string_view> wordsIn(std::string_view line)
{
    std::vector<std::string_view> words;
    for (size_t begin = 0; begin < line.size();) {
        size_t const end = std::min(line.find_first_of(" \t", begin), line.size());
        if (end > begin)
            words.push_back(line.substr(begin, end - begin));
        begin = end + 1;
    }
    return words;
}

}
