#pragma once

#include "tests/support/SystemFailure.h"

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace testkit {

/** @return the contents of a file. @throws std::system_error that names the path. */
inline std::string contentsOf(std::string const& path)
{
    std::ifstream file(path, std::ios::binary);
    if (!file)
        fail("open", path);
    std::ostringstream contents;
    contents << file.rdbuf();
    return contents.str();
}

/** @return the lines of @p text without their newlines. */
inline std::vector<std::string> linesOf(std::string const& text)
{
    std::istringstream stream(text);
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

}
