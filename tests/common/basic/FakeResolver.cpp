#include "tests/common/basic/FakeResolver.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace testkit {

FakeResolver resolver;

namespace {

/** @return the address in a block of exactly @p size bytes. */
::sockaddr* blockOf(dovrel::ip_address const& address, size_t size)
{
    void* const block = std::malloc(size);
    std::memcpy(block, &address.sockaddr(), size);
    return static_cast<::sockaddr*>(block);
}

addrinfo* makeEntry(ResultEntry const& entry, unsigned short port)
{
    auto* const made = static_cast<addrinfo*>(std::calloc(1, sizeof(addrinfo)));
    made->ai_family = entry.family;
    if (entry.text.empty())
        return made;
    dovrel::ip_address address{dovrel::string(entry.text)};
    // The port has the same offset in both families.
    reinterpret_cast<sockaddr_in&>(address.sockaddr()).sin_port = htons(port);
    made->ai_family = address.family();
    made->ai_addrlen = address.sockaddrsize();
    made->ai_addr = blockOf(address, made->ai_addrlen);
    return made;
}

}

Result found(std::vector<ResultEntry> entries)
{
    return {0, std::move(entries)};
}

void FakeResolver::onQuery(std::function<Result(Query const&)> handler)
{
    m_onQuery = std::move(handler);
}

void FakeResolver::onNameInfo(NameInfo handler)
{
    m_onNameInfo = std::move(handler);
}

std::vector<Query> FakeResolver::queries() const
{
    std::lock_guard<std::mutex> const lock(m_mutex);
    return m_queries;
}

size_t FakeResolver::queriesFor(std::string const& name) const
{
    std::vector<Query> const all = queries();
    return static_cast<size_t>(std::count_if(
        all.begin(), all.end(), [&](Query const& query) { return query.name == name; }));
}

int FakeResolver::listsInUse() const
{
    std::lock_guard<std::mutex> const lock(m_mutex);
    return m_listsInUse;
}

int FakeResolver::lookUp(
    char const* name, char const* service, addrinfo const* hints, addrinfo** out)
{
    Query query{name, std::nullopt, *hints};
    if (service)
        query.service = service;
    {
        std::lock_guard<std::mutex> const lock(m_mutex);
        m_queries.push_back(query);
    }
    Result const result = m_onQuery ? m_onQuery(query) : Result();
    // A real look-up may read the name until it returns, so the caller must keep it.
    if (name != query.name)
        return EAI_FAIL;
    if (result.code != 0)
        return result.code;
    auto const port = static_cast<unsigned short>(service ? std::stoul(service) : 0);
    addrinfo** next = out;
    for (ResultEntry const& entry : result.entries) {
        *next = makeEntry(entry, port);
        next = &(*next)->ai_next;
    }
    *next = nullptr;
    std::lock_guard<std::mutex> const lock(m_mutex);
    m_listsInUse += *out != nullptr;
    return 0;
}

void FakeResolver::free(addrinfo* list)
{
    {
        std::lock_guard<std::mutex> const lock(m_mutex);
        m_listsInUse -= list != nullptr;
    }
    while (list) {
        addrinfo* const next = list->ai_next;
        std::free(list->ai_addr);
        std::free(list);
        list = next;
    }
}

FakeResolver::NameInfo FakeResolver::nameInfo() const
{
    return m_onNameInfo;
}

}

extern "C" __attribute__((visibility("default"))) int getaddrinfo(
    char const* name, char const* service, addrinfo const* hints, addrinfo** out)
{
    return testkit::resolver.lookUp(name, service, hints, out);
}

extern "C" __attribute__((visibility("default"))) void freeaddrinfo(addrinfo* list) noexcept
{
    testkit::resolver.free(list);
}

extern "C" __attribute__((visibility("default"))) int getnameinfo(::sockaddr const* address,
    socklen_t size, char* host, socklen_t hostSize, char* service, socklen_t serviceSize, int flags)
{
    auto const handler = testkit::resolver.nameInfo();
    return handler ? handler(address, size, host, hostSize, service, serviceSize, flags)
                   : EAI_NONAME;
}
