#pragma once

#include "common/basic/ip_address.h"

#include <netdb.h>

#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace testkit {

/** What the library asked getaddrinfo(3). */
struct Question {
    std::string name;
    std::optional<std::string> service;
    addrinfo hints;
};

/** One entry of an answer: the text of an address, or a family without one. */
struct AnsweredEntry {
    AnsweredEntry(char const* address) : text(address) { }
    explicit AnsweredEntry(int otherFamily) : family(otherFamily) { }

    std::string text;
    int family = AF_UNSPEC;
};

struct Answer {
    int code = EAI_NONAME;
    std::vector<AnsweredEntry> entries;
};

/** @return the answer that consists of these addresses. */
Answer found(std::vector<AnsweredEntry> entries);

/**
 * Answers getaddrinfo, freeaddrinfo and getnameinfo for the whole program; see `SystemCalls.h` for
 * how.
 *
 * Each address lies in a block of exactly its size, so that the address sanitizer sees who reads
 * beyond it. Threads: questions may come from several at once.
 */
class AnsweredResolver {
public:
    using NameInfo = std::function<int(
        ::sockaddr const*, socklen_t, char* host, socklen_t, char* service, socklen_t, int flags)>;

    /** Without a handler there is no such host anywhere. */
    void onQuestion(std::function<Answer(Question const&)> handler);
    void onNameInfo(NameInfo handler);

    std::vector<Question> questions() const;

    /** @return how often a name was asked for. */
    size_t questionsFor(std::string const& name) const;

    /** Answers that were given and not yet freed. */
    int listsInUse() const;

    /** What the functions of the C library's names do. */
    int ask(char const* name, char const* service, addrinfo const* hints, addrinfo** out);
    void free(addrinfo* list);
    NameInfo nameInfo() const;

private:
    mutable std::mutex m_mutex;
    std::function<Answer(Question const&)> m_onQuestion;
    NameInfo m_onNameInfo;
    std::vector<Question> m_questions;
    int m_listsInUse = 0;
};

extern AnsweredResolver resolver;

}
