#pragma once

#include "common/basic/ip_address.h"

#include <netdb.h>

#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace testkit {

/** The arguments of one call of getaddrinfo(3). */
struct Query {
    std::string name;
    std::optional<std::string> service;
    addrinfo hints;
};

/** One entry of a result: an address, or a family without an address. */
struct ResultEntry {
    ResultEntry(char const* address) : text(address) { }
    explicit ResultEntry(int otherFamily) : family(otherFamily) { }

    std::string text;
    int family = AF_UNSPEC;
};

/** The list or error that getaddrinfo(3) returns. */
struct Result {
    int code = EAI_NONAME;
    std::vector<ResultEntry> entries;
};

/** @return a successful result with these entries. */
Result found(std::vector<ResultEntry> entries);

/**
 * Replaces getaddrinfo, freeaddrinfo and getnameinfo in the whole program; `SystemCalls.h` explains
 * how.
 *
 * Each address is in a block of exactly its size, so that the address sanitizer reports a read
 * beyond it. Threads: several may query at once.
 */
class FakeResolver {
public:
    using NameInfo = std::function<int(
        ::sockaddr const*, socklen_t, char* host, socklen_t, char* service, socklen_t, int flags)>;

    /** Without a handler every look-up returns EAI_NONAME. */
    void onQuery(std::function<Result(Query const&)> handler);
    void onNameInfo(NameInfo handler);

    std::vector<Query> queries() const;

    /** @return the number of queries for @p name. */
    size_t queriesFor(std::string const& name) const;

    /** @return the number of lists that are not freed yet. */
    int listsInUse() const;

    /** The replaced functions call these. */
    int lookUp(char const* name, char const* service, addrinfo const* hints, addrinfo** out);
    void free(addrinfo* list);
    NameInfo nameInfo() const;

private:
    mutable std::mutex m_mutex;
    std::function<Result(Query const&)> m_onQuery;
    NameInfo m_onNameInfo;
    std::vector<Query> m_queries;
    int m_listsInUse = 0;
};

extern FakeResolver resolver;

}
