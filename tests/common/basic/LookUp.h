#pragma once

#include "common/basic/NetworkError.h"
#include "tests/common/basic/AnsweredResolver.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <optional>
#include <string>
#include <vector>

namespace testkit {

/** Runs @p body in a child; its failures are printed there and count here. */
template <class Body> void inAFreshProcess(Body body)
{
    std::fflush(nullptr);
    pid_t const child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        body();
        std::fflush(nullptr);
        ::_exit(testing::Test::HasFailure() ? 1 : 0);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0) << "see the failures above; anything but 256 is a crash";
}

class Collector : public dovrel::ip_address::InsertFunctor {
public:
    void insert(dovrel::ip_address const& address) override
    {
        texts.emplace_back(static_cast<char const*>(address.toStringInternal()));
        ports.push_back(reinterpret_cast<sockaddr_in const&>(address.sockaddr()).sin_port);
    }

    std::vector<std::string> texts;
    std::vector<in_port_t> ports;
};

/** What a look-up passed on and how it ended. */
struct LookUp {
    explicit LookUp(std::string const& name, unsigned short port = 0)
    {
        try {
            count = dovrel::ip_address::getHostsByNameInternal(dovrel::string(name), port, sink);
        } catch (dovrel::NetworkError const& error) {
            code = error.code();
        }
        EXPECT_EQ(resolver.listsInUse(), 0);
    }

    Collector sink;
    std::optional<int> count;
    std::optional<int> code;
};

/** A resolver that knows "host" and answers for every other name with @p elsewhere. */
inline void answer(std::vector<AnsweredEntry> const& host, Answer const& elsewhere = {})
{
    resolver.onQuestion(
        [=](Question const& asked) { return asked.name == "host" ? found(host) : elsewhere; });
}

}
