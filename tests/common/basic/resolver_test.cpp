// Names of hosts, with the resolver answered by this program. What the library remembers of a
// resolver it remembers until the process ends, so every test lives in a process of its own.

#include "common/basic/NetworkError.h"
#include "common/basic/ip_address.h"
#include "tests/common/basic/AnsweredResolver.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <barrier>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <initializer_list>
#include <memory>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

using dovrel::ip_address;
using dovrel::string;
using testkit::Answer;
using testkit::AnsweredEntry;
using testkit::found;
using testkit::Question;
using testkit::resolver;

namespace {

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

class Collector : public ip_address::InsertFunctor {
public:
    void insert(ip_address const& address) override
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
            count = ip_address::getHostsByNameInternal(string(name), port, sink);
        } catch (dovrel::NetworkError const& error) {
            code = error.code();
        }
        EXPECT_EQ(resolver.listsInUse(), 0);
    }

    Collector sink;
    std::optional<int> count;
    std::optional<int> code;
};

using Texts = std::vector<std::string>;

/** A resolver that knows "host" and answers for every other name with @p elsewhere. */
void answer(std::vector<AnsweredEntry> const& host, Answer const& elsewhere = {})
{
    resolver.onQuestion(
        [=](Question const& asked) { return asked.name == "host" ? found(host) : elsewhere; });
}

/** @return addresses 10.0.0.FIRST to 10.0.0.LAST. */
std::vector<AnsweredEntry> range(int first, int last)
{
    std::vector<AnsweredEntry> entries;
    for (int i = first; i <= last; ++i)
        entries.emplace_back(("10.0.0." + std::to_string(i)).c_str());
    return entries;
}

/** A resolver whose first failed look-up is redirected to @p redirected. */
void answerOnceElsewhere(std::vector<AnsweredEntry> const& host, Answer const& redirected)
{
    auto const first = std::make_shared<std::string>();
    resolver.onQuestion([=](Question const& asked) {
        if (asked.name == "host")
            return found(host);
        if (first->empty())
            *first = asked.name;
        return asked.name == *first ? redirected : Answer();
    });
}

}

TEST(Resolver, isAskedForStreamSocketsOfAnyFamily)
{
    inAFreshProcess([] {
        answer({"10.0.0.1"});
        LookUp const lookUp("host");
        EXPECT_EQ(lookUp.count, 1);
        ASSERT_FALSE(resolver.questions().empty());
        for (Question const& question : resolver.questions()) {
            addrinfo expected{};
            expected.ai_family = AF_UNSPEC;
            expected.ai_socktype = SOCK_STREAM;
            expected.ai_protocol = IPPROTO_TCP;
            EXPECT_EQ(std::memcmp(&question.hints, &expected, sizeof expected), 0);
            EXPECT_FALSE(question.service);
        }
        EXPECT_EQ(resolver.questions().front().name, "host");
    });
}

TEST(Resolver, isAskedForThePortAsAServiceAndPassesItOn)
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

TEST(Resolver, isBelievedInItsOrder)
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

TEST(Resolver, hasAnswersOfOtherFamiliesSkipped)
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

TEST(Resolver, mayAnswerWithNothingAtAll)
{
    inAFreshProcess([] {
        answer({});
        EXPECT_EQ(LookUp("host").count, 0);
        EXPECT_EQ(ip_address::getHostByName(string("host"), 80).family(), ip_address::AF_INVALID);
        EXPECT_EQ(resolver.questions().size(), 2U); // Nothing was there to be doubted.
    });
}

TEST(Resolver, failsWithItsOwnCode)
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

TEST(Resolver, isAskedForWhateverTextIsAName)
{
    inAFreshProcess([] {
        std::string const name = "a b;$(id)" + std::string(1000, 'x');
        EXPECT_EQ(LookUp(name).code, EAI_NONAME);
        EXPECT_EQ(LookUp("").code, EAI_NONAME);
        EXPECT_EQ(resolver.questionsFor(name), 1U);
        EXPECT_EQ(resolver.questionsFor(""), 1U);
    });
}

TEST(Resolver, hasItsListFreedWhereTheSinkThrows)
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

TEST(BadAddresses, areThoseOfTwoHostsThatDoNotExistAskedForOnceAProcess)
{
    inAFreshProcess([] {
        answer({"10.0.0.1"});
        for (int i = 0; i < 3; ++i)
            EXPECT_EQ(LookUp("host").count, 1);
        EXPECT_EQ(resolver.questions().size(), 5U);
        std::set<std::string> names;
        for (Question const& question : resolver.questions())
            names.insert(question.name);
        EXPECT_EQ(names.size(), 3U);
        EXPECT_EQ(resolver.questions()[3].name, "host");
    });
}

TEST(BadAddresses, areNoHostsAddresses)
{
    inAFreshProcess([] {
        answer({"10.0.0.1"}, found({"10.0.0.1"}));
        EXPECT_EQ(LookUp("host").code, -2);
        EXPECT_EQ(LookUp("elsewhere").code, -2);
        EXPECT_THROW(ip_address::getHostByName(string("host"), 0), dovrel::NetworkError);
        EXPECT_EQ(resolver.listsInUse(), 0);
    });
}

TEST(BadAddresses, leaveWhatWasPassedOnBeforeThem)
{
    inAFreshProcess([] {
        answer({"10.0.0.7", "::1", "10.0.0.1", "10.0.0.8"}, found({"10.0.0.1"}));
        LookUp const lookUp("host");
        EXPECT_EQ(lookUp.code, -2);
        EXPECT_EQ(lookUp.sink.texts, (Texts{"10.0.0.7", "::1"}));
    });
}

TEST(BadAddresses, areForgottenByNoLaterHonestyKept)
{
    inAFreshProcess([] {
        answer({"10.0.0.1"}, found({"10.0.0.1"}));
        EXPECT_EQ(LookUp("host").code, -2);
        answer({"10.0.0.1"});
        EXPECT_EQ(LookUp("host").code, -2);
        // And one that redirects only later is not noticed.
        answer({"10.0.0.2"}, found({"10.0.0.2"}));
        EXPECT_EQ(LookUp("host").count, 1);
    });
}

TEST(BadAddresses, areRecognisedWithoutAPortOnlyKept)
{
    inAFreshProcess([] {
        answer({"10.0.0.1"}, found({"10.0.0.1"}));
        EXPECT_EQ(LookUp("host", 80).count, 1);
        EXPECT_EQ(LookUp("host", 0).code, -2);
    });
}

TEST(BadAddresses, areSixteenAtMost)
{
    inAFreshProcess([] {
        answer(range(16, 16), found(range(1, 40)));
        EXPECT_EQ(LookUp("host").code, -2);
        for (int i = 1; i <= 40; ++i) {
            answer(range(i, i));
            EXPECT_EQ(LookUp("host").code.has_value(), i <= 16) << i;
        }
    });
}

TEST(BadAddresses, areTakenFromBothHostsAndFromIPOnly)
{
    inAFreshProcess([] {
        std::set<std::string> others;
        resolver.onQuestion([&](Question const& asked) {
            if (asked.name == "host")
                return found(range(1, 1));
            others.insert(asked.name);
            std::vector<AnsweredEntry> entries(20, AnsweredEntry(AF_UNIX));
            entries.push_back(range(static_cast<int>(others.size()), 3).front());
            return found(entries);
        });
        EXPECT_EQ(LookUp("host").code, -2);
        answer(range(2, 2));
        EXPECT_EQ(LookUp("host").code, -2);
        answer(range(3, 3));
        EXPECT_EQ(LookUp("host").count, 1);
    });
}

TEST(BadAddresses, areNotRecognisedWhereTheyAreIPv6Kept)
{
    inAFreshProcess([] {
        answer({"2001:db8::1"}, found({"2001:db8::1"}));
        EXPECT_EQ(LookUp("host").count, 1);
    });
}

TEST(BadAddresses, compareAnIPv6AnswerWithWhatLiesBehindItsBeginningKept)
{
    inAFreshProcess([] {
        // Only half of the address is remembered; behind it is nothing yet.
        answerOnceElsewhere({"2001:db8::"}, found({"2001:db8::"}));
        EXPECT_EQ(LookUp("host").code, -2);
    });
}

TEST(BadAddresses, areNotReadBeyondTheLastOfThem)
{
    inAFreshProcess([] {
        std::vector<AnsweredEntry> full = range(1, 15);
        full.emplace_back("2001:db8::");
        full.emplace_back("2001:db8::");
        answer({"2001:db8::"}, found(full));
        EXPECT_EQ(LookUp("host").count, 1);
        answer(range(15, 15));
        EXPECT_EQ(LookUp("host").code, -2);
    });
}

TEST(BadAddresses, areAskedForOnceWhereManyThreadsResolveAtOnce)
{
    inAFreshProcess([] {
        constexpr int THREADS = 8;
        resolver.onQuestion([](Question const& asked) {
            if (asked.name == "host")
                return found({"10.0.0.1"});
            std::this_thread::sleep_for(std::chrono::milliseconds(30));
            return found({"10.0.0.1"});
        });
        std::barrier start(THREADS);
        std::vector<int> codes(THREADS);
        std::vector<std::thread> threads;
        for (int& code : codes)
            threads.emplace_back([&start, &code] {
                start.arrive_and_wait();
                try {
                    ip_address::countHostsForName(string("host"), 0);
                } catch (dovrel::NetworkError const& error) {
                    code = error.code();
                }
            });
        for (std::thread& thread : threads)
            thread.join();
        EXPECT_EQ(codes, std::vector<int>(THREADS, -2));
        EXPECT_EQ(resolver.questions().size(), THREADS + 2U);
        EXPECT_EQ(resolver.questionsFor("host"), size_t{THREADS});
        EXPECT_EQ(resolver.listsInUse(), 0);
    });
}

TEST(HostName, isTheOneThatAReverseLookUpRequires)
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

TEST(HostName, failsWithTheLookUpsOwnCode)
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

TEST(HostName, ofNoAddressIsNotLookedUp)
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
