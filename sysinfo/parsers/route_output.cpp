#include "sysinfo/parsers/route_output.h"

#include "sysinfo/parsers/line_fields.h"

#include <algorithm>

namespace sysinfo {

void readGateways(
    std::istream& output, std::function<void(std::string const& gateway)> const& found)
{
    constexpr size_t GATEWAY_COLUMN = 16;
    static constexpr CharacterSet HEADING("Destination");
    for (std::string line; std::getline(output, line);) {
        if (line.empty() || HEADING.contains(line.front()) || line.find("UG") == std::string::npos)
            continue;
        std::string const rest = textFromColumn(line, GATEWAY_COLUMN, "route -n", "gateway");
        found(rest.substr(0, rest.find(' ')));
    }
}

std::string grepArgument(std::string_view name)
{
    static constexpr CharacterSet UNQUOTED("abcdefghijklmnopqrstuvwxyz"
                                           "ABCDEFGHIJKLMNOPQRSTUVWXYZ"
                                           "0123456789._-@+");
    bool const needsNoQuotes = !name.empty() && !name.starts_with('-')
        && std::all_of(name.begin(), name.end(), [](char c) { return UNQUOTED.contains(c); });
    if (needsNoQuotes)
        return std::string(name);
    std::string argument = "-F -e '";
    for (char const c : name)
        argument += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return argument + "'";
}

}
