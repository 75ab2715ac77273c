// The addresses that a resolver gives for hosts that do not exist; see resolver_test.cpp.

#include "tests/common/basic/LookUp.h"

#include <barrier>
#include <chrono>
#include <memory>
#include <set>
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

TEST(BadAddresses, areQueriedOncePerProcess)
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

TEST(BadAddresses, areQueriedByNamesThatEndWithADot)
{
    inAFreshProcess([] {
        // What the resolver does with a name without the dot where "corp.example" is searched and
        // has an address for each name.
        resolver.onQuestion([](Question const& asked) {
            bool const isSearched = asked.name.empty() || asked.name.back() != '.';
            return isSearched ? found({"10.0.0.1"}) : Answer();
        });
        EXPECT_EQ(LookUp("host").count, 1);
        ASSERT_EQ(resolver.questions().size(), 3U);
        EXPECT_EQ(resolver.questions()[1].name, "no-such-host.dovrel.example.");
        EXPECT_EQ(resolver.questions()[2].name, "no-such-host.dovrel-no-such-domain.");
    });
}

TEST(BadAddresses, areRejectedForEveryHost)
{
    inAFreshProcess([] {
        answer({"10.0.0.1"}, found({"10.0.0.1"}));
        EXPECT_EQ(LookUp("host").code, -2);
        EXPECT_EQ(LookUp("elsewhere").code, -2);
        EXPECT_THROW(ip_address::getHostByName(string("host"), 0), dovrel::NetworkError);
        EXPECT_EQ(resolver.listsInUse(), 0);
    });
}

TEST(BadAddresses, doNotRevokeAddressesPassedOnBeforeThem)
{
    inAFreshProcess([] {
        answer({"10.0.0.7", "::1", "10.0.0.1", "10.0.0.8"}, found({"10.0.0.1"}));
        LookUp const lookUp("host");
        EXPECT_EQ(lookUp.code, -2);
        EXPECT_EQ(lookUp.sink.texts, (Texts{"10.0.0.7", "::1"}));
    });
}

TEST(BadAddresses, areRememberedUntilTheProcessEndsKept)
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

TEST(BadAddresses, areRecognizedOnlyWithoutAPortKept)
{
    inAFreshProcess([] {
        answer({"10.0.0.1"}, found({"10.0.0.1"}));
        EXPECT_EQ(LookUp("host", 80).count, 1);
        EXPECT_EQ(LookUp("host", 0).code, -2);
    });
}

TEST(BadAddresses, areLimitedToSixteen)
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

TEST(BadAddresses, areCollectedFromBothNamesWithoutOtherFamilies)
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

TEST(BadAddresses, areNotRecognizedWhenTheyAreIPv6Kept)
{
    inAFreshProcess([] {
        answer({"2001:db8::1"}, found({"2001:db8::1"}));
        EXPECT_EQ(LookUp("host").count, 1);
    });
}

TEST(BadAddresses, matchAnIPv6AddressWhoseSecondHalfIsZeroKept)
{
    inAFreshProcess([] {
        // Only half of the address is remembered; behind it is nothing yet.
        answerOnceElsewhere({"2001:db8::"}, found({"2001:db8::"}));
        EXPECT_EQ(LookUp("host").code, -2);
    });
}

TEST(BadAddresses, areNotReadBeyondTheLastOne)
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

TEST(BadAddresses, areQueriedOnceByConcurrentThreads)
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
        threads.reserve(THREADS);
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
