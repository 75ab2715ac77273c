#pragma once

#include "common/basic/ip_address.h"

namespace dovrel {

/** An address with a port; the port lives in the socket address. */
class DOVREL_EXPORT inet_address : public ip_address {
public:
    /**
     * From an address, a colon and a port: `10.0.0.1:443`, `fe80::1:443`.
     *
     * The last colon separates, so an IPv6 address stands without brackets. A port beyond 16 bits
     * is cut to its low ones. No address where the text is anything else.
     */
    explicit inet_address(string const& text);

    /** From the text of an address. No address, and no port, where it is none. */
    inet_address(unsigned short port, string const& address);

    /** The wildcard address of @p family. */
    inet_address(unsigned short port, unsigned short family);

    inet_address(inet_address const&) = default;
    inet_address& operator=(inet_address const&) = default;

    /** @return the text of the address, ":" and the port. @throws NetworkError -6 where this is no
     * address */
    string toStringInternal() const override;

    ~inet_address() override;

    /** The other end of a connected socket; getpeername(2). @throws NetworkError -1 */
    static inet_address getPeerName(int socket);

    /** A socket's own end; getsockname(2). @throws NetworkError -1 */
    static inet_address getSockName(int socket);

    /** @return the port, 0 where this is no address. */
    unsigned short port() const noexcept;

    /** Does nothing where this is no address. */
    void setPort(unsigned short port) noexcept { storePort(port); }

    /** Whether both are the same to the last byte, port and scope included. */
    bool isEqual(inet_address const& other) const noexcept;

    /** By address, then by port. */
    bool isLess(inet_address const& other) const noexcept;

private:
    explicit inet_address(sockaddr_storage const& address) : ip_address(address) { }
};

}
