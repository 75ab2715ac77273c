// Names of hosts, with the resolver answered by this program. What the library remembers of a
// resolver it remembers until the process ends, so every test lives in a process of its own.

#include "tests/common/basic/LookUp.h"
#include "tests/common/basic/string_fields.h"

#include <arpa/inet.h>

#include <barrier>
#include <chrono>
#include <cstring>
#include <initializer_list>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

using dovrel::ip_address;
using dovrel::string;
using testkit::answer;
using testkit::Answer;
using testkit::AnsweredEntry;
using testkit::found;
using testkit::inAFreshProcess;
using testkit::LookUp;
using testkit::Question;
using testkit::resolver;

namespace {

using Texts = std::vector<std::string>;

}

TEST(HostLookUp, queriesStreamSocketsOfAnyFamily)
{
    inAFreshProcess([] {
        answer({"10.0.0.1"});
        LookUp const lookUp("host");
        EXPECT_EQ(lookUp.count, 1);
        ASSERT_FALSE(resolver.questions().empty());
        for (Question const& question : resolver.questions()) {
            EXPECT_EQ(question.hints.ai_flags, 0);
            EXPECT_EQ(question.hints.ai_family, AF_UNSPEC);
            EXPECT_EQ(question.hints.ai_socktype, SOCK_STREAM);
            EXPECT_EQ(question.hints.ai_protocol, IPPROTO_TCP);
            EXPECT_FALSE(question.service);
        }
        EXPECT_EQ(resolver.questions().front().name, "host");
    });
}

TEST(HostLookUp, passesThePortAsTheService)
{
    inAFreshProcess([] {
        answer({"10.0.0.1", "fe80::1"});
        for (unsigned short const port : std::initializer_list<unsigned short>{1, 80, 65535}) {
            size_t const before = resolver.questions().size();
            LookUp const lookUp("host", port);
            EXPECT_EQ(resolver.questions()[before].service, std::to_string(port));
            EXPECT_EQ(lookUp.sink.ports, std::vector<in_port_t>(2, htons(port)));
        }
    });
}

TEST(HostLookUp, keepsTheResolversOrder)
{
    inAFreshProcess([] {
        answer({"10.0.0.2", "::1", "10.0.0.1", "10.0.0.2"});
        LookUp const lookUp("host");
        EXPECT_EQ(lookUp.count, 4);
        EXPECT_EQ(lookUp.sink.texts, (Texts{"10.0.0.2", "::1", "10.0.0.1", "10.0.0.2"}));
        EXPECT_EQ(ip_address::countHostsForName(string("host"), 0), 4);
        EXPECT_EQ(
            ip_address::getHostByName(string("host"), 0).ipv4AsInteger(ip_address::host_order),
            0x0A000002U);
        EXPECT_EQ(resolver.listsInUse(), 0);
    });
}

TEST(HostLookUp, skipsAddressesOfOtherFamilies)
{
    inAFreshProcess([] {
        answer({AnsweredEntry(AF_UNIX), "10.0.0.1", AnsweredEntry(AF_UNSPEC), "::1",
            AnsweredEntry(AF_PACKET)});
        LookUp const lookUp("host");
        EXPECT_EQ(lookUp.count, 2);
        EXPECT_EQ(lookUp.sink.texts, (Texts{"10.0.0.1", "::1"}));

        answer({AnsweredEntry(AF_UNIX)});
        EXPECT_EQ(LookUp("host").count, 0);
        EXPECT_FALSE(ip_address::getHostByName(string("host"), 0).valid());
    });
}

TEST(HostLookUp, acceptsAnEmptyResult)
{
    inAFreshProcess([] {
        answer({});
        EXPECT_EQ(LookUp("host").count, 0);
        EXPECT_EQ(ip_address::getHostByName(string("host"), 80).family(), ip_address::AF_INVALID);
        EXPECT_EQ(resolver.questions().size(), 2U); // Nothing was there to be doubted.
    });
}

TEST(HostLookUp, throwsTheResolversCode)
{
    inAFreshProcess([] {
        for (int const code : {EAI_NONAME, EAI_AGAIN, EAI_FAIL, EAI_SYSTEM, 1}) {
            resolver.onQuestion([&](Question const&) { return Answer{code, {}}; });
            EXPECT_EQ(LookUp("host").code, code);
            EXPECT_EQ(LookUp("host", 80).code, code);
            EXPECT_THROW(ip_address::getHostByName(string("host"), 0), dovrel::NetworkError);
            EXPECT_THROW(ip_address::countHostsForName(string("host"), 0), dovrel::NetworkError);
        }
    });
}

TEST(HostLookUp, passesAnyNameToTheResolver)
{
    inAFreshProcess([] {
        std::string const name = "a b;$(id)" + std::string(1000, 'x');
        EXPECT_EQ(LookUp(name).code, EAI_NONAME);
        EXPECT_EQ(LookUp("").code, EAI_NONAME);
        EXPECT_EQ(resolver.questionsFor(name), 1U);
        EXPECT_EQ(resolver.questionsFor(""), 1U);
    });
}

TEST(HostLookUp, doesNotModifyTheName)
{
    inAFreshProcess([] {
        answer({"10.0.0.1"});
        string const name("host");
        EXPECT_EQ(ip_address::countHostsForName(name, 0), 1);
        EXPECT_EQ(ip_address::countHostsForName(name, 80), 1);
        EXPECT_TRUE(ip_address::getHostByName(name, 0).valid());
        EXPECT_EQ(fieldsOf(name).narrow, nullptr);
    });
}

TEST(HostLookUp, allowsThreadsToShareOneName)
{
    inAFreshProcess([] {
        constexpr int THREADS = 8;
        constexpr int ROUNDS = 100;
        std::string const host = "host-" + std::string(60, 'x') + ".example";
        resolver.onQuestion([&](Question const& asked) {
            std::this_thread::sleep_for(std::chrono::microseconds(100));
            return asked.name == host ? found({"::1"}) : Answer();
        });
        string const shared(host);
        std::barrier start(THREADS);
        std::vector<int> hosts(THREADS);
        std::vector<std::thread> threads;
        threads.reserve(THREADS);
        for (int& count : hosts)
            threads.emplace_back([&start, &shared, &count] {
                start.arrive_and_wait();
                for (int i = 0; i < ROUNDS; ++i) {
                    try {
                        count += ip_address::countHostsForName(shared, 0);
                    } catch (dovrel::NetworkError const& /*error*/) {
                        return;
                    }
                }
            });
        for (std::thread& thread : threads)
            thread.join();
        EXPECT_EQ(hosts, std::vector<int>(THREADS, ROUNDS));
        EXPECT_EQ(resolver.questionsFor(host), size_t{THREADS * ROUNDS});
    });
}

TEST(HostLookUp, freesTheListWhenTheFunctorThrows)
{
    inAFreshProcess([] {
        class Throwing : public ip_address::InsertFunctor {
        public:
            void insert(ip_address const& /*address*/) override { throw std::length_error("full"); }
        };
        answer({"10.0.0.1", "10.0.0.2"});
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
            [&](::sockaddr const* asked, socklen_t size, char* host, socklen_t hostSize,
                char* service, socklen_t serviceSize, int flags) {
                EXPECT_EQ(size, address.sockaddrsize());
                EXPECT_EQ(std::memcmp(asked, &address.sockaddr(), size), 0);
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
        try {
            ip_address(string("10.0.0.1")).getHostName();
            ADD_FAILURE() << code;
        } catch (dovrel::NetworkError const& error) {
            EXPECT_EQ(error.code(), code);
        }
    }
}

TEST(HostName, ofAnInvalidAddressThrowsWithoutAQuery)
{
    resolver.onNameInfo([](auto...) {
        ADD_FAILURE() << "asked";
        return 0;
    });
    try {
        ip_address(string("x")).getHostName();
        ADD_FAILURE();
    } catch (dovrel::NetworkError const& error) {
        EXPECT_EQ(error.code(), -2);
    }
}
