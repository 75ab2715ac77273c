#include "sysinfo/parsers/route_output.h"

#include "sysinfo/parsers/fixed_column.h"

namespace sysinfo {

namespace {

bool isPlain(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9')
        || std::string_view("._-@+").find(c) != std::string_view::npos;
}

}

void readGateways(
    std::istream& output, std::function<void(std::string const& gateway)> const& found)
{
    constexpr size_t GATEWAY_COLUMN = 16;
    constexpr std::string_view HEADING = "Destination";
    for (std::string line; std::getline(output, line);) {
        if (line.empty() || HEADING.find(line.front()) != std::string_view::npos
            || line.find("UG") == std::string::npos)
            continue;
        std::string const rest = restOf(line, GATEWAY_COLUMN, "route -n", "gateway");
        found(rest.substr(0, rest.find(' ')));
    }
}

std::string grepArgument(std::string_view name)
{
    bool plain = !name.empty() && name.front() != '-';
    for (char c : name)
        plain = plain && isPlain(c);
    if (plain)
        return std::string(name);
    std::string argument = "-F -e '";
    for (char c : name)
        argument += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return argument + "'";
}

}
