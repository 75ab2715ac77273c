#pragma once

#include "common/basic/ip_address.h"

namespace dovrel {

/** An address with a port, which is stored in the socket address. */
class DOVREL_EXPORT inet_address : public ip_address {
public:
    /**
     * Parses an address, a colon and a port, for example `10.0.0.1:443` or `fe80::1:443`.
     *
     * The last colon is the separator, so that an IPv6 address has no brackets. Only the low 16
     * bits of the port count. Any other text makes an invalid address.
     */
    explicit inet_address(string const& text);

    /** Parses @p address. If that fails, the address is invalid and has no port. */
    inet_address(unsigned short port, string const& address);

    /** Makes the wildcard address of @p family. */
    inet_address(unsigned short port, unsigned short family);

    inet_address(inet_address const&) = default;
    inet_address& operator=(inet_address const&) = default;

    /** @return the address, ":" and the port. @throws NetworkError -6 for an invalid address */
    string toStringInternal() const override;

    ~inet_address() override;

    /** @return the peer address of a connected socket; getpeername(2). @throws NetworkError -1 */
    static inet_address getPeerName(int socket);

    /** @return the local address of a socket; getsockname(2). @throws NetworkError -1 */
    static inet_address getSockName(int socket);

    /** @return the port; 0 for an invalid address. */
    unsigned short port() const noexcept;

    /** Sets the port; does nothing for an invalid address. */
    void setPort(unsigned short port) noexcept { storePort(port); }

    /** @return whether both are valid and equal in all bytes, including port and scope. */
    bool isEqual(inet_address const& other) const noexcept;

    /** A strict weak ordering by address, then by port. */
    bool isLess(inet_address const& other) const noexcept;

private:
    explicit inet_address(sockaddr_storage const& address) : ip_address(address) { }
};

}
