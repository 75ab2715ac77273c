#include "app/read/gateways.h"

#include "app/read/Reader.h"
#include "app/read/kernel_file.h"
#include "app/read/rtnetlink.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <cerrno>
#include <netinet/in.h>
#include <optional>
#include <set>

namespace app {

namespace {

constexpr char const* ROUTES = "/proc/net/route";
constexpr char const* ROUTES6 = "/proc/net/ipv6_route";
constexpr char const* NETLINK = "rtnetlink";
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

/** @return the next hops of nexthop objects and of the members of groups among them; nothing where
 * one is missing. */
std::optional<std::vector<NextHop>> hopsOf(
    std::set<unsigned> const& numbers, std::vector<NextHopObject> const& objects)
{
    std::vector<NextHop> hops;
    for (unsigned const number : numbers) {
        auto const object = std::find_if(objects.begin(), objects.end(),
            [number](NextHopObject const& one) { return one.number == number; });
        if (object == objects.end())
            return std::nullopt;
        hops.push_back(object->hop);
        // No group has another as its member.
        for (NextHopObject const& one : objects)
            if (std::count(object->members.begin(), object->members.end(), one.number) > 0)
                hops.push_back(one.hop);
    }
    return hops;
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
    auto const addHop = [&](NextHop const& hop) {
        // The adapter may be gone.
        auto const name = names.find(hop.adapter);
        if (name != names.end() && !hop.gateway.empty())
            add(gateways, name->second, hop.gateway);
    };
    std::set<unsigned> numbers;
    for (NextHop const& hop : *hops)
        if (hop.object != 0)
            numbers.insert(hop.object);
        else
            addHop(hop);
    if (numbers.empty())
        return gateways;
    auto const objects = readNextHopObjects();
    if (!objects) {
        addProblem(machine, Subject::NETWORKS, "the gateways", NETLINK);
        gateways.isComplete = false;
        return gateways;
    }
    auto const found = hopsOf(numbers, *objects);
    for (NextHop const& hop : found.value_or(std::vector<NextHop>()))
        addHop(hop);
    gateways.isComplete = found.has_value();
    if (!found)
        machine.problems.push_back({Subject::NETWORKS, "the gateways",
            "a default route has a next hop that the kernel does not list", NETLINK});
    return gateways;
}

}
