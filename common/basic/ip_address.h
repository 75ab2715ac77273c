#pragma once

#include "common/basic/export.h"
#include "common/basic/wide_string.h"

#include <cstdint>
#include <netinet/in.h>
#include <ostream>
#include <sys/socket.h>

namespace dovrel {

/**
 * An IPv4 or IPv6 host address, or an invalid address; ip(7), ipv6(7).
 *
 * Contains a whole socket address, which can be passed to socket calls. A constructor that cannot
 * parse its text makes an invalid address; the text form of an invalid address is an error.
 *
 * Errors: `NetworkError`. Time: resolving blocks for up to the resolver's time-outs,
 * resolv.conf(5). Threads: one object belongs to one thread at a time, but any number of
 * threads may construct addresses and resolve names at once. Constructors and look-ups only read
 * their `string` argument, so that several threads may pass the same one.
 */
class DOVREL_EXPORT ip_address {
public:
    /** The family of an invalid address: a number that the system does not use for IP. */
    static constexpr sa_family_t AF_INVALID = 5;

    /** The integer form of an address that is not IPv4. */
    static constexpr uint32_t BAD_ADDRESS = 0xFFFFFFFF;

    /** The byte order of an IPv4 address in a 32-bit integer. */
    enum byteorder_t : int {
        host_order = 0, ///< The first octet is the most significant byte.
        network_order = 1 ///< The four bytes are in memory as in the socket address.
    };

    /** Callback that receives addresses one by one; the base class ignores them. */
    class DOVREL_EXPORT InsertFunctor {
    public:
        InsertFunctor() = default;
        InsertFunctor(InsertFunctor const&) = default;
        InsertFunctor& operator=(InsertFunctor const&) = default;

        /** Called with each address. */
        virtual void insert(ip_address const& address);
        virtual ~InsertFunctor();
    };

    /** Makes the IPv4 address 0.0.0.0, which is valid. */
    ip_address();

    /** Parses an address with inet_pton(3). Does not accept a host name or a port. */
    explicit ip_address(string const& text);

    /** Copies an IPv4 or IPv6 socket address. Null and any other family make an invalid address. */
    explicit ip_address(::sockaddr const* address);

    /** Copies the structure without checking its family. */
    explicit ip_address(sockaddr_in const& address);

    /** Copies the structure without checking its family. */
    explicit ip_address(sockaddr_in6 const& address);

    /** Copies the structure. Any family but IPv4 and IPv6 makes an invalid address. */
    explicit ip_address(sockaddr_storage const& address);
    ip_address(ip_address const&) = default;
    ip_address& operator=(ip_address const&) = default;

    /** @return the text of inet_ntop(3). @throws NetworkError -6 for an invalid address */
    virtual string toStringInternal() const;

    virtual ~ip_address();

    /** @return `AF_INET`, `AF_INET6` or `AF_INVALID`; another value if a caller has stored it. */
    sa_family_t family() const noexcept { return m_address.ss_family; }

    /** @return whether this is an IPv4 address. */
    bool ipv4() const noexcept { return family() == AF_INET; }

    /** @return whether this is an IPv6 address. */
    bool ipv6() const noexcept { return family() == AF_INET6; }

    /** @return whether this is an IPv4 or IPv6 address. */
    bool valid() const noexcept { return ipv4() || ipv6(); }

    /** @return the address size for socket calls: 16 for IPv4, 28 for anything else. */
    socklen_t sockaddrsize() const noexcept;

    /** @return the socket address, which may be changed. */
    sockaddr_storage& sockaddr() noexcept { return m_address; }

    /** @return the socket address. */
    sockaddr_storage const& sockaddr() const noexcept { return m_address; }

    /** @return the socket address for socket calls, with `sockaddrsize`. */
    ::sockaddr* sockaddrPtr() noexcept;

    /** @return the same. */
    ::sockaddr const* sockaddrPtr() const noexcept;

    /** @return the IPv4 address; `BAD_ADDRESS` if this is not IPv4 or @p order is invalid. */
    uint32_t ipv4AsInteger(byteorder_t order) const noexcept;

    /** @return the IPv4 address of @p value; 0.0.0.0 if @p order is invalid. */
    static ip_address fromIPv4Integer(unsigned int value, byteorder_t order);

    /** @return whether both addresses are equal; ignores ports and scopes. Kept: an invalid address
     * is not equal to any address, not even to itself. */
    bool isEqual(ip_address const& other) const noexcept;

    /** A strict weak ordering: invalid addresses, then IPv4, then IPv6. Kept: IPv4 addresses are
     * ordered by their network-order word, which on this architecture compares the last octet
     * first. */
    bool isLess(ip_address const& other) const noexcept;

    /** @return the host name of the address; getnameinfo(3). @throws NetworkError -2 for an invalid
     * address, else the code of getnameinfo */
    string getHostName() const;

    /** @return the first address of the host; an invalid address if it has none. Throws like
     * `getHostsByNameInternal`. */
    static ip_address getHostByName(string const& name, unsigned short port);

    /** @return the number of addresses of the host. Throws like `getHostsByNameInternal`. */
    static int countHostsForName(string const& name, unsigned short port);

    /**
     * Resolves a host name; getaddrinfo(3).
     *
     * Some name servers return an address for hosts that do not exist. A result with such an
     * address counts as an unknown host. Only look-ups with @p port 0 recognise it.
     *
     * @param port the port of all addresses.
     * @param sink receives the addresses in the resolver's order.
     * @return the number of addresses.
     * @throws NetworkError the code of getaddrinfo; -2 for an address of a host that does not exist
     */
    static int getHostsByNameInternal(string const& name, unsigned short port, InsertFunctor& sink);

protected:
    /** Sets the port, given in host order; does nothing for an invalid address. */
    void storePort(unsigned short port) noexcept;

    /** Sets the family to `AF_INVALID`; leaves the other bytes unchanged. */
    void invalidate() noexcept { m_address.ss_family = AF_INVALID; }

private:
    bool parse(int family, char const* text) noexcept;
    void const* addressBytes() const noexcept;

    sockaddr_storage m_address;
};

/**
 * Writes the result of `toStringInternal` without padding; for an `inet_address` it includes the
 * port. Writes `<invalid>` for an invalid address, because a caller that logs addresses does not
 * expect an exception.
 */
inline std::ostream& operator<<(std::ostream& out, ip_address const& address)
{
    return out << (address.valid() ? address.toStringInternal() : string(L"<invalid>"));
}

/** Writes the same to a wide stream. */
inline std::wostream& operator<<(std::wostream& out, ip_address const& address)
{
    return out << (address.valid() ? address.toStringInternal() : string(L"<invalid>"));
}

}
