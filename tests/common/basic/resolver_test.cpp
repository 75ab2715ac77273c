// Host names with a fake resolver. The library keeps its bad addresses until the process ends, so
// each test of a look-up runs in a fresh process.

#include "tests/common/basic/LookUp.h"
#include "tests/common/basic/string_fields.h"

#include <arpa/inet.h>

#include <chrono>
#include <cstring>
#include <initializer_list>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

using dovrel::ip_address;
using dovrel::string;
using testkit::found;
using testkit::inFreshProcess;
using testkit::LookUp;
using testkit::Query;
using testkit::resolveHost;
using testkit::resolver;
using testkit::Result;
using testkit::ResultEntry;
using testkit::runInThreads;

namespace {

using Texts = std::vector<std::string>;

}

TEST(HostLookUp, queriesStreamSocketsOfAnyFamily)
{
    inFreshProcess([] {
        resolveHost({"10.0.0.1"});
        LookUp const lookUp("host");
        EXPECT_EQ(lookUp.count, 1);
        ASSERT_FALSE(resolver.queries().empty());
        for (Query const& query : resolver.queries()) {
            EXPECT_EQ(query.hints.ai_flags, 0);
            EXPECT_EQ(query.hints.ai_family, AF_UNSPEC);
            EXPECT_EQ(query.hints.ai_socktype, SOCK_STREAM);
            EXPECT_EQ(query.hints.ai_protocol, IPPROTO_TCP);
            EXPECT_FALSE(query.service);
        }
        EXPECT_EQ(resolver.queries().front().name, "host");
    });
}

TEST(HostLookUp, passesThePortAsTheService)
{
    inFreshProcess([] {
        resolveHost({"10.0.0.1", "fe80::1"});
        for (unsigned short const port : std::initializer_list<unsigned short>{1, 80, 65535}) {
            size_t const before = resolver.queries().size();
            LookUp const lookUp("host", port);
            EXPECT_EQ(resolver.queries()[before].service, std::to_string(port));
            EXPECT_EQ(lookUp.collector.ports, std::vector<in_port_t>(2, htons(port)));
        }
    });
}

TEST(HostLookUp, keepsTheResolversOrder)
{
    inFreshProcess([] {
        resolveHost({"10.0.0.2", "::1", "10.0.0.1", "10.0.0.2"});
        LookUp const lookUp("host");
        EXPECT_EQ(lookUp.count, 4);
        EXPECT_EQ(lookUp.collector.texts, (Texts{"10.0.0.2", "::1", "10.0.0.1", "10.0.0.2"}));
        EXPECT_EQ(ip_address::countHostsForName(string("host"), 0), 4);
        EXPECT_EQ(
            ip_address::getHostByName(string("host"), 0).ipv4AsInteger(ip_address::host_order),
            0x0A000002U);
        EXPECT_EQ(resolver.listsInUse(), 0);
    });
}

TEST(HostLookUp, skipsAddressesOfOtherFamilies)
{
    inFreshProcess([] {
        resolveHost({ResultEntry(AF_UNIX), "10.0.0.1", ResultEntry(AF_UNSPEC), "::1",
            ResultEntry(AF_PACKET)});
        LookUp const lookUp("host");
        EXPECT_EQ(lookUp.count, 2);
        EXPECT_EQ(lookUp.collector.texts, (Texts{"10.0.0.1", "::1"}));

        resolveHost({ResultEntry(AF_UNIX)});
        EXPECT_EQ(LookUp("host").count, 0);
        EXPECT_FALSE(ip_address::getHostByName(string("host"), 0).valid());
    });
}

TEST(HostLookUp, acceptsAnEmptyResult)
{
    inFreshProcess([] {
        resolveHost({});
        EXPECT_EQ(LookUp("host").count, 0);
        EXPECT_EQ(ip_address::getHostByName(string("host"), 80).family(), ip_address::AF_INVALID);
        EXPECT_EQ(resolver.queries().size(), 2U); // None for the bad addresses.
    });
}

TEST(HostLookUp, throwsTheResolversCode)
{
    inFreshProcess([] {
        for (int const code : {EAI_NONAME, EAI_AGAIN, EAI_FAIL, EAI_SYSTEM, 1}) {
            resolver.onQuery([&](Query const&) { return Result{code, {}}; });
            EXPECT_EQ(LookUp("host").code, code);
            EXPECT_EQ(LookUp("host", 80).code, code);
            EXPECT_THROW(ip_address::getHostByName(string("host"), 0), dovrel::NetworkError);
            EXPECT_THROW(ip_address::countHostsForName(string("host"), 0), dovrel::NetworkError);
        }
    });
}

TEST(HostLookUp, passesAnyNameToTheResolver)
{
    inFreshProcess([] {
        std::string const name = "a b;$(id)" + std::string(1000, 'x');
        EXPECT_EQ(LookUp(name).code, EAI_NONAME);
        EXPECT_EQ(LookUp("").code, EAI_NONAME);
        EXPECT_EQ(resolver.queriesFor(name), 1U);
        EXPECT_EQ(resolver.queriesFor(""), 1U);
    });
}

TEST(HostLookUp, doesNotModifyTheName)
{
    inFreshProcess([] {
        resolveHost({"10.0.0.1"});
        string const name("host");
        EXPECT_EQ(ip_address::countHostsForName(name, 0), 1);
        EXPECT_EQ(ip_address::countHostsForName(name, 80), 1);
        EXPECT_TRUE(ip_address::getHostByName(name, 0).valid());
        EXPECT_EQ(fieldsOf(name).narrow, nullptr);
    });
}

TEST(HostLookUp, allowsThreadsToShareOneName)
{
    inFreshProcess([] {
        constexpr int THREADS = 8;
        constexpr int ROUNDS = 100;
        std::string const host = "host-" + std::string(60, 'x') + ".example";
        resolver.onQuery([&](Query const& query) {
            std::this_thread::sleep_for(std::chrono::microseconds(100));
            return query.name == host ? found({"::1"}) : Result();
        });
        string const shared(host);
        std::vector<int> hosts(THREADS);
        runInThreads(THREADS, [&](int thread) {
            networkErrorCode([&] {
                for (int i = 0; i < ROUNDS; ++i)
                    hosts[static_cast<size_t>(thread)] += ip_address::countHostsForName(shared, 0);
            });
        });
        EXPECT_EQ(hosts, std::vector<int>(THREADS, ROUNDS));
        EXPECT_EQ(resolver.queriesFor(host), size_t{THREADS * ROUNDS});
    });
}

TEST(HostLookUp, freesTheListWhenTheFunctorThrows)
{
    inFreshProcess([] {
        class Throwing : public ip_address::InsertFunctor {
        public:
            void insert(ip_address const& /*address*/) override { throw std::length_error("full"); }
        };
        resolveHost({"10.0.0.1", "10.0.0.2"});
        Throwing sink;
        EXPECT_THROW(
            ip_address::getHostsByNameInternal(string("host"), 0, sink), std::length_error);
        EXPECT_EQ(resolver.listsInUse(), 0);
    });
}

TEST(HostName, isQueriedWithNameRequired)
{
    for (char const* const text : {"10.0.0.1", "fe80::1"}) {
        ip_address const address{string(text)};
        resolver.onNameInfo(
            [&](::sockaddr const* queried, socklen_t size, char* host, socklen_t hostSize,
                char* service, socklen_t serviceSize, int flags) {
                EXPECT_EQ(size, address.sockaddrsize());
                EXPECT_EQ(std::memcmp(queried, &address.sockaddr(), size), 0);
                EXPECT_EQ(hostSize, 255U);
                EXPECT_EQ(service, nullptr);
                EXPECT_EQ(serviceSize, 0U);
                EXPECT_EQ(flags, NI_NAMEREQD);
                std::memset(host, 'h', hostSize - 1);
                host[hostSize - 1] = '\0';
                return 0;
            });
        EXPECT_STREQ(
            static_cast<char const*>(address.getHostName()), std::string(254, 'h').c_str());
    }
}

TEST(HostName, throwsTheResolversCode)
{
    for (int const code : {EAI_NONAME, EAI_AGAIN, EAI_OVERFLOW}) {
        resolver.onNameInfo([code](auto...) { return code; });
        EXPECT_EQ(networkErrorCode([] { ip_address(string("10.0.0.1")).getHostName(); }), code);
    }
}

TEST(HostName, ofAnInvalidAddressThrowsWithoutAQuery)
{
    resolver.onNameInfo([](auto...) {
        ADD_FAILURE() << "getnameinfo was called";
        return 0;
    });
    EXPECT_EQ(networkErrorCode([] { ip_address(string("x")).getHostName(); }), -2);
}
