// Every call of every query fails in turn, with each error of its manual page, until none is left:
// allocations, calls of the C library, interrupted calls and short reads. Prints a table.

#include "common/basic/processstream/src/process_exception.h"
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

/** The words of results that lack nothing. */
constexpr char const* NOT_LACKING[] = {
    "right", "false", "bad_alloc", "ProcessException", "filesystem_error"};

/** @return a word for the result of the query, or words for all that it lacks. */
std::string wordsFor(Fault const& fault, Query const& query, Result const& right)
{
    Result result;
    faultCalls.begin(fault);
    char const* exception = nullptr;
    try {
        result = query.run();
    } catch (std::bad_alloc const&) {
        exception = "bad_alloc";
    } catch (dovrel::ProcessException const&) {
        exception = "ProcessException";
    } catch (boost::filesystem::filesystem_error const&) {
        exception = "filesystem_error";
    }
    faultCalls.end();
    if (exception)
        return exception;
    if (result == right)
        return "right";
    return result.known ? joined(testkit::lackingIn(result, right)) : "false";
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
        GetParam().run(); // What the process keeps, such as the time zone, is allocated now.
        m_right = GetParam().run();
        m_counts = countCalls();
    }

    /** @return how often the undisturbed query makes each of the calls. */
    static std::map<std::string, unsigned> countCalls()
    {
        std::map<std::string, unsigned> counts;
        faultCalls.begin({"", 0, 0});
        GetParam().run();
        faultCalls.end();
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
            + (fault.error == testkit::SHORT_READ ? "short read" : std::strerror(fault.error)));
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
        EXPECT_EQ(textOf(GetParam().run()), textOf(m_right)) << "The next query is disturbed.";
    }

    void print(char const* kind)
    {
        unsigned const right = m_results["right"];
        unsigned const outOfMemory = m_results["bad_alloc"];
        unsigned const thrown = m_results["ProcessException"] + m_results["filesystem_error"];
        unsigned const failed = m_results["false"];
        std::set<std::string> lacking;
        for (auto const& [result, count] : m_results)
            lacking.merge(wordsOf(result));
        for (char const* other : NOT_LACKING)
            lacking.erase(other);
        std::printf("| %-14s | %-9s | %6u | %5u | %9u | %15u | %5u | %4u | %s |\n", GetParam().name,
            kind, m_faults, right, outOfMemory, thrown, failed,
            m_faults - right - outOfMemory - thrown - failed, joined(lacking).c_str());
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
        result = wordsFor(fault, GetParam(), m_right);
        // Fewer: the C library drops the time zone that it keeps, if it cannot copy it.
        EXPECT_LE(FaultCalls::liveBlocks(), before) << "A block is leaked.";
        EXPECT_EQ(testkit::openDescriptors(), descriptors) << "A descriptor is leaked.";
        testkit::expectNoChildren();
        return result;
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

TEST_P(Faults, ofInterruptedCallsAndShortReadsChangeNoResult)
{
    constexpr unsigned BURST = 20;
    constexpr unsigned ALL = std::numeric_limits<unsigned>::max();
    for (FaultyCall const& call : testkit::FAULTY_CALLS) {
        if (call.isInterruptible) {
            injectEach(call.name, EINTR, {"right"});
            injectEach(call.name, EINTR, {"right"}, BURST);
        }
        if (!call.readsShort || m_counts[call.name] == 0)
            continue;
        injectEach(call.name, testkit::SHORT_READ, {"right"});
        // Kept: of dmidecode, a line that does not come with one read is ignored.
        std::set<std::string> const stated = std::string(GetParam().name) == "memory"
            ? std::set<std::string>{"total"}
            : std::set<std::string>{"right"};
        inject({call.name, testkit::SHORT_READ, 1, ALL}, stated);
    }
    print("signals");
}

INSTANTIATE_TEST_SUITE_P(Each, Faults, testing::ValuesIn(testkit::QUERIES),
    [](testing::TestParamInfo<Query> const& info) {
        std::string name = info.param.name;
        std::erase(name, ' ');
        return name;
    });
