#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

namespace testkit {

/** A query's result: whether it succeeded, and each record's getters as text. */
struct Answer {
    using Record = std::map<std::string, std::string>;

    bool known = false;
    std::vector<Record> records;

    bool operator==(Answer const& other) const = default;
};

/** @return the answer for people. */
std::string textOf(Answer const& answer);

/**
 * @return how @p answer falls short of @p right: the names of fields that are empty, zero or cut,
 * "fewer" and "more" for records. A field with another value also has its value, which no test
 * expects.
 */
std::set<std::string> lackingIn(Answer const& answer, Answer const& right);

}
