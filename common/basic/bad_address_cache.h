#pragma once

#include <netdb.h>
#include <sys/socket.h>

namespace dovrel {

/** Addresses of stream sockets, of any family. */
addrinfo resolverHints() noexcept;

/**
 * Whether the resolver gives this address for hosts that are known not to exist, as name services
 * do that redirect failed look-ups to a page of their own.
 *
 * The first call in a process asks the resolver. Kept: an address is compared with its port, so
 * that only look-ups without one are recognised; and an IPv6 one with more bytes than are
 * remembered of it, so that in practice none is.
 */
bool in_bad_address_cache(int family, ::sockaddr const* address);

}
