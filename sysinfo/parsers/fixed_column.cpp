#include "sysinfo/parsers/fixed_column.h"

#include <algorithm>
#include <stdexcept>

namespace sysinfo {

std::string restOf(std::string line, size_t column, char const* tool, char const* missing)
{
    if (line.size() >= column)
        return line.substr(column);
    std::replace(line.begin(), line.end(), '\0', '?'); // Would end the message.
    throw std::out_of_range(std::string(tool) + ": the line \"" + line + "\" ends before its "
        + missing + ", which begins at column " + std::to_string(column + 1));
}

}
