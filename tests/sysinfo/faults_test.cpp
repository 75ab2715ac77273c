// Every call of every query fails in turn, with each error of its manual page, until none is left:
// allocations, calls of the C library, interrupted calls, short reads and writes. Prints a table.

#include "tests/support/DescriptorGuard.h"
#include "tests/support/Machine.h"
#include "tests/sysinfo/FaultCalls.h"
#include "tests/sysinfo/FaultQueries.h"
#include "tests/sysinfo/FaultTable.h"

#include <gtest/gtest.h>

#include <boost/filesystem.hpp>

#include <sys/resource.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <limits>
#include <map>
#include <new>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

using testkit::Fault;
using testkit::FaultCalls;
using testkit::faultCalls;
using testkit::FaultyCall;
using testkit::Query;
using testkit::Result;

namespace {

std::string joined(std::set<std::string> const& words)
{
    std::string all;
    for (std::string const& word : words)
        all.append(all.empty() ? "" : " ").append(word);
    return all;
}

std::set<std::string> wordsOf(std::string const& result)
{
    std::istringstream stream(result);
    return {std::istream_iterator<std::string>(stream), std::istream_iterator<std::string>()};
}

/** Makes the query with the fault. @return its result, exceptions included. */
Result resultOf(Query const& query, Fault const& fault)
{
    Result result;
    faultCalls.begin(fault, query.cause);
    char const* exception = "";
    try {
        result = query.run();
    } catch (std::bad_alloc const&) {
        exception = "bad_alloc";
    } catch (boost::filesystem::filesystem_error const&) {
        exception = "filesystem_error";
    }
    faultCalls.end();
    if (*exception)
        result.exception = exception;
    return result;
}

/** While it lives, descriptors are below 64, so that `openDescriptors` tries few numbers. */
class FewDescriptors {
public:
    FewDescriptors()
    {
        ::getrlimit(RLIMIT_NOFILE, &m_former);
        rlimit const few{std::min<rlim_t>(m_former.rlim_cur, ENOUGH), m_former.rlim_max};
        ::setrlimit(RLIMIT_NOFILE, &few);
    }

    FewDescriptors(FewDescriptors const&) = delete;
    FewDescriptors& operator=(FewDescriptors const&) = delete;
    ~FewDescriptors() { ::setrlimit(RLIMIT_NOFILE, &m_former); }

private:
    static constexpr rlim_t ENOUGH = 64;

    rlimit m_former{};
};

/** tools/faults sets it: all errors, not one for each branch of the library. */
bool const allErrors = std::getenv("DOVREL_FAULTS") != nullptr;

class Faults : public testing::TestWithParam<Query> {
protected:
    Faults()
    {
        testkit::fillFaultMachine();
        undisturbed(); // What the process keeps, such as the time zone, is allocated now.
        m_right = undisturbed();
        m_counts = countCalls();
    }

    static Result undisturbed() { return resultOf(GetParam(), testkit::NO_FAULT); }

    /** @return how often the undisturbed query makes each of the calls. */
    static std::map<std::string, unsigned> countCalls()
    {
        std::map<std::string, unsigned> counts;
        undisturbed();
        counts[testkit::MEMORY] = faultCalls.countOf(testkit::MEMORY);
        for (FaultyCall const& call : testkit::FAULTY_CALLS)
            counts[call.name] = faultCalls.countOf(call.name);
        return counts;
    }

    /** Injects the error into each call in turn. The results must be among those of @p stated. */
    void injectEach(
        char const* call, int error, std::set<std::string> const& stated, unsigned times = 1)
    {
        for (unsigned nth = 1; nth <= m_counts.at(call); ++nth)
            inject({call, error, nth, times}, stated);
    }

    void inject(Fault const& fault, std::set<std::string> const& stated)
    {
        SCOPED_TRACE(std::string(fault.call) + " number " + std::to_string(fault.nth) + ": "
            + (fault.error == testkit::ONE_BYTE ? "one byte" : std::strerror(fault.error)));
        std::string const result = run(fault);
        // A query that waits for its tool may make a call less often.
        if (faultCalls.countOf(fault.call) < fault.nth)
            return;
        ++m_faults;
        ++m_results[result];
        for (std::string const& word : wordsOf(result)) {
            EXPECT_TRUE(stated.count(word) != 0) << word;
            m_met.insert(word);
        }
        EXPECT_EQ(textOf(undisturbed()), textOf(m_right)) << "The next query is disturbed.";
    }

    void print(char const* kind)
    {
        unsigned const right = std::exchange(m_results["right"], 0);
        unsigned const outOfMemory = std::exchange(m_results["bad_alloc"], 0);
        unsigned const failed = std::exchange(m_results["false"], 0);
        unsigned thrown = 0;
        unsigned less = 0;
        std::set<std::string> lacking;
        for (auto const& [result, count] : m_results) {
            bool const isException =
                result.starts_with("ProcessException") || result == "filesystem_error";
            (isException ? thrown : less) += count;
            if (!isException && count != 0)
                lacking.merge(wordsOf(result));
        }
        std::printf("| %-17s | %-9s | %6u | %5u | %9u | %15u | %5u | %4u | %s |\n", GetParam().name,
            kind, m_faults, right, outOfMemory, thrown, failed, less, joined(lacking).c_str());
        std::fflush(stdout);
    }

    Result m_right;
    std::map<std::string, unsigned> m_counts;
    std::set<std::string> m_met;

private:
    /** Runs the query with the fault. Nothing may be left behind. */
    std::string run(Fault const& fault)
    {
        std::vector<int> const descriptors = testkit::openDescriptors();
        std::string result;
        result.reserve(200); // Its block is not the query's.
        long const before = FaultCalls::liveBlocks();
        result = joined(wordsFor(fault));
        // Fewer: the C library drops the time zone that it keeps, if it cannot copy it.
        EXPECT_LE(FaultCalls::liveBlocks(), before) << "A block is leaked.";
        EXPECT_EQ(testkit::openDescriptors(), descriptors) << "A descriptor is leaked.";
        testkit::expectNoChildren();
        return result;
    }

    std::set<std::string> wordsFor(Fault const& fault) const
    {
        std::set<std::string> words = testkit::wordsFor(resultOf(GetParam(), fault), m_right);
        words.erase("code=" + std::to_string(fault.error)); // An exception has the fault's error.
        return words;
    }

    FewDescriptors m_fewDescriptors;
    unsigned m_faults = 0;
    std::map<std::string, unsigned> m_results;
};

}

TEST_P(Faults, ofMemoryNeverPassForASmallerMachine)
{
    injectEach(testkit::MEMORY, ENOMEM, testkit::statedResults(GetParam().name, testkit::MEMORY));
    print("memory");
}

TEST_P(Faults, ofEachCallHaveTheStatedResults)
{
    for (FaultyCall const& call : testkit::FAULTY_CALLS) {
        std::set<std::string> const stated = testkit::statedResults(GetParam().name, call.name);
        m_met.clear();
        for (int const error : call.branches)
            injectEach(call.name, error, stated);
        for (int const error : call.others)
            if (allErrors)
                injectEach(call.name, error, stated);
        EXPECT_EQ(joined(m_met), joined(stated)) << call.name;
    }
    print("calls");
}

TEST_P(Faults, ofInterruptedCallsChangeNoResult)
{
    constexpr unsigned BURST = 20;
    for (FaultyCall const& call : testkit::FAULTY_CALLS) {
        if (!call.isInterruptible)
            continue;
        injectEach(call.name, EINTR, {"right"});
        injectEach(call.name, EINTR, {"right"}, BURST);
    }
    print("signals");
}

TEST_P(Faults, ofShortReadsAndWritesHaveTheStatedResults)
{
    constexpr unsigned ALL = std::numeric_limits<unsigned>::max();
    for (FaultyCall const& call : testkit::FAULTY_CALLS) {
        if (!call.isShort || m_counts[call.name] == 0)
            continue;
        std::string const name = std::string("short ") + call.name;
        m_met.clear();
        std::set<std::string> const one = testkit::statedResults(GetParam().name, name);
        injectEach(call.name, testkit::ONE_BYTE, one);
        EXPECT_EQ(joined(m_met), joined(one)) << name;
        m_met.clear();
        std::set<std::string> const all = testkit::statedResults(GetParam().name, name + "s");
        inject({call.name, testkit::ONE_BYTE, 1, ALL}, all);
        EXPECT_EQ(joined(m_met), joined(all)) << name << "s";
    }
    print("short");
}

INSTANTIATE_TEST_SUITE_P(Each, Faults, testing::ValuesIn(testkit::QUERIES),
    [](testing::TestParamInfo<Query> const& info) {
        std::string name = info.param.name;
        std::erase(name, ' ');
        return name;
    });
