#include "tests/sysinfo/FaultResult.h"

#include <algorithm>
#include <iterator>
#include <string_view>
#include <utility>

namespace testkit {

namespace {

/** Values that a field has if a call fails, besides an empty, a zero and a cut one. */
constexpr std::pair<std::string_view, std::string_view> VALUES_OF_FAULTS[] = {
    {"total", "8000000"}, // The kernel's figure instead of the modules' sum.
    {"operation", "5000"}, // The engine's operation without the operator's answer.
    {"progress", "50"}, // Computed instead of the engine's own.
    {"mac", "00:00:00:00:00:00:00:00"}, // The end of the text was cut off.
    {"servers", "10.0.0.2 10.0.0.3 "}, // The last adapter of a shorter list has them.
    {"usage", "30.000000"}, // From the counters of one sample; the other's are 0.
    {"usage", "-0.000001"},
};

bool isLacking(std::string const& key, std::string const& value, std::string const& right)
{
    if (value == "0" || value == "0.000000" || right.starts_with(value))
        return true;
    // Without adapters it is read from the processor, which is the real one.
    if (key == "hypervisor")
        return true;
    return std::find(std::begin(VALUES_OF_FAULTS), std::end(VALUES_OF_FAULTS),
               std::pair<std::string_view, std::string_view>(key, value))
        != std::end(VALUES_OF_FAULTS);
}

std::string nameOf(Result::Record const& record)
{
    auto const name = record.find("name");
    return name == record.end() ? "" : name->second;
}

void compare(Result::Record const& record, Result::Record const& right, std::set<std::string>& out)
{
    for (auto const& [key, value] : record) {
        std::string const& expected = right.at(key);
        if (key == "text" || value == expected) // The record's text consists of its fields.
            continue;
        out.insert(isLacking(key, value, expected) ? key : key + "=" + value);
    }
}

}

std::string textOf(Result const& result)
{
    std::string text = result.known ? "true" : "false";
    for (Result::Record const& record : result.records) {
        text += " {";
        for (auto const& [key, value] : record)
            text.append(" ").append(key).append("=").append(value);
        text += " }";
    }
    return text;
}

std::set<std::string> lackingIn(Result const& result, Result const& right)
{
    std::set<std::string> lacking;
    auto next = right.records.begin();
    for (Result::Record const& record : result.records) {
        auto const found = std::find_if(next, right.records.end(),
            [&](Result::Record const& other) { return nameOf(other) == nameOf(record); });
        if (found == right.records.end()) {
            lacking.insert("more");
            continue;
        }
        if (found != next)
            lacking.insert("fewer");
        compare(record, *found, lacking);
        next = found + 1;
    }
    if (next != right.records.end())
        lacking.insert("fewer");
    return lacking;
}

}
