#pragma once

#include <optional>
#include <string>
#include <vector>

namespace reference {

/** A route through a gateway. */
struct Route {
    std::string destination;
    std::string gateway;
    std::string line; // Without a carriage return at its end.
};

/** Reads the output of `route -n` (route(8)): the lines with "UG". @return nothing when one of them
 * ends before its gateway. */
std::optional<std::vector<Route>> readRoutes(std::string const& output);

/** @return the last words of the lines that begin with a digit, each once. */
std::vector<std::string> adaptersOfRoutes(std::string const& output);

}
