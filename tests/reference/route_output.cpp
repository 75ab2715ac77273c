#include "tests/reference/route_output.h"

#include "tests/reference/text.h"

#include <algorithm>

namespace reference {

std::optional<std::vector<Route>> readRoutes(std::string const& output)
{
    constexpr size_t GATEWAY_COLUMN = 16;
    std::vector<Route> routes;
    for (std::string const& line : lines(output)) {
        // The heading is the line that begins with a letter of "Destination".
        if (line.find("UG") == std::string::npos
            || std::string("Destinao").find(line[0]) != std::string::npos)
            continue;
        if (line.size() < GATEWAY_COLUMN)
            return std::nullopt;
        std::string const plain = line.back() == '\r' ? line.substr(0, line.size() - 1) : line;
        routes.push_back(
            {split(line, " ").front(), split(line.substr(GATEWAY_COLUMN), " ").front(), plain});
    }
    return routes;
}

std::vector<std::string> adaptersOfRoutes(std::string const& output)
{
    std::vector<std::string> adapters;
    for (std::string const& line : lines(output)) {
        if (line.empty() || line[0] < '0' || line[0] > '9')
            continue;
        Fields fields(line);
        std::string last;
        for (std::string word; fields.word(word);)
            last = word;
        if (std::find(adapters.begin(), adapters.end(), last) == adapters.end())
            adapters.push_back(last);
    }
    return adapters;
}

}
