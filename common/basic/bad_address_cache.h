#pragma once

#include <netdb.h>
#include <sys/socket.h>

namespace dovrel {

/** @return getaddrinfo(3) hints for TCP addresses of any family. */
addrinfo resolverHints() noexcept;

/**
 * @return whether the resolver returns this address for host names that are known not to exist.
 * Some name servers do so to redirect failed look-ups to a web page.
 *
 * The first call in a process queries the resolver. Kept: the comparison includes the port, so that
 * only the result of a look-up with port 0 can match. For an IPv6 address it includes more bytes
 * than the cache stores, so that in practice none matches.
 */
bool in_bad_address_cache(int family, ::sockaddr const* address);

}
