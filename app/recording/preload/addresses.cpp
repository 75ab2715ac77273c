// The answer of getifaddrs(3).

#include "app/recording/answer_line.h"
#include "app/recording/preload/answers.h"
#include "app/recording/preload/stage.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <linux/if_packet.h>
#include <net/if.h>
#include <net/if_arp.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

using app::asWord;
using app::errorName;
using preload::Answers;
using preload::answers;
using preload::answersCalls;
using preload::isRecording;
using preload::logAnswer;
using preload::real;

/** One element of the list of getifaddrs(3), with all that it refers to. */
struct Element {
    ifaddrs entry; // The first member, so that freeifaddrs finds the element.
    char name[IFNAMSIZ];
    sockaddr_storage address;
    sockaddr_storage mask;
    sockaddr_storage other;
};

sockaddr* asAddress(sockaddr_storage& storage)
{
    return reinterpret_cast<sockaddr*>(&storage);
}

void setAddress(sockaddr_storage& storage, std::string const& text, unsigned index)
{
    auto& ipv4 = reinterpret_cast<sockaddr_in&>(storage);
    auto& ipv6 = reinterpret_cast<sockaddr_in6&>(storage);
    if (inet_pton(AF_INET, text.c_str(), &ipv4.sin_addr) == 1) {
        storage.ss_family = AF_INET;
        return;
    }
    storage.ss_family = AF_INET6;
    inet_pton(AF_INET6, text.c_str(), &ipv6.sin6_addr);
    if (IN6_IS_ADDR_LINKLOCAL(&ipv6.sin6_addr))
        ipv6.sin6_scope_id = index;
}

void setMask(sockaddr_storage& storage, sa_family_t family, unsigned prefix)
{
    storage.ss_family = family;
    auto* const bytes = family == AF_INET
        ? reinterpret_cast<uint8_t*>(&reinterpret_cast<sockaddr_in&>(storage).sin_addr)
        : reinterpret_cast<uint8_t*>(&reinterpret_cast<sockaddr_in6&>(storage).sin6_addr);
    for (unsigned bit = 0; bit < prefix; ++bit)
        bytes[bit / 8] = static_cast<uint8_t>(bytes[bit / 8] | 0x80U >> bit % 8);
}

class ListOfAddresses {
public:
    void add(std::string const& name, Answers::Adapter const& adapter)
    {
        Element& element = append(name, adapter.flags);
        auto& link = reinterpret_cast<sockaddr_ll&>(element.address);
        link.sll_family = AF_PACKET;
        link.sll_ifindex = adapter.index;
        link.sll_hatype = adapter.flags & IFF_LOOPBACK ? ARPHRD_LOOPBACK
            : adapter.mac.empty()                      ? ARPHRD_NONE
                                                       : ARPHRD_ETHER;
        link.sll_halen = static_cast<unsigned char>(adapter.mac.size());
        std::memcpy(
            link.sll_addr, adapter.mac.data(), std::min(adapter.mac.size(), sizeof link.sll_addr));
        element.entry.ifa_addr = asAddress(element.address);
    }

    void add(Answers::Address const& address, Answers::Adapter const& adapter)
    {
        Element& element = append(address.name, adapter.flags);
        setAddress(element.address, address.address, static_cast<unsigned>(adapter.index));
        setMask(element.mask, element.address.ss_family, address.prefix);
        element.entry.ifa_addr = asAddress(element.address);
        element.entry.ifa_netmask = asAddress(element.mask);
        if (address.other.empty())
            return;
        setAddress(element.other, address.other, static_cast<unsigned>(adapter.index));
        element.entry.ifa_broadaddr = asAddress(element.other);
    }

    ifaddrs* release() { return m_first; }

private:
    Element& append(std::string const& name, unsigned flags)
    {
        auto* const element = static_cast<Element*>(std::calloc(1, sizeof(Element)));
        if (!element)
            std::abort();
        name.copy(element->name, IFNAMSIZ - 1);
        element->entry.ifa_name = element->name;
        element->entry.ifa_flags = flags;
        (m_last ? m_last->ifa_next : m_first) = &element->entry;
        m_last = &element->entry;
        return *element;
    }

    ifaddrs* m_first = nullptr;
    ifaddrs* m_last = nullptr;
};

Answers::Adapter const& adapterOf(std::string const& label)
{
    std::string const name = label.substr(0, label.find(':'));
    for (auto const& [known, adapter] : answers().adapters)
        if (known == name)
            return adapter;
    std::fprintf(stderr, "dovrel-sysinfo: no adapter %s\n", name.c_str());
    std::_Exit(EXIT_FAILURE);
}

std::string textOf(sockaddr const* address)
{
    char text[INET6_ADDRSTRLEN] = "";
    if (address && address->sa_family == AF_INET)
        inet_ntop(
            AF_INET, &reinterpret_cast<sockaddr_in const*>(address)->sin_addr, text, sizeof text);
    else if (address && address->sa_family == AF_INET6)
        inet_ntop(AF_INET6, &reinterpret_cast<sockaddr_in6 const*>(address)->sin6_addr, text,
            sizeof text);
    return text;
}

/** @return the leading ones of a mask. */
unsigned prefixOf(sockaddr const* mask)
{
    if (!mask)
        return 0;
    bool const isIpv4 = mask->sa_family == AF_INET;
    auto const* const bytes = isIpv4
        ? reinterpret_cast<uint8_t const*>(&reinterpret_cast<sockaddr_in const*>(mask)->sin_addr)
        : reinterpret_cast<uint8_t const*>(&reinterpret_cast<sockaddr_in6 const*>(mask)->sin6_addr);
    unsigned const bits = isIpv4 ? 32 : 128;
    unsigned prefix = 0;
    while (prefix < bits && (bytes[prefix / 8] & 0x80U >> prefix % 8) != 0)
        ++prefix;
    return prefix;
}

void logAdapter(ifaddrs const& entry)
{
    auto const& link = *reinterpret_cast<sockaddr_ll const*>(entry.ifa_addr);
    char flags[16];
    std::snprintf(flags, sizeof flags, "0x%x", entry.ifa_flags);
    std::string mac;
    for (size_t i = 0; i < std::min<size_t>(link.sll_halen, sizeof link.sll_addr); ++i) {
        char byte[4];
        std::snprintf(byte, sizeof byte, "%s%02x", i == 0 ? "" : ":", link.sll_addr[i]);
        mac += byte;
    }
    logAnswer("adapter " + asWord(entry.ifa_name) + " " + std::to_string(link.sll_ifindex) + " "
        + flags + (mac.empty() ? "" : " ") + mac);
}

void logAddress(ifaddrs const& entry)
{
    std::string line = "address " + asWord(entry.ifa_name) + " " + textOf(entry.ifa_addr) + "/"
        + std::to_string(prefixOf(entry.ifa_netmask));
    if (std::string const other = textOf(entry.ifa_broadaddr); !other.empty())
        line += (entry.ifa_flags & IFF_POINTOPOINT ? " peer " : " broadcast ") + other;
    logAnswer(line);
}

int answerAddresses(ifaddrs** out)
{
    if (answers().adaptersError != 0) {
        errno = answers().adaptersError;
        return -1;
    }
    ListOfAddresses list;
    for (auto const& [name, adapter] : answers().adapters)
        list.add(name, adapter);
    for (Answers::Address const& address : answers().addresses)
        list.add(address, adapterOf(address.name));
    *out = list.release();
    return 0;
}

void logAddresses(ifaddrs const* list)
{
    for (ifaddrs const* entry = list; entry; entry = entry->ifa_next) {
        int const family = entry->ifa_addr ? entry->ifa_addr->sa_family : AF_UNSPEC;
        if (family == AF_PACKET)
            logAdapter(*entry);
        else if (family == AF_INET || family == AF_INET6)
            logAddress(*entry);
    }
}

}

ANSWERED int getifaddrs(ifaddrs** out) noexcept
{
    static auto* const next = real<int(ifaddrs**)>("getifaddrs");
    int const result = answersCalls() ? answerAddresses(out) : next(out);
    if (isRecording() && result != 0)
        logAnswer("adapters " + errorName(errno));
    else if (isRecording())
        logAddresses(*out);
    return result;
}

ANSWERED void freeifaddrs(ifaddrs* list) noexcept
{
    static auto* const next = real<void(ifaddrs*)>("freeifaddrs");
    if (!answersCalls()) {
        next(list);
        return;
    }
    while (list) {
        ifaddrs* const following = list->ifa_next;
        std::free(reinterpret_cast<Element*>(list));
        list = following;
    }
}
