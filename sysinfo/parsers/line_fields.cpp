#include "sysinfo/parsers/line_fields.h"

#include <algorithm>
#include <stdexcept>

namespace sysinfo {

std::string textFromColumn(
    std::string const& line, size_t column, char const* tool, char const* field)
{
    if (line.size() >= column)
        return line.substr(column);
    std::string shown = line;
    std::replace(shown.begin(), shown.end(), '\0', '?'); // what() ends at a zero byte.
    throw std::out_of_range(std::string(tool) + ": the line \"" + shown + "\" ends before its "
        + field + ", which begins at column " + std::to_string(column + 1));
}

}
