#include "tests/reference/sys_cpufreq.h"

#include "tests/reference/text.h"

#include <cstdlib>

namespace reference {

std::map<std::string, std::string> readListing(std::string const& listing)
{
    std::map<std::string, std::string> files;
    for (std::string const& line : lines(listing))
        if (size_t const tab = line.find('\t'); tab != std::string::npos)
            files[line.substr(0, tab)] = line.substr(tab + 1);
    return files;
}

unsigned int megahertz(std::string const& contents)
{
    return static_cast<unsigned int>(std::strtoull(contents.c_str(), nullptr, 10) / 1000);
}

}
