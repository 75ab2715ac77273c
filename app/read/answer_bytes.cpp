#include "app/read/answer_bytes.h"

#include <nlohmann/json.hpp>

namespace app {

namespace {

using Json = nlohmann::json;

/** A value with the number of its type, as a list may be one of no strings. */
Json jsonOf(LibraryValue const& value)
{
    return {value.index(), std::visit([](auto const& content) { return Json(content); }, value)};
}

template <size_t TYPE = 0> LibraryValue valueOf(Json const& json)
{
    if constexpr (TYPE < std::variant_size_v<LibraryValue>) {
        if (json.at(0) != TYPE)
            return valueOf<TYPE + 1>(json);
        return json.at(1).get<std::variant_alternative_t<TYPE, LibraryValue>>();
    } else {
        return {};
    }
}

}

std::string bytesOf(LibraryAnswer const& answer)
{
    Json records = Json::array();
    for (LibraryRecord const& record : answer.records) {
        Json fields = Json::array();
        for (LibraryField const& field : record.fields)
            fields.push_back({field.getter, jsonOf(field.value)});
        records.push_back({record.text, std::move(fields)});
    }
    std::string bytes;
    // A binary form, as names of the machine need not be UTF-8.
    Json::to_cbor(Json{answer.query, int{answer.outcome}, answer.reason, answer.seconds,
                      std::move(records), answer.source, answer.trace},
        nlohmann::detail::output_adapter<char>(bytes));
    return bytes;
}

LibraryAnswer answerOf(std::string const& bytes)
{
    Json const json = Json::from_cbor(bytes);
    LibraryAnswer answer;
    answer.query = json.at(0);
    answer.outcome = static_cast<LibraryAnswer::Outcome>(json.at(1).get<int>());
    answer.reason = json.at(2);
    answer.seconds = json.at(3);
    for (Json const& record : json.at(4)) {
        LibraryRecord& added = answer.records.emplace_back();
        added.text = record.at(0);
        for (Json const& field : record.at(1))
            added.fields.push_back({field.at(0), valueOf(field.at(1))});
    }
    answer.source = json.at(5);
    answer.trace = json.at(6).get<std::vector<std::string>>();
    return answer;
}

}
