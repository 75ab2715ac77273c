#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/**
 * A second opinion on the texts of the network tools. It shares no code with the library: it looks
 * for patterns where the library takes lines apart word by word.
 */
namespace testkit {

struct ReadAdapter {
    std::string name;
    std::vector<std::string> addresses;
    std::vector<std::string> netmasks; // As they stand there.
    std::array<uint8_t, 8> mac{};
    bool tellsMAC = false; // Be it zero.
};

/** Knows the output of `ifconfig -a` in both styles. */
std::vector<ReadAdapter> readIfconfig(std::string const& text);

struct ReadRoute {
    std::string destination;
    std::string gateway;
    std::string line;
};

/** The routes through a gateway. @return nothing where one of them is cut short. */
std::optional<std::vector<ReadRoute>> readRoutes(std::string const& text);

/** What stands in the last column of any line that begins with a digit. */
std::vector<std::string> adaptersOfRoutes(std::string const& text);

/** @return nothing where a server's line is cut short. */
std::optional<std::vector<std::string>> readServers(std::string const& text);

}
