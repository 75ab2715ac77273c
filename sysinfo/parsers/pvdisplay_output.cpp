#include "sysinfo/parsers/pvdisplay_output.h"

namespace sysinfo {

void readPhysicalVolumes(std::istream& output, std::string_view key,
    std::function<void(std::string const& device)> const& found)
{
    for (std::string line; std::getline(output, line);) {
        size_t const first = line.find(':');
        if (first == std::string::npos)
            continue;
        size_t const second = line.find(':', first + 1);
        if (second != std::string::npos && line.compare(0, first, key) == 0)
            found(line.substr(first + 1, second - first));
    }
}

}
