#include "tests/sysinfo/network_second_reader.h"

#include <algorithm>
// Under the sanitizers the compiler takes parts of the library's own automaton for uninitialized.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#include <regex>
#pragma GCC diagnostic pop
#include <sstream>

namespace testkit {

namespace {

std::vector<std::string> linesOf(std::string const& text)
{
    std::istringstream in(text);
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);)
        lines.push_back(line);
    return lines;
}

/** What follows one of the keywords, up to the next separator, each time. */
std::vector<std::string> valuesOf(std::string const& line, std::string const& keywords)
{
    std::regex const pattern("(?:^|[ \\t\\r/])(?:" + keywords + ")[ \\t\\r/]([^ \\t\\r/]*)");
    std::vector<std::string> values;
    for (std::sregex_iterator found(line.begin(), line.end(), pattern), end; found != end; ++found)
        values.push_back((*found)[1]);
    return values;
}

void append(std::vector<std::string>& all, std::vector<std::string> const& more)
{
    all.insert(all.end(), more.begin(), more.end());
}

/** Six or eight bytes between ':' or '-'; of more the first eight; zero of fewer. */
std::array<uint8_t, 8> bytesOf(std::string const& text)
{
    static std::regex const pattern("([0-9a-fA-F]{2})(?:[:-]|$)");
    std::vector<uint8_t> bytes;
    for (std::sregex_iterator found(text.begin(), text.end(), pattern), end; found != end; ++found)
        bytes.push_back(static_cast<uint8_t>(std::stoul((*found)[1], nullptr, 16)));
    std::array<uint8_t, 8> made{};
    if (bytes.size() == 6 || bytes.size() >= 8)
        std::copy_n(bytes.begin(), std::min<size_t>(bytes.size(), 8), made.begin());
    return made;
}

}

std::vector<ReadAdapter> readIfconfig(std::string const& text)
{
    static std::regex const oldAddress("addr:");
    static std::regex const oldMask("Mask:");
    static std::regex const name("^([^ \\t\\r\\v:]+)");
    std::vector<ReadAdapter> adapters;
    ReadAdapter nobody;
    for (std::string line : linesOf(text)) {
        std::smatch found;
        if (std::regex_search(line, found, name)) {
            adapters.emplace_back();
            adapters.back().name = found[1];
        }
        ReadAdapter& adapter = adapters.empty() ? nobody : adapters.back();
        line = std::regex_replace(line, oldAddress, "");
        line = std::regex_replace(line, oldMask, "Mask ");
        append(adapter.addresses, valuesOf(line, "inet6?"));
        append(adapter.netmasks, valuesOf(line, "netmask|Mask"));
        for (std::string const& mac : valuesOf(line, "ether|HWaddr")) {
            adapter.mac = bytesOf(mac);
            adapter.tellsMAC = true;
        }
    }
    return adapters;
}

std::optional<std::vector<ReadRoute>> readRoutes(std::string const& text)
{
    static std::regex const throughGateway("^[^Destinao].*UG");
    static std::regex const columns("^(.{16})([^ ]*).*$");
    std::vector<ReadRoute> routes;
    for (std::string const& line : linesOf(text)) {
        if (!std::regex_search(line, throughGateway) && line.rfind("UG", 0) != 0)
            continue;
        std::string const plain = std::regex_replace(line, std::regex("\r$"), "");
        std::smatch found;
        if (!std::regex_match(plain, found, columns))
            return std::nullopt;
        std::string const destination = found[1];
        routes.push_back({destination.substr(0, destination.find(' ')), found[2], plain});
    }
    return routes;
}

std::vector<std::string> adaptersOfRoutes(std::string const& text)
{
    static std::regex const lastColumn("^[0-9].* ([^ \\r]+)\\r?$");
    std::vector<std::string> adapters;
    for (std::string const& line : linesOf(text)) {
        std::smatch found;
        if (std::regex_match(line, found, lastColumn)
            && std::find(adapters.begin(), adapters.end(), found[1]) == adapters.end())
            adapters.push_back(found[1]);
    }
    return adapters;
}

std::optional<std::vector<std::string>> readServers(std::string const& text)
{
    std::vector<std::string> servers;
    for (std::string const& line : linesOf(text)) {
        if (line.find("nameserver") == std::string::npos)
            continue;
        std::istringstream in(line);
        std::string server;
        in.ignore(11);
        if (in.gcount() < 11)
            return std::nullopt;
        std::getline(in, server);
        servers.push_back(server);
    }
    return servers;
}

}
