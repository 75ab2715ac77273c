#include "app/recording/document_differences.h"

#include <nlohmann/json.hpp>

#include <algorithm>

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
