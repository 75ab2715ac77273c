#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace testkit {

/** A query, one of its sources, and what is wrong with that source. */
struct HostileCase {
    std::string query;
    std::string source;
    std::string hostility;
    std::string result; ///< The expected result.
    /** The longest time that is allowed. A query that is `HELD` sleeps for this time. */
    double seconds;
    /** Makes the source hostile, in the process of the query, until the result is released. */
    std::function<std::shared_ptr<void>()> make;
    bool leavesTool = false; ///< A tool that still runs after the query is no error.
};

/** The result of a query that has slept for its time and not run at all meanwhile. */
constexpr char HELD[] = "held";

/** Within this time a query ends or is held, also on a machine that is busy otherwise. */
constexpr double LONGEST_SECONDS = 120;

/** @return all cases, the slow ones included only if @p all is true. */
std::vector<HostileCase> hostileCases(bool all);

/** Fills the fake machine with sources that every query can read. */
void makeGoodMachine();

/** Makes the query on the current machine. @return its result in a word or two. */
std::string resultOf(std::string const& query);

/** The result of each query on the good machine. */
extern std::map<std::string, std::string> const GOOD_RESULTS;

/** The readings of CLOCK_MONOTONIC are this number of seconds ahead. */
extern int clockOffset;

/** Folders begin again at their end. */
extern bool foldersAreEndless;

}
