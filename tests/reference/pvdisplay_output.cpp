#include "tests/reference/pvdisplay_output.h"

#include "tests/reference/text.h"

namespace reference {

std::vector<std::pair<std::string, std::string>> readVolumes(std::string const& output)
{
    std::vector<std::pair<std::string, std::string>> volumes;
    for (std::string const& line : lines(output)) {
        std::vector<std::string> const fields = split(line, ":");
        if (fields.size() > 2)
            volumes.emplace_back(fields[0], fields[1]);
    }
    return volumes;
}

}
