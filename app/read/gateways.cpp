#include "app/read/gateways.h"

#include "app/read/Reader.h"
#include "app/read/kernel_file.h"
#include "app/read/rtnetlink.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <cerrno>
#include <netinet/in.h>

namespace app {

namespace {

constexpr char const* ROUTES = "/proc/net/route";
constexpr char const* ROUTES6 = "/proc/net/ipv6_route";
constexpr int HEXADECIMAL = 16;

/** Several routes may lead through one gateway. */
void add(Gateways& gateways, std::string const& adapter, std::string const& gateway)
{
    auto& list = gateways.byAdapter[adapter];
    if (std::find(list.begin(), list.end(), gateway) == list.end())
        list.push_back(gateway);
}

/** The lines of /proc/net/route, whose addresses are hexadecimal numbers in the machine's byte
 * order. */
void addRoutes(Gateways& gateways, std::string const& routes)
{
    constexpr uint64_t HAS_GATEWAY = 2; // RTF_GATEWAY
    for (std::string const& line : linesOf(routes)) {
        auto const words = wordsOf(line); // NAME DESTINATION GATEWAY FLAGS ... MASK ...
        if (words.size() < 8 || words[1] != "00000000" || words[7] != "00000000")
            continue;
        auto const gateway = numberOf(words[2], HEXADECIMAL);
        if (!gateway || (numberOf(words[3], HEXADECIMAL).value_or(0) & HAS_GATEWAY) == 0)
            continue;
        in_addr const address = {static_cast<in_addr_t>(*gateway)};
        std::array<char, INET_ADDRSTRLEN> text{};
        inet_ntop(AF_INET, &address, text.data(), text.size());
        add(gateways, words[0], text.data());
    }
}

/** The same in /proc/net/ipv6_route, whose addresses are 32 hexadecimal digits. */
void addRoutes6(Gateways& gateways, std::string const& routes)
{
    std::string const none(32, '0');
    for (std::string const& line : linesOf(routes)) {
        auto const words = wordsOf(line); // DESTINATION LENGTH SOURCE LENGTH GATEWAY ... NAME
        if (words.size() < 10 || words[0] != none || words[1] != "00" || words[4] == none
            || words[4].size() != none.size())
            continue;
        in6_addr address{};
        for (size_t i = 0; i < sizeof(address.s6_addr); ++i)
            address.s6_addr[i] =
                static_cast<uint8_t>(numberOf(words[4].substr(2 * i, 2), HEXADECIMAL).value_or(0));
        std::array<char, INET6_ADDRSTRLEN> text{};
        inet_ntop(AF_INET6, &address, text.data(), text.size());
        add(gateways, words[9], text.data());
    }
}

Gateways readFiles(Machine& machine)
{
    Gateways gateways;
    auto const fail = [&](char const* path) {
        addProblem(machine, Subject::NETWORKS, "the gateways", path);
        gateways.isComplete = false;
    };
    auto const routes = readFile(ROUTES);
    int const error = errno;
    auto const routes6 = readFile(ROUTES6);
    // A kernel without the one protocol has no file of it.
    if (!routes6 && errno != ENOENT)
        fail(ROUTES6);
    errno = error;
    if (!routes && (!routes6 || error != ENOENT))
        fail(ROUTES);
    addRoutes(gateways, routes.value_or(""));
    addRoutes6(gateways, routes6.value_or(""));
    return gateways;
}

}

Gateways readGateways(Machine& machine, std::map<unsigned, std::string> const& names)
{
    auto const hops = readNextHops();
    if (!hops)
        return readFiles(machine);
    Gateways gateways;
    for (NextHop const& hop : *hops)
        // The adapter may be gone.
        if (auto const name = names.find(hop.adapter); name != names.end())
            add(gateways, name->second, hop.gateway);
    return gateways;
}

}
