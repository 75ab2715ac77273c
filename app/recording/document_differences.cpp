#include "app/recording/document_differences.h"

#include <nlohmann/json.hpp>

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

}

std::string documentDifferences(std::string const& recorded, std::string const& replayed)
{
    if (recorded.empty())
        return "The recording has no document of the recorded machine.\n";
    Json const one = Json::parse(recorded, nullptr, false);
    Json const other = Json::parse(replayed, nullptr, false);
    if (one.is_discarded() || other.is_discarded())
        return std::string(one.is_discarded() ? "The recorded" : "The replayed")
            + " document is no JSON.\n";
    std::string text;
    for (Json const& operation : Json::diff(one, other)) {
        std::string const path = operation.at("path");
        std::string const added = operation.at("op") == "add" ? "nothing" : valueAt(one, path);
        text += path + ": recorded " + added + ", replayed "
            + (operation.contains("value") ? textOf(operation.at("value")) : "nothing") + "\n";
    }
    return text;
}

}
