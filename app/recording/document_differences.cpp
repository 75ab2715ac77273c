#include "app/recording/document_differences.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <set>
#include <vector>

namespace app {

namespace {

using Json = nlohmann::json;

std::string textOf(Json const& value)
{
    return value.dump(-1, ' ', false, Json::error_handler_t::replace);
}

/** @return what is at a path, "nothing" where there is none. */
std::string valueAt(Json const& document, std::string const& path)
{
    Json::json_pointer const pointer(path);
    return document.contains(pointer) ? textOf(document.at(pointer)) : "nothing";
}

/** Sorts each list by the text of its items. */
void sortLists(Json& value)
{
    if (!value.is_structured())
        return;
    for (Json& item : value)
        sortLists(item);
    if (value.is_array())
        std::sort(value.begin(), value.end(),
            [](Json const& one, Json const& other) { return textOf(one) < textOf(other); });
}

/** The keys that together name an item of a list, those of the first row that fits. */
std::vector<std::vector<char const*>> const NAMES = {
    {"name"}, {"mount_point"}, {"number"}, {"slot"}, {"address"}, {"subject", "item", "fact"}};

/** @return the names of a list's items in their order; none where an item has no name.
 */
std::vector<std::string> namesOf(Json const& list, std::vector<char const*> const& keys)
{
    std::vector<std::string> names;
    for (Json const& item : list) {
        std::string name;
        for (char const* const key : keys) {
            if (!item.is_object() || !item.contains(key))
                return {};
            Json const& part = item.at(key);
            name += (name.empty() ? "" : " ")
                + (part.is_string() ? part.get<std::string>() : textOf(part));
        }
        names.push_back(std::move(name));
    }
    bool const areDifferent =
        std::set<std::string>(names.begin(), names.end()).size() == names.size();
    return areDifferent ? names : std::vector<std::string>();
}

Json byName(Json const& list, std::vector<std::string> const& names)
{
    Json items = Json::object();
    for (size_t i = 0; i < names.size(); ++i)
        items[names[i]] = list[i];
    return items;
}

/** @return the names that the other list has, too. */
std::string commonNames(std::vector<std::string> const& names, Json const& other)
{
    std::string text;
    for (std::string const& name : names)
        if (other.contains(name))
            text += (text.empty() ? "" : ", ") + name;
    return text;
}

/** Makes objects of two lists whose items have names, so that an item that one of them lacks is one
 * difference, and not one for each item behind it. */
void nameItems(Json& one, Json& other, ListOrder order)
{
    if (one.is_array() && other.is_array())
        for (auto const& keys : NAMES) {
            auto const names = namesOf(one, keys);
            auto const otherNames = namesOf(other, keys);
            if (names.empty() || otherNames.empty())
                continue;
            one = byName(one, names);
            other = byName(other, otherNames);
            auto const sequence = commonNames(names, other);
            auto const otherSequence = commonNames(otherNames, one);
            if (order == ListOrder::COUNTS && sequence != otherSequence) {
                one["(order)"] = sequence;
                other["(order)"] = otherSequence;
            }
            break;
        }
    if (one.is_object() && other.is_object()) {
        for (auto const& [key, value] : one.items())
            if (other.contains(key))
                nameItems(value, other.at(key), order);
    } else if (one.is_array() && other.is_array()) {
        for (size_t i = 0; i < std::min(one.size(), other.size()); ++i)
            nameItems(one[i], other[i], order);
    }
}

}

std::string documentDifferences(
    std::string const& recorded, std::string const& replayed, ListOrder order)
{
    if (recorded.empty())
        return "The recording has no document of the recorded machine.\n";
    Json one = Json::parse(recorded, nullptr, false);
    Json other = Json::parse(replayed, nullptr, false);
    if (one.is_discarded() || other.is_discarded())
        return std::string(one.is_discarded() ? "The recorded" : "The replayed")
            + " document is no JSON.\n";
    if (order == ListOrder::DOES_NOT_COUNT) {
        sortLists(one);
        sortLists(other);
    }
    nameItems(one, other, order);
    std::string text;
    for (Json const& operation : Json::diff(one, other)) {
        std::string const path = operation.at("path");
        std::string const shown = textOf(path); // Without control characters, in quotes.
        text.append(shown, 1, shown.size() - 2)
            .append(": recorded ")
            .append(valueAt(one, path))
            .append(", replayed ");
        text += operation.contains("value") ? textOf(operation.at("value")) : "nothing";
        text += '\n';
    }
    return text;
}

}
