#include "app/model/natural_order.h"
#include "app/read/Reader.h"
#include "app/read/host_name.h"
#include "app/read/kernel_file.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <cerrno>
#include <cstring>
#include <ifaddrs.h>
#include <map>
#include <memory>
#include <net/if.h>
#include <net/if_arp.h>
#include <netinet/in.h>
#include <netpacket/packet.h>

namespace app {

namespace {

constexpr char const* CLASS = "/sys/class/net/";

/** An adapter as it is collected. */
struct Found {
    Adapter adapter;
    unsigned flags = 0; ///< IFF_UP and others, netdevice(7).
    unsigned hardware = ARPHRD_VOID; ///< ARPHRD_ETHER and others.
    bool hasFlags = false;
};

using FoundAdapters = std::map<std::string, Found>;

/** The number of leading one bits. */
unsigned prefixLength(unsigned char const* mask, size_t bytes)
{
    unsigned length = 0;
    for (size_t bit = 0; bit < bytes * 8; ++bit) {
        if ((mask[bit / 8] & (0x80U >> (bit % 8))) == 0)
            break;
        ++length;
    }
    return length;
}

char const* scopeOf(in_addr const& address)
{
    uint32_t const number = ntohl(address.s_addr);
    if (number >> 24 == 127)
        return "host";
    return number >> 16 == 0xA9FE ? "link" : "global"; // 169.254.0.0/16, RFC 3927.
}

char const* scopeOf(in6_addr const& address)
{
    if (IN6_IS_ADDR_LOOPBACK(&address))
        return "host";
    if (IN6_IS_ADDR_LINKLOCAL(&address))
        return "link";
    return IN6_IS_ADDR_SITELOCAL(&address) ? "site" : "global";
}

template <class Socket, class Raw>
Address toAddress(ifaddrs const& entry, int family, Raw Socket::*member)
{
    // A sockaddr need not be aligned for its family.
    Socket socket{};
    std::memcpy(&socket, entry.ifa_addr, sizeof(socket));
    std::array<char, INET6_ADDRSTRLEN> text{};
    inet_ntop(family, &(socket.*member), text.data(), text.size());
    Address address{text.data(), std::nullopt, scopeOf(socket.*member)};
    if (entry.ifa_netmask) {
        Socket mask{};
        std::memcpy(&mask, entry.ifa_netmask, sizeof(mask));
        std::array<unsigned char, sizeof(Raw)> bytes{};
        std::memcpy(bytes.data(), &(mask.*member), bytes.size());
        address.prefixLength = prefixLength(bytes.data(), bytes.size());
    }
    return address;
}

std::optional<std::string> macText(unsigned char const* bytes, size_t count)
{
    constexpr char DIGITS[] = "0123456789abcdef";
    if (std::all_of(bytes, bytes + count, [](unsigned char byte) { return byte == 0; }))
        return std::nullopt;
    std::string text;
    for (size_t i = 0; i < count; ++i) {
        text += text.empty() ? "" : ":";
        text += DIGITS[bytes[i] >> 4];
        text += DIGITS[bytes[i] & 0xF];
    }
    return text;
}

void addEntry(FoundAdapters& found, ifaddrs const& entry)
{
    // The label of an alias is its adapter's name, a colon and a number.
    std::string const label = entry.ifa_name;
    Found& one = found[label.substr(0, label.find(':'))];
    one.flags = entry.ifa_flags;
    one.hasFlags = true;
    if (!entry.ifa_addr)
        return;
    switch (entry.ifa_addr->sa_family) {
    case AF_INET:
        one.adapter.addresses.push_back(toAddress(entry, AF_INET, &sockaddr_in::sin_addr));
        break;
    case AF_INET6:
        one.adapter.addresses.push_back(toAddress(entry, AF_INET6, &sockaddr_in6::sin6_addr));
        break;
    case AF_PACKET: {
        sockaddr_ll link{};
        std::memcpy(&link, entry.ifa_addr, sizeof(link));
        one.hardware = link.sll_hatype;
        // InfiniBand's has 20 bytes; /sys has the whole of it.
        if (link.sll_halen <= sizeof(link.sll_addr))
            one.adapter.mac = macText(link.sll_addr, link.sll_halen);
        break;
    }
    default:
        break;
    }
}

/** @return the word for the kind of an adapter; nothing where the kernel does not report it. */
std::optional<std::string> kindOf(std::string const& name, Found const& found)
{
    std::string const folder = CLASS + name;
    auto const type = readNumber(folder + "/type");
    unsigned const hardware = type ? static_cast<unsigned>(*type) : found.hardware;
    if (hardware == ARPHRD_LOOPBACK || (found.flags & IFF_LOOPBACK) != 0)
        return "loopback";
    if (exists(folder + "/wireless") || exists(folder + "/phy80211"))
        return "wireless";
    if (exists(folder + "/bridge"))
        return "bridge";
    if (exists(folder + "/bonding"))
        return "bond";
    std::string const events = readFile(folder + "/uevent").value_or("");
    if (events.find("DEVTYPE=vlan") != std::string::npos || exists("/proc/net/vlan/" + name))
        return "vlan";
    if ((found.flags & IFF_POINTOPOINT) != 0 || hardware == ARPHRD_PPP || hardware == ARPHRD_NONE
        || hardware == ARPHRD_TUNNEL || hardware == ARPHRD_TUNNEL6 || hardware == ARPHRD_SIT)
        return "tunnel";
    if (exists(folder + "/device"))
        return "physical";
    return exists(folder) ? std::optional<std::string>("virtual") : std::nullopt;
}

std::optional<std::string> stateOf(std::string const& name, Found const& found)
{
    if (!found.hasFlags)
        return readLine(CLASS + name + "/operstate");
    if ((found.flags & IFF_UP) == 0)
        return "down";
    return (found.flags & IFF_RUNNING) != 0 ? "up" : "no carrier";
}

std::optional<unsigned> smallNumber(std::string const& path)
{
    auto const number = readNumber(path);
    return number && *number <= UINT32_MAX ? std::optional(static_cast<unsigned>(*number))
                                           : std::nullopt;
}

/** An unknown speed is -1, which old kernels write without a sign, of 16 or of 32 bits. */
std::optional<unsigned> speedOf(std::string const& name)
{
    auto const speed = smallNumber(CLASS + name + "/speed");
    return speed == 0U || speed == UINT16_MAX || speed == UINT32_MAX ? std::nullopt : speed;
}

/** Several routes may lead through one gateway. */
void addGateway(Adapter& adapter, std::string const& gateway)
{
    auto const end = adapter.gateways.end();
    if (std::find(adapter.gateways.begin(), end, gateway) == end)
        adapter.gateways.push_back(gateway);
}

void addFacts(std::string const& name, Found& found)
{
    Adapter& adapter = found.adapter;
    adapter.name = name;
    adapter.kind = kindOf(name, found);
    adapter.state = stateOf(name, found);
    adapter.mtu = smallNumber(CLASS + name + "/mtu");
    adapter.speedMbit = speedOf(name);
    if (adapter.mac)
        return;
    auto const mac = readLine(CLASS + name + "/address");
    if (mac && mac->find_first_not_of("0:") != std::string::npos)
        adapter.mac = mac;
}

/** The gateways of default routes in /proc/net/route, whose addresses are hexadecimal numbers in
 * the machine's byte order; proc(5). */
void addGateways(FoundAdapters& found, std::string const& routes)
{
    constexpr int HEXADECIMAL = 16;
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
        addGateway(found[words[0]].adapter, text.data());
    }
}

/** The same in /proc/net/ipv6_route, whose addresses are 32 hexadecimal digits. */
void addGateways6(FoundAdapters& found, std::string const& routes)
{
    constexpr int HEXADECIMAL = 16;
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
        addGateway(found[words[9]].adapter, text.data());
    }
}

/** The addresses behind "nameserver" in column 1; resolv.conf(5). */
std::optional<std::vector<std::string>> readNameServers()
{
    auto const text = readFile("/etc/resolv.conf");
    if (!text && errno != ENOENT)
        return std::nullopt;
    std::vector<std::string> servers;
    for (std::string const& line : linesOf(text.value_or("")))
        if (auto const words = wordsOf(line);
            words.size() >= 2 && line.rfind("nameserver", 0) == 0 && words[0] == "nameserver")
            servers.push_back(words[1]);
    return servers;
}

void readAddresses(Machine& machine, FoundAdapters& found)
{
    ifaddrs* first = nullptr;
    if (getifaddrs(&first) != 0) {
        addProblem(machine, Subject::NETWORKS, "the addresses", "getifaddrs");
        return;
    }
    std::unique_ptr<ifaddrs, void (*)(ifaddrs*)> const list(first, freeifaddrs);
    for (ifaddrs const* entry = first; entry; entry = entry->ifa_next)
        addEntry(found, *entry);
}

}

void readNetworks(Machine& machine)
{
    FoundAdapters found;
    readAddresses(machine, found);
    for (std::string const& name : namesIn(CLASS).value_or(std::vector<std::string>()))
        if (exists(CLASS + name + "/ifindex") || exists(CLASS + name + "/address"))
            found[name]; // The folder has files that are no adapters, "bonding_masters".
    for (auto& [name, one] : found)
        addFacts(name, one);
    addGateways(found, readFile("/proc/net/route").value_or(""));
    addGateways6(found, readFile("/proc/net/ipv6_route").value_or(""));

    Networks& networks = machine.networks.emplace();
    networks.hostName = hostName();
    for (auto& [name, one] : found)
        if (!one.adapter.name.empty()) // A route's adapter may have gone in between.
            networks.adapters.push_back(std::move(one.adapter));
    std::sort(networks.adapters.begin(), networks.adapters.end(),
        [](Adapter const& first, Adapter const& second) {
            bool const firstIsLoopback = first.kind == "loopback";
            bool const secondIsLoopback = second.kind == "loopback";
            if (firstIsLoopback != secondIsLoopback)
                return secondIsLoopback;
            return naturallyBefore(first.name, second.name);
        });
    networks.nameServers = readNameServers();
    if (!networks.nameServers)
        addProblem(machine, Subject::NETWORKS, "the name servers", "/etc/resolv.conf");
}

}
