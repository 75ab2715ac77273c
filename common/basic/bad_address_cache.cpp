#include "common/basic/bad_address_cache.h"

#include <cstring>
#include <netinet/in.h>

namespace dovrel {

namespace {

// A name under the maker's own domain, and one under a top-level domain that does not exist. A
// resolver may handle ".invalid" itself, although a name server redirects other names. The final
// dot keeps the resolver from appending the domains of the search list (resolv.conf(5)): if one of
// them has an address for every name, the cache would contain that address, and look-ups of real
// hosts with it would fail.
constexpr char KNOWN_BAD_ADDRESS_0[] = "no-such-host.dovrel.example.";
constexpr char KNOWN_BAD_ADDRESS_1[] = "no-such-host.dovrel-no-such-domain.";

constexpr char const* BAD_ADDRESSES[] = {KNOWN_BAD_ADDRESS_0, KNOWN_BAD_ADDRESS_1};

constexpr unsigned CACHE_ENTRIES = 16;
constexpr size_t ENTRY_SIZE = 16;

unsigned char global_bad_address_cache[CACHE_ENTRIES * ENTRY_SIZE];

// The number of entries plus one; 0 before the cache is filled.
unsigned global_bad_address_count;

void fill_bad_address_cache()
{
    addrinfo const hints = resolverHints();
    unsigned count = 0;
    for (char const* name : BAD_ADDRESSES) {
        addrinfo* answer = nullptr;
        if (::getaddrinfo(name, nullptr, &hints, &answer) != 0)
            continue;
        for (addrinfo const* entry = answer; entry; entry = entry->ai_next) {
            bool const isIP = entry->ai_family == AF_INET || entry->ai_family == AF_INET6;
            if (isIP && count < CACHE_ENTRIES)
                std::memcpy(
                    global_bad_address_cache + ENTRY_SIZE * count++, entry->ai_addr, ENTRY_SIZE);
        }
        ::freeaddrinfo(answer);
    }
    global_bad_address_count = count + 1;
}

}

addrinfo resolverHints() noexcept
{
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_protocol = IPPROTO_TCP;
    return hints;
}

bool in_bad_address_cache(int family, ::sockaddr const* address)
{
    // If several threads make the first call at once, one fills the cache and the others wait.
    [[maybe_unused]] static bool const filled = (fill_bad_address_cache(), true);
    size_t const size = family == AF_INET ? sizeof(sockaddr_in)
        : family == AF_INET6              ? sizeof(sockaddr_in6)
                                          : 0;
    for (unsigned i = 0; size > 0 && i + 1 < global_bad_address_count; ++i) {
        size_t const offset = ENTRY_SIZE * i;
        // An IPv6 address is longer than an entry; the comparison must not pass the end of the
        // cache.
        if (offset + size <= sizeof global_bad_address_cache
            && std::memcmp(global_bad_address_cache + offset, address, size) == 0)
            return true;
    }
    return false;
}

}
