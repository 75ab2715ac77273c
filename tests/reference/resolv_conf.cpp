#include "tests/reference/resolv_conf.h"

#include "tests/reference/text.h"

namespace reference {

std::optional<std::vector<std::string>> readServers(std::string const& text)
{
    constexpr size_t SERVER_COLUMN = 11;
    std::vector<std::string> servers;
    for (std::string const& line : lines(text)) {
        if (line.find("nameserver") == std::string::npos)
            continue;
        if (line.size() < SERVER_COLUMN)
            return std::nullopt;
        servers.push_back(line.substr(SERVER_COLUMN));
    }
    return servers;
}

}
