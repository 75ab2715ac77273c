#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

namespace testkit {

/** A query's result: whether it succeeded, and each record's getters as text. */
struct Result {
    using Record = std::map<std::string, std::string>;

    bool known = false;
    std::vector<Record> records;

    bool operator==(Result const& other) const = default;
};

/** @return the result for people. */
std::string textOf(Result const& result);

/**
 * @return how @p result falls short of @p right: the names of fields that are empty, zero or cut,
 * "fewer" and "more" for records. A field with another value also has its value, which no test
 * expects.
 */
std::set<std::string> lackingIn(Result const& result, Result const& right);

}
