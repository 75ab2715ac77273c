#pragma once

#include "tests/common/basic/FakeResolver.h"
#include "tests/common/basic/network_error_code.h"
#include "tests/common/basic/string_fields.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <barrier>
#include <cstdio>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace testkit {

/** Runs @p body in a child. A failure there is a failure of the test. */
template <class Body> void inFreshProcess(Body body)
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
    EXPECT_EQ(status, 0) << "256: see the failures above; any other status: the child crashed";
}

/** Keeps the addresses and ports of a look-up. */
class Collector : public dovrel::ip_address::InsertFunctor {
public:
    void insert(dovrel::ip_address const& address) override
    {
        texts.push_back(narrow(address.toStringInternal()));
        ports.push_back(reinterpret_cast<sockaddr_in const&>(address.sockaddr()).sin_port);
    }

    std::vector<std::string> texts;
    std::vector<in_port_t> ports;
};

/** Looks a name up and keeps the addresses with the returned count or the thrown code. */
struct LookUp {
    explicit LookUp(std::string const& name, unsigned short port = 0)
    {
        code = networkErrorCode([&] {
            count =
                dovrel::ip_address::getHostsByNameInternal(dovrel::string(name), port, collector);
        });
        EXPECT_EQ(resolver.listsInUse(), 0);
    }

    Collector collector;
    std::optional<int> count;
    std::optional<int> code;
};

/** Makes the resolver return @p host for "host" and @p elsewhere for every other name. */
inline void resolveHost(std::vector<ResultEntry> const& host, Result const& elsewhere = {})
{
    resolver.onQuery(
        [=](Query const& query) { return query.name == "host" ? found(host) : elsewhere; });
}

/** Runs @p body in @p count threads that start together; passes each its number. */
template <class Body> void runInThreads(int count, Body body)
{
    std::barrier start(count);
    std::vector<std::thread> threads;
    for (int i = 0; i < count; ++i)
        threads.emplace_back([&start, &body, i] {
            start.arrive_and_wait();
            body(i);
        });
    for (std::thread& thread : threads)
        thread.join();
}

}
