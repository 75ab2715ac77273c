#include "tests/common/basic/AnsweredResolver.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace testkit {

AnsweredResolver resolver;

namespace {

/** @return the address in a block of exactly @p size bytes. */
::sockaddr* blockOf(dovrel::ip_address const& address, size_t size)
{
    void* const block = std::malloc(size);
    std::memcpy(block, &address.sockaddr(), size);
    return static_cast<::sockaddr*>(block);
}

addrinfo* makeEntry(AnsweredEntry const& entry, unsigned short port)
{
    auto* const made = static_cast<addrinfo*>(std::calloc(1, sizeof(addrinfo)));
    made->ai_family = entry.family;
    if (entry.text.empty())
        return made;
    dovrel::ip_address address{dovrel::string(entry.text)};
    // The port has one place in both families.
    reinterpret_cast<sockaddr_in&>(address.sockaddr()).sin_port = htons(port);
    made->ai_family = address.family();
    made->ai_addrlen = address.sockaddrsize();
    made->ai_addr = blockOf(address, made->ai_addrlen);
    return made;
}

}

Answer found(std::vector<AnsweredEntry> entries)
{
    return {0, std::move(entries)};
}

void AnsweredResolver::onQuestion(std::function<Answer(Question const&)> handler)
{
    m_onQuestion = std::move(handler);
}

void AnsweredResolver::onNameInfo(NameInfo handler)
{
    m_onNameInfo = std::move(handler);
}

std::vector<Question> AnsweredResolver::questions() const
{
    std::lock_guard<std::mutex> const lock(m_mutex);
    return m_questions;
}

size_t AnsweredResolver::questionsFor(std::string const& name) const
{
    std::vector<Question> const asked = questions();
    return static_cast<size_t>(std::count_if(asked.begin(), asked.end(),
        [&](Question const& question) { return question.name == name; }));
}

int AnsweredResolver::listsInUse() const
{
    std::lock_guard<std::mutex> const lock(m_mutex);
    return m_listsInUse;
}

int AnsweredResolver::ask(
    char const* name, char const* service, addrinfo const* hints, addrinfo** out)
{
    Question question{name, std::nullopt, *hints};
    if (service)
        question.service = service;
    {
        std::lock_guard<std::mutex> const lock(m_mutex);
        m_questions.push_back(question);
    }
    Answer const answer = m_onQuestion ? m_onQuestion(question) : Answer();
    // A real look-up reads the name for as long as it takes.
    if (name != question.name)
        return EAI_FAIL;
    if (answer.code != 0)
        return answer.code;
    auto const port = static_cast<unsigned short>(service ? std::stoul(service) : 0);
    addrinfo** next = out;
    for (AnsweredEntry const& entry : answer.entries) {
        *next = makeEntry(entry, port);
        next = &(*next)->ai_next;
    }
    *next = nullptr;
    std::lock_guard<std::mutex> const lock(m_mutex);
    m_listsInUse += *out != nullptr;
    return 0;
}

void AnsweredResolver::free(addrinfo* list)
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

AnsweredResolver::NameInfo AnsweredResolver::nameInfo() const
{
    return m_onNameInfo;
}

}

extern "C" __attribute__((visibility("default"))) int getaddrinfo(
    char const* name, char const* service, addrinfo const* hints, addrinfo** out)
{
    return testkit::resolver.ask(name, service, hints, out);
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
