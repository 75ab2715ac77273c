#include "app/model/natural_order.h"
#include "app/read/Reader.h"
#include "app/read/gateways.h"
#include "app/read/host_name.h"
#include "app/read/kernel_file.h"
#include "app/read/rtnetlink.h"

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
    unsigned index = 0; ///< The kernel's number of it; 0 where unknown.
    bool hasFlags = false;
    bool hasMac = false; ///< Whether the address list has its MAC address, or reports none.
    std::vector<Address> addresses;
    std::string folder; ///< In /sys, with a slash behind it; empty where there is none.
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

/** The usual scope of an address, where the kernel does not report it. */
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
        one.addresses.push_back(toAddress(entry, AF_INET, &sockaddr_in::sin_addr));
        break;
    case AF_INET6:
        one.addresses.push_back(toAddress(entry, AF_INET6, &sockaddr_in6::sin6_addr));
        break;
    case AF_PACKET: {
        sockaddr_ll link{};
        std::memcpy(&link, entry.ifa_addr, sizeof(link));
        one.hardware = link.sll_hatype;
        one.index = static_cast<unsigned>(link.sll_ifindex);
        // InfiniBand's has 20 bytes; /sys has the whole of it.
        one.hasMac = link.sll_halen <= sizeof(link.sll_addr);
        if (one.hasMac)
            one.adapter.mac = macText(link.sll_addr, link.sll_halen);
        break;
    }
    default:
        break;
    }
}

/** @return the word for the kind of an adapter; nothing where the kernel does not report it. */
std::optional<std::string> kindOf(Found const& found)
{
    std::string const& folder = found.folder;
    bool const hasFolder = !folder.empty();
    auto const type = hasFolder ? readNumber(folder + "type", UINT16_MAX) : std::nullopt;
    unsigned const hardware = type ? static_cast<unsigned>(*type) : found.hardware;
    if (hardware == ARPHRD_LOOPBACK || (found.flags & IFF_LOOPBACK) != 0)
        return "loopback";
    auto const has = [&](char const* name) { return hasFolder && exists(folder + name); };
    if (has("wireless") || has("phy80211"))
        return "wireless";
    if (has("bridge"))
        return "bridge";
    if (has("bonding"))
        return "bond";
    std::string const events = hasFolder ? readFile(folder + "uevent").value_or("") : "";
    if (events.find("DEVTYPE=vlan") != std::string::npos
        || exists("/proc/net/vlan/" + found.adapter.name))
        return "vlan";
    if ((found.flags & IFF_POINTOPOINT) != 0 || hardware == ARPHRD_PPP || hardware == ARPHRD_NONE
        || hardware == ARPHRD_TUNNEL || hardware == ARPHRD_TUNNEL6 || hardware == ARPHRD_SIT)
        return "tunnel";
    if (has("device"))
        return "physical";
    return hasFolder ? std::optional<std::string>("virtual") : std::nullopt;
}

/** @return the kernel's word for the state of the link, RFC 2863. */
std::optional<std::string> operationalState(std::string const& path)
{
    auto state = readLine(path);
    if (!state || state == "unknown")
        return std::nullopt;
    for (char const* const word :
        {"up", "down", "dormant", "lowerlayerdown", "notpresent", "testing"})
        if (state == word)
            return state;
    noteUnusable(path, NO_VALUE);
    return std::nullopt;
}

std::optional<std::string> stateOf(Found const& found)
{
    if (!found.hasFlags)
        return operationalState(found.folder + "operstate");
    if ((found.flags & IFF_UP) == 0)
        return "down";
    return (found.flags & IFF_RUNNING) != 0 ? "up" : "no carrier";
}

std::optional<unsigned> smallNumber(std::string const& path, char const* unknown = nullptr)
{
    auto const number = readNumber(path, UINT32_MAX, unknown);
    return number ? std::optional(static_cast<unsigned>(*number)) : std::nullopt;
}

/** An unknown speed is -1, which old kernels write without a sign, of 16 or of 32 bits. */
std::optional<unsigned> speedOf(Found const& found)
{
    auto const speed = smallNumber(found.folder + "speed", "-1");
    return speed == 0U || speed == UINT16_MAX || speed == UINT32_MAX ? std::nullopt : speed;
}

/** @return the hardware address in a file; nothing where it is none. */
std::optional<std::string> readMac(std::string const& path)
{
    auto mac = readLine(path);
    if (!mac)
        return std::nullopt;
    bool isMac = mac->size() % 3 == 2;
    for (size_t i = 0; i < mac->size(); ++i)
        isMac = isMac
            && (i % 3 == 2 ? (*mac)[i] == ':'
                           : std::strchr("0123456789abcdef", (*mac)[i]) != nullptr);
    if (isMac)
        return mac;
    noteUnusable(path, NO_VALUE);
    return std::nullopt;
}

void addFacts(Found& found)
{
    Adapter& adapter = found.adapter;
    adapter.kind = kindOf(found);
    adapter.state = stateOf(found);
    auto const mac =
        found.folder.empty() || found.hasMac ? std::nullopt : readMac(found.folder + "address");
    if (mac && mac->find_first_not_of("0:") != std::string::npos)
        adapter.mac = mac;
    adapter.macIsUnknown = !found.hasMac && !mac;
    if (found.folder.empty())
        return;
    if (found.index == 0)
        found.index = smallNumber(found.folder + "ifindex").value_or(0);
    adapter.mtu = smallNumber(found.folder + "mtu");
    adapter.speedMbit = speedOf(found);
}

/** The adapters in /sys/class/net. */
std::vector<std::string> adaptersInSys()
{
    std::vector<std::string> names;
    for (std::string const& name : namesIn(CLASS).value_or(std::vector<std::string>()))
        // The folder has files that are no adapters, "bonding_masters".
        if (exists(CLASS + name + "/ifindex") || exists(CLASS + name + "/address"))
            names.push_back(name);
    return names;
}

/** A mounted sysfs shows the adapters of the network namespace in which it was mounted; sysfs(5)
 * and network_namespaces(7). @return whether that is another one than this program's. */
bool isOfOtherNamespace(std::vector<std::string> const& names, FoundAdapters const& found)
{
    // Every namespace has its loopback there; a damaged /sys may not.
    if (!exists(CLASS + std::string("lo")))
        return false;
    bool allHaveIndices = !found.empty();
    for (auto const& [name, one] : found) {
        std::string const folder = CLASS + name;
        auto const index = readNumber(folder + "/ifindex");
        bool const isOther = index ? *index != one.index : !exists(folder);
        if (one.index == 0)
            allHaveIndices = false;
        else if (isOther)
            return true;
    }
    return allHaveIndices && std::any_of(names.begin(), names.end(), [&](std::string const& name) {
        return found.count(name) == 0;
    });
}

/** Stores the addresses with the scopes that the kernel has; the others follow from the addresses.
 */
void setAddresses(FoundAdapters& found, std::vector<ScopedAddress> const& addresses)
{
    std::map<std::pair<unsigned, std::string>, std::string> scopes;
    for (ScopedAddress const& one : addresses)
        scopes[{one.adapter, one.address}] = one.scope;
    for (auto& [name, one] : found) {
        for (Address& address : one.addresses)
            if (auto const scope = scopes.find({one.index, address.text}); scope != scopes.end())
                address.scope = scope->second;
        one.adapter.addresses = std::move(one.addresses);
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

/** Adds the adapters that only /sys lists, too. */
void setFolders(FoundAdapters& found, std::vector<std::string> const& names)
{
    for (std::string const& name : names)
        found[name];
    for (auto& [name, one] : found)
        if (std::string const folder = CLASS + name; exists(folder))
            one.folder = folder + "/";
}

/** @return whether the adapters' list could be read. */
bool readAddresses(FoundAdapters& found)
{
    ifaddrs* first = nullptr;
    if (getifaddrs(&first) != 0)
        return false;
    std::unique_ptr<ifaddrs, void (*)(ifaddrs*)> const list(first, freeifaddrs);
    for (ifaddrs const* entry = first; entry; entry = entry->ifa_next)
        addEntry(found, *entry);
    return true;
}

/** Reads the adapters with their addresses and finds their folders in /sys. @param isListed whether
 * the addresses could be read. */
FoundAdapters readAdapters(Machine& machine, bool& isListed)
{
    constexpr int ATTEMPTS = 3;
    for (int attempt = 1;; ++attempt) {
        FoundAdapters found;
        isListed = readAddresses(found);
        int const error = errno;
        auto const names = adaptersInSys();
        bool const isForeign = isOfOtherNamespace(names, found);
        // An adapter may come or go between the two.
        if (isForeign && attempt < ATTEMPTS)
            continue;
        if (isForeign)
            machine.unavailable.push_back(
                {Subject::NETWORKS, "the kinds, speeds and MTUs of the adapters",
                    "/sys/class/net has the adapters of another network namespace", CLASS});
        else
            setFolders(found, names);
        errno = error;
        if (!isListed)
            addProblem(machine, Subject::NETWORKS, "the addresses", "getifaddrs");
        return found;
    }
}

}

void readNetworks(Machine& machine)
{
    UnreadableFiles unreadable;
    bool isListed = false;
    FoundAdapters found = readAdapters(machine, isListed);
    for (auto& [name, one] : found) {
        one.adapter.name = name;
        addFacts(one);
    }
    addUnreadable(machine, Subject::NETWORKS, "all facts of the adapters", unreadable);
    if (isListed)
        setAddresses(found, readScopedAddresses().value_or(std::vector<ScopedAddress>()));

    std::map<unsigned, std::string> names;
    for (auto const& [name, one] : found)
        if (one.index != 0)
            names[one.index] = name;
    Gateways const gateways = readGateways(machine, names);

    Networks& networks = machine.networks.emplace();
    networks.hostName = hostName();
    for (auto& [name, one] : found) {
        auto const own = gateways.byAdapter.find(name);
        if (own != gateways.byAdapter.end())
            one.adapter.gateways = own->second;
        else if (gateways.isComplete)
            one.adapter.gateways.emplace();
        networks.adapters.push_back(std::move(one.adapter));
    }
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
