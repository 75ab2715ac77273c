// The answers of getifaddrs(3) and of sockets on a fake machine; a part of the object of
// fake_calls.cpp.

#include "tests/machines/Calls.h"

#include <arpa/inet.h>
#include <dlfcn.h>
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

using machines::Calls;
using machines::calls;

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
    void add(std::string const& name, Calls::Adapter const& adapter)
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

    void add(Calls::Address const& address, Calls::Adapter const& adapter)
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

Calls::Adapter const& adapterOf(std::string const& label)
{
    std::string const name = label.substr(0, label.find(':'));
    for (auto const& [known, adapter] : calls().adapters)
        if (known == name)
            return adapter;
    std::fprintf(stderr, "fake_calls: no adapter %s\n", name.c_str());
    std::_Exit(EXIT_FAILURE);
}

}

ANSWERED int getifaddrs(ifaddrs** out) noexcept
{
    ListOfAddresses list;
    for (auto const& [name, adapter] : calls().adapters)
        list.add(name, adapter);
    for (Calls::Address const& address : calls().addresses)
        list.add(address, adapterOf(address.name));
    *out = list.release();
    return 0;
}

ANSWERED void freeifaddrs(ifaddrs* list) noexcept
{
    while (list) {
        ifaddrs* const next = list->ifa_next;
        std::free(reinterpret_cast<Element*>(list));
        list = next;
    }
}

/** A machine has its routes in /proc; rtnetlink(7) has those of the machine that the test runs on.
 */
ANSWERED int socket(int family, int type, int protocol) noexcept
{
    static auto* const next = reinterpret_cast<int (*)(int, int, int)>(dlsym(RTLD_NEXT, "socket"));
    if (family != AF_NETLINK)
        return next(family, type, protocol);
    errno = EAFNOSUPPORT;
    return -1;
}
