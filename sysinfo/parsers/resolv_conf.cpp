#include "sysinfo/parsers/resolv_conf.h"

#include "sysinfo/parsers/line_fields.h"

namespace sysinfo {

void readNameServers(
    std::istream& text, std::function<void(std::string const& server)> const& found)
{
    constexpr size_t SERVER_COLUMN = 11;
    for (std::string line; std::getline(text, line);)
        if (line.find("nameserver") != std::string::npos)
            found(textFromColumn(line, SERVER_COLUMN, "cat /etc/resolv.conf", "address"));
}

}
