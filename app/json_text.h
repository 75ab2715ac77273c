#pragma once

#include <nlohmann/json.hpp>

#include <optional>
#include <string>

namespace app {

/** Keeps the keys in the order in which a command writes them. */
using Json = nlohmann::ordered_json;

/** What is unknown is null. */
template <class Value> Json jsonValue(std::optional<Value> const& value)
{
    return value ? Json(*value) : Json(nullptr);
}

/**
 * The document and a newline, valid UTF-8 whatever the machine's names are made of: each byte that
 * is no UTF-8 becomes U+FFFD. Control characters are escaped, for the terminal's sake those too
 * that JSON would take as they are. Numbers have a decimal point in every locale.
 */
std::string jsonText(Json const& document);

}
