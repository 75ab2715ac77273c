// The addresses that a resolver returns for hosts that do not exist, which the library rejects. See
// resolver_test.cpp.

#include "tests/common/basic/LookUp.h"

#include <chrono>
#include <memory>
#include <optional>
#include <set>
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

/** @return addresses 10.0.0.FIRST to 10.0.0.LAST. */
std::vector<ResultEntry> range(int first, int last)
{
    std::vector<ResultEntry> entries;
    for (int i = first; i <= last; ++i)
        entries.emplace_back(("10.0.0." + std::to_string(i)).c_str());
    return entries;
}

/** Makes the resolver return @p redirected for the first of the two bad names only. */
void resolveOneBadNameTo(std::vector<ResultEntry> const& host, Result const& redirected)
{
    auto const first = std::make_shared<std::string>();
    resolver.onQuery([=](Query const& query) {
        if (query.name == "host")
            return found(host);
        if (first->empty())
            *first = query.name;
        return query.name == *first ? redirected : Result();
    });
}

}

TEST(BadAddresses, areQueriedOncePerProcess)
{
    inFreshProcess([] {
        resolveHost({"10.0.0.1"});
        for (int i = 0; i < 3; ++i)
            EXPECT_EQ(LookUp("host").count, 1);
        EXPECT_EQ(resolver.queries().size(), 5U);
        std::set<std::string> names;
        for (Query const& query : resolver.queries())
            names.insert(query.name);
        EXPECT_EQ(names.size(), 3U);
        EXPECT_EQ(resolver.queries()[3].name, "host");
    });
}

TEST(BadAddresses, areQueriedByNamesThatEndWithADot)
{
    inFreshProcess([] {
        // A resolver whose search domain has an address for every name without a final dot.
        resolver.onQuery([](Query const& query) {
            bool const isSearched = query.name.empty() || query.name.back() != '.';
            return isSearched ? found({"10.0.0.1"}) : Result();
        });
        EXPECT_EQ(LookUp("host").count, 1);
        ASSERT_EQ(resolver.queries().size(), 3U);
        EXPECT_EQ(resolver.queries()[1].name, "no-such-host.dovrel.example.");
        EXPECT_EQ(resolver.queries()[2].name, "no-such-host.dovrel-no-such-domain.");
    });
}

TEST(BadAddresses, areRejectedForEveryHost)
{
    inFreshProcess([] {
        resolveHost({"10.0.0.1"}, found({"10.0.0.1"}));
        EXPECT_EQ(LookUp("host").code, -2);
        EXPECT_EQ(LookUp("elsewhere").code, -2);
        EXPECT_THROW(ip_address::getHostByName(string("host"), 0), dovrel::NetworkError);
        EXPECT_EQ(resolver.listsInUse(), 0);
    });
}

TEST(BadAddresses, doNotRevokeAddressesPassedOnBeforeThem)
{
    inFreshProcess([] {
        resolveHost({"10.0.0.7", "::1", "10.0.0.1", "10.0.0.8"}, found({"10.0.0.1"}));
        LookUp const lookUp("host");
        EXPECT_EQ(lookUp.code, -2);
        EXPECT_EQ(lookUp.collector.texts, (Texts{"10.0.0.7", "::1"}));
    });
}

TEST(BadAddresses, areRememberedUntilTheProcessEndsKept)
{
    inFreshProcess([] {
        resolveHost({"10.0.0.1"}, found({"10.0.0.1"}));
        EXPECT_EQ(LookUp("host").code, -2);
        resolveHost({"10.0.0.1"});
        EXPECT_EQ(LookUp("host").code, -2);
        // A resolver that redirects later is not noticed.
        resolveHost({"10.0.0.2"}, found({"10.0.0.2"}));
        EXPECT_EQ(LookUp("host").count, 1);
    });
}

TEST(BadAddresses, areRecognizedOnlyWithoutAPortKept)
{
    inFreshProcess([] {
        resolveHost({"10.0.0.1"}, found({"10.0.0.1"}));
        EXPECT_EQ(LookUp("host", 80).count, 1);
        EXPECT_EQ(LookUp("host", 0).code, -2);
    });
}

TEST(BadAddresses, areLimitedToSixteen)
{
    inFreshProcess([] {
        resolveHost(range(16, 16), found(range(1, 40)));
        EXPECT_EQ(LookUp("host").code, -2);
        for (int i = 1; i <= 40; ++i) {
            resolveHost(range(i, i));
            EXPECT_EQ(LookUp("host").code.has_value(), i <= 16) << i;
        }
    });
}

TEST(BadAddresses, areCollectedFromBothNamesWithoutOtherFamilies)
{
    inFreshProcess([] {
        std::set<std::string> others;
        resolver.onQuery([&](Query const& query) {
            if (query.name == "host")
                return found(range(1, 1));
            others.insert(query.name);
            std::vector<ResultEntry> entries(20, ResultEntry(AF_UNIX));
            entries.push_back(range(static_cast<int>(others.size()), 3).front());
            return found(entries);
        });
        EXPECT_EQ(LookUp("host").code, -2);
        resolveHost(range(2, 2));
        EXPECT_EQ(LookUp("host").code, -2);
        resolveHost(range(3, 3));
        EXPECT_EQ(LookUp("host").count, 1);
    });
}

TEST(BadAddresses, areNotRecognizedWhenTheyAreIPv6Kept)
{
    inFreshProcess([] {
        resolveHost({"2001:db8::1"}, found({"2001:db8::1"}));
        EXPECT_EQ(LookUp("host").count, 1);
    });
}

TEST(BadAddresses, matchAnIPv6AddressWhoseSecondHalfIsZeroKept)
{
    inFreshProcess([] {
        // An entry keeps half of the address; the next entry is still zero.
        resolveOneBadNameTo({"2001:db8::"}, found({"2001:db8::"}));
        EXPECT_EQ(LookUp("host").code, -2);
    });
}

TEST(BadAddresses, areNotReadBeyondTheLastOne)
{
    inFreshProcess([] {
        std::vector<ResultEntry> full = range(1, 15);
        full.emplace_back("2001:db8::");
        full.emplace_back("2001:db8::");
        resolveHost({"2001:db8::"}, found(full));
        EXPECT_EQ(LookUp("host").count, 1);
        resolveHost(range(15, 15));
        EXPECT_EQ(LookUp("host").code, -2);
    });
}

TEST(BadAddresses, areQueriedOnceByConcurrentThreads)
{
    inFreshProcess([] {
        constexpr int THREADS = 8;
        resolver.onQuery([](Query const& query) {
            if (query.name == "host")
                return found({"10.0.0.1"});
            std::this_thread::sleep_for(std::chrono::milliseconds(30));
            return found({"10.0.0.1"});
        });
        std::vector<std::optional<int>> codes(THREADS);
        runInThreads(THREADS, [&](int thread) {
            codes[static_cast<size_t>(thread)] =
                networkErrorCode([] { ip_address::countHostsForName(string("host"), 0); });
        });
        EXPECT_EQ(codes, std::vector<std::optional<int>>(THREADS, -2));
        EXPECT_EQ(resolver.queries().size(), THREADS + 2U);
        EXPECT_EQ(resolver.queriesFor("host"), size_t{THREADS});
        EXPECT_EQ(resolver.listsInUse(), 0);
    });
}
