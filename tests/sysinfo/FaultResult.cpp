#include "tests/sysinfo/FaultResult.h"

#include <algorithm>
#include <string_view>

namespace testkit {

namespace {

bool isEmptyOrZero(std::string_view value)
{
    return value.empty() || value == "0" || value == "0.000000";
}

std::string valueOf(Result::Record const& record, std::string const& key)
{
    auto const field = record.find(key);
    return field == record.end() ? "" : field->second;
}

/** @return the fields of @p right that @p record lacks or has with another value. */
std::set<std::string> lackingFields(Result::Record const& record, Result::Record const& right)
{
    std::set<std::string> lacking;
    for (auto const& [key, expected] : right) {
        std::string const value = valueOf(record, key);
        if (key != "text" && value != expected)
            lacking.insert(isEmptyOrZero(value) ? key : key + "=" + value);
    }
    // The record's text consists of its fields.
    if (lacking.empty() && valueOf(record, "text") != valueOf(right, "text"))
        lacking.insert("text");
    return lacking;
}

std::set<std::string> lackingIn(Result const& result, Result const& right)
{
    std::set<std::string> lacking;
    auto next = right.records.begin();
    for (Result::Record const& record : result.records) {
        auto const found =
            std::find_if(next, right.records.end(), [&](Result::Record const& other) {
                return valueOf(other, "name") == valueOf(record, "name");
            });
        if (found == right.records.end()) {
            lacking.insert("more");
            continue;
        }
        if (found != next)
            lacking.insert("fewer");
        lacking.merge(lackingFields(record, *found));
        next = found + 1;
    }
    if (next != right.records.end())
        lacking.insert("fewer");
    return lacking;
}

bool isAnotherValue(std::string const& word)
{
    return word.find('=') != std::string::npos;
}

}

std::string textOf(Result const& result)
{
    std::string text = result.known ? "true" : "false";
    text += result.exception;
    for (Result::Record const& record : result.records) {
        text += " {";
        for (auto const& [key, value] : record)
            text.append(" ").append(key).append("=").append(value);
        text += " }";
    }
    return text;
}

std::set<std::string> wordsFor(Result const& result, Result const& right)
{
    if (result == right)
        return {"right"};
    if (result.exception.empty() && !result.known)
        return {"false"};
    std::set<std::string> lacking = lackingIn(result, right);
    // The right exception may lack something. One with another value is another exception.
    bool const isLess = result.exception.empty()
        || (result.exception == right.exception
            && std::none_of(lacking.begin(), lacking.end(), isAnotherValue));
    if (isLess)
        return lacking;
    std::set<std::string> words{result.exception};
    if (std::string const code =
            result.records.empty() ? "" : valueOf(result.records.front(), "code");
        !code.empty())
        words.insert("code=" + code);
    return words;
}

}
