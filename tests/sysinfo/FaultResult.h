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
    std::string exception; ///< The name of what the query threw; usually empty.
    std::vector<Record> records;

    bool operator==(Result const& other) const = default;
};

/** @return the result for people. */
std::string textOf(Result const& result);

/**
 * @return "right", "false", the name of another exception with its "code=N" if it has one, or all
 * that @p result lacks: the names of fields that are empty, zero or missing, "fewer" for records. A
 * field with another value is "name=value", a record that is not in @p right is "more".
 */
std::set<std::string> wordsFor(Result const& result, Result const& right);

}
