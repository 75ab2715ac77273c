#include "common/basic/ip_address.h"

#include "common/basic/NetworkError.h"
#include "common/basic/bad_address_cache.h"
#include "common/basic/text_cast.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <memory>
#include <netdb.h>

namespace dovrel {

namespace {

// A sockaddr_storage may be accessed as the structure of its family; sockaddr(3type).
sockaddr_in& asIPv4(sockaddr_storage& address)
{
    return reinterpret_cast<sockaddr_in&>(address);
}

sockaddr_in const& asIPv4(sockaddr_storage const& address)
{
    return reinterpret_cast<sockaddr_in const&>(address);
}

sockaddr_in6& asIPv6(sockaddr_storage& address)
{
    return reinterpret_cast<sockaddr_in6&>(address);
}

sockaddr_in6 const& asIPv6(sockaddr_storage const& address)
{
    return reinterpret_cast<sockaddr_in6 const&>(address);
}

template <class Address> void copy(Address const& from, sockaddr_storage& to)
{
    static_assert(sizeof from <= sizeof to);
    std::memset(&to, 0, sizeof to);
    std::memcpy(&to, &from, sizeof from);
}

/** Stores the first valid address. */
class Functor : public ip_address::InsertFunctor {
public:
    Functor() : m_address(string()) { }

    void insert(ip_address const& address) override
    {
        if (!m_address.valid())
            m_address = address;
    }

    ip_address const& address() const { return m_address; }

private:
    ip_address m_address;
};

}

void ip_address::InsertFunctor::insert(ip_address const&)
{
}

ip_address::InsertFunctor::~InsertFunctor() = default;

ip_address::ip_address() : m_address{}
{
    m_address.ss_family = AF_INET;
}

ip_address::ip_address(string const& text) : m_address{}
{
    invalidate();
    // Converts a copy: other threads may read @p text, and the conversion changes its narrow copy.
    string const copied(text.c_str(), text.length());
    char const* const narrow = copied;
    if (!parse(AF_INET, narrow))
        parse(AF_INET6, narrow);
}

ip_address::ip_address(::sockaddr const* address) : m_address{}
{
    if (address && address->sa_family == AF_INET)
        std::memcpy(&m_address, address, sizeof(sockaddr_in));
    else if (address && address->sa_family == AF_INET6)
        std::memcpy(&m_address, address, sizeof(sockaddr_in6));
    else
        invalidate();
}

ip_address::ip_address(sockaddr_in const& address)
{
    copy(address, m_address);
}

ip_address::ip_address(sockaddr_in6 const& address)
{
    copy(address, m_address);
}

ip_address::ip_address(sockaddr_storage const& address) : m_address(address)
{
    if (!valid())
        invalidate();
}

ip_address::~ip_address() = default;

bool ip_address::parse(int family, char const* text) noexcept
{
    void* const bytes = family == AF_INET ? static_cast<void*>(&asIPv4(m_address).sin_addr)
                                          : static_cast<void*>(&asIPv6(m_address).sin6_addr);
    if (::inet_pton(family, text, bytes) != 1)
        return false;
    m_address.ss_family = static_cast<sa_family_t>(family);
    return true;
}

void const* ip_address::addressBytes() const noexcept
{
    return ipv4() ? static_cast<void const*>(&asIPv4(m_address).sin_addr)
                  : static_cast<void const*>(&asIPv6(m_address).sin6_addr);
}

string ip_address::toStringInternal() const
{
    if (!valid())
        throw NetworkError(EAI_FAMILY);
    char text[47];
    if (!::inet_ntop(family(), addressBytes(), text, sizeof text))
        throw NetworkError(errno);
    return text;
}

socklen_t ip_address::sockaddrsize() const noexcept
{
    return ipv4() ? sizeof(sockaddr_in) : sizeof(sockaddr_in6);
}

::sockaddr* ip_address::sockaddrPtr() noexcept
{
    return reinterpret_cast<::sockaddr*>(&m_address);
}

::sockaddr const* ip_address::sockaddrPtr() const noexcept
{
    return reinterpret_cast<::sockaddr const*>(&m_address);
}

void ip_address::storePort(unsigned short port) noexcept
{
    if (ipv4())
        asIPv4(m_address).sin_port = htons(port);
    else if (ipv6())
        asIPv6(m_address).sin6_port = htons(port);
}

uint32_t ip_address::ipv4AsInteger(byteorder_t order) const noexcept
{
    if (!ipv4())
        return BAD_ADDRESS;
    uint32_t const word = asIPv4(m_address).sin_addr.s_addr;
    switch (order) {
    case network_order:
        return word;
    case host_order:
        return ntohl(word);
    }
    return BAD_ADDRESS;
}

ip_address ip_address::fromIPv4Integer(unsigned int value, byteorder_t order)
{
    ip_address address;
    if (order == network_order)
        asIPv4(address.m_address).sin_addr.s_addr = value;
    else if (order == host_order)
        asIPv4(address.m_address).sin_addr.s_addr = htonl(value);
    return address;
}

bool ip_address::isEqual(ip_address const& other) const noexcept
{
    if (!valid() || !other.valid() || ipv4() != other.ipv4())
        return false;
    size_t const size = ipv4() ? sizeof(in_addr) : sizeof(in6_addr);
    return std::memcmp(addressBytes(), other.addressBytes(), size) == 0;
}

bool ip_address::isLess(ip_address const& other) const noexcept
{
    if (!valid() || !other.valid())
        return !valid() && other.valid();
    if (ipv4() != other.ipv4())
        return ipv4();
    if (ipv4())
        return ipv4AsInteger(network_order) < other.ipv4AsInteger(network_order);
    return std::memcmp(addressBytes(), other.addressBytes(), sizeof(in6_addr)) < 0;
}

string ip_address::getHostName() const
{
    if (!valid())
        throw NetworkError(EAI_NONAME);
    char host[255];
    int const result =
        ::getnameinfo(sockaddrPtr(), sockaddrsize(), host, sizeof host, nullptr, 0, NI_NAMEREQD);
    if (result != 0)
        throw NetworkError(result);
    return host;
}

ip_address ip_address::getHostByName(string const& name, unsigned short port)
{
    Functor first;
    getHostsByNameInternal(name, port, first);
    return first.address();
}

int ip_address::countHostsForName(string const& name, unsigned short port)
{
    InsertFunctor ignored;
    return getHostsByNameInternal(name, port, ignored);
}

int ip_address::getHostsByNameInternal(string const& name, unsigned short port, InsertFunctor& sink)
{
    string const host(name.c_str(), name.length()); // A copy, as in the constructor.
    string const service = str_cast(port);
    addrinfo const hints = resolverHints();
    addrinfo* answer = nullptr;
    int const result = ::getaddrinfo(
        host, port == 0 ? nullptr : static_cast<char const*>(service), &hints, &answer);
    if (result != 0)
        throw NetworkError(result);
    std::unique_ptr<addrinfo, decltype(&::freeaddrinfo)> const owner(answer, ::freeaddrinfo);

    int count = 0;
    for (addrinfo const* entry = answer; entry; entry = entry->ai_next) {
        if (in_bad_address_cache(entry->ai_family, entry->ai_addr))
            throw NetworkError(EAI_NONAME);
        if (entry->ai_family == AF_INET || entry->ai_family == AF_INET6) {
            sink.insert(ip_address(entry->ai_addr));
            ++count;
        }
    }
    return count;
}

}
