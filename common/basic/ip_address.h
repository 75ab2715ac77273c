#pragma once

#include "common/basic/export.h"
#include "common/basic/wide_string.h"

#include <cstdint>
#include <netinet/in.h>
#include <ostream>
#include <sys/socket.h>

namespace dovrel {

/**
 * An IPv4 or IPv6 host address, or none; ip(7), ipv6(7).
 *
 * Holds a whole socket address, so that it can be handed to socket calls as it is. A text that is
 * no address gives an invalid value rather than an error; asking such a value for its text is one.
 *
 * Errors: `NetworkError`. Threads: a plain value. Any number of threads may make addresses and
 * resolve names at once. The `string` that a constructor or a look-up is given is only read, so
 * that threads may share it while none of them changes it.
 */
class DOVREL_EXPORT ip_address {
public:
    /** The family of "no address": a number that the system does not use for IP. */
    static constexpr sa_family_t AF_INVALID = 5;

    /** What an address that is not IPv4 is as an integer. */
    static constexpr uint32_t BAD_ADDRESS = 0xFFFFFFFF;

    /** How a 32-bit integer holds an IPv4 address. */
    enum byteorder_t : int {
        host_order = 0, ///< The first octet is the most significant byte.
        network_order = 1 ///< The four bytes as they lie in the socket address.
    };

    /** Receives addresses one by one; this one does nothing with them. */
    class DOVREL_EXPORT InsertFunctor {
    public:
        InsertFunctor() = default;
        InsertFunctor(InsertFunctor const&) = default;
        InsertFunctor& operator=(InsertFunctor const&) = default;
        virtual void insert(ip_address const& address);
        virtual ~InsertFunctor();
    };

    /** IPv4 0.0.0.0, which is valid. */
    ip_address();

    /** From the text of an address alone: no name is resolved, no port read; inet_pton(3). */
    explicit ip_address(string const& text);

    /** Copies an IPv4 or IPv6 socket address; any other family, and null, gives no address. */
    explicit ip_address(::sockaddr const* address);

    /** Copies the structure without a look at its family. */
    explicit ip_address(sockaddr_in const& address);
    explicit ip_address(sockaddr_in6 const& address);

    explicit ip_address(sockaddr_storage const& address);
    ip_address(ip_address const&) = default;
    ip_address& operator=(ip_address const&) = default;

    /** @return the text that inet_ntop(3) gives. @throws NetworkError -6 where this is no address
     */
    virtual string toStringInternal() const;

    virtual ~ip_address();

    sa_family_t family() const noexcept { return m_address.ss_family; }
    bool ipv4() const noexcept { return family() == AF_INET; }
    bool ipv6() const noexcept { return family() == AF_INET6; }
    bool valid() const noexcept { return ipv4() || ipv6(); }

    /** @return the bytes that a socket call is to be told: 16 for IPv4, 28 for anything else. */
    socklen_t sockaddrsize() const noexcept;

    sockaddr_storage& sockaddr() noexcept { return m_address; }
    sockaddr_storage const& sockaddr() const noexcept { return m_address; }
    ::sockaddr* sockaddrPtr() noexcept;
    ::sockaddr const* sockaddrPtr() const noexcept;

    /** @return `BAD_ADDRESS` where this is not IPv4 or @p order is neither of the two. */
    uint32_t ipv4AsInteger(byteorder_t order) const noexcept;

    /** @return 0.0.0.0 where @p order is neither of the two. */
    static ip_address fromIPv4Integer(unsigned int value, byteorder_t order);

    /** Whether both are the same address, whatever their ports and scopes. Kept: false where either
     * is no address, even for one and the same object. */
    bool isEqual(ip_address const& other) const noexcept;

    /** A strict weak order: no address, then IPv4, then IPv6. Kept: IPv4 addresses by their
     * network-order word, on this architecture by the last octet first. */
    bool isLess(ip_address const& other) const noexcept;

    /** @return the host's name. @throws NetworkError -2 where this is no address, else the code of
     * getnameinfo(3) */
    string getHostName() const;

    /** @return the first address of the host, or no address. @throws as `getHostsByNameInternal` */
    static ip_address getHostByName(string const& name, unsigned short port);

    /** @return the number of the host's addresses. @throws as `getHostsByNameInternal` */
    static int countHostsForName(string const& name, unsigned short port);

    /**
     * Resolves a name; getaddrinfo(3).
     *
     * An answer that the resolver also gives for hosts that do not exist counts as no such host.
     * Only look-ups with @p port 0 can tell.
     *
     * @param port goes into every address.
     * @param sink receives the addresses in the resolver's order.
     * @return the number of addresses.
     * @throws NetworkError the code of getaddrinfo, -2 for such an answer
     */
    static int getHostsByNameInternal(string const& name, unsigned short port, InsertFunctor& sink);

protected:
    /** Sets an IPv4 or IPv6 address's port, in host order. */
    void storePort(unsigned short port) noexcept;

    /** Makes this no address, whatever else it holds. */
    void invalidate() noexcept { m_address.ss_family = AF_INVALID; }

private:
    bool parse(int family, char const* text) noexcept;
    void const* addressBytes() const noexcept;

    sockaddr_storage m_address;
};

/**
 * Writes the text of `toStringInternal`, so that an `inet_address` has its port, without padding.
 * No address is `<invalid>` rather than an exception, which a caller that logs an address does not
 * expect.
 */
inline std::ostream& operator<<(std::ostream& out, ip_address const& address)
{
    return out << (address.valid() ? address.toStringInternal() : string(L"<invalid>"));
}

/** The same to a wide stream. */
inline std::wostream& operator<<(std::wostream& out, ip_address const& address)
{
    return out << (address.valid() ? address.toStringInternal() : string(L"<invalid>"));
}

}
