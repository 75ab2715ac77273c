#include "app/command_line_table.h"

#include <nlohmann/json.hpp>

#include <sstream>

namespace app {

namespace {

using Json = nlohmann::ordered_json;

Json words(std::string const& text, char separator)
{
    Json list = Json::array();
    std::istringstream stream(text);
    for (std::string word; std::getline(stream, word, separator);)
        list.push_back(word);
    return list;
}

char const* kindOf(Values values)
{
    switch (values) {
    case Values::FILES:
        return "file";
    case Values::COLUMNS:
        return "columns";
    case Values::WORDS:
        return "words";
    case Values::OTHER:
        break;
    }
    return "other";
}

Json describe(OptionRow const& option)
{
    Json commands = Json::array();
    for (CommandRow const& command : commandRows())
        if (option.commands & command.bit)
            commands.push_back(command.name);
    return {{"names", words(option.names, ',')}, {"value", option.value},
        {"general", option.isGeneral()}, {"commands", commands},
        {"description", option.description}, {"values", kindOf(option.values)},
        {"words", words(option.words, ' ')}};
}

Json describe(std::span<NamedText const> rows)
{
    Json list = Json::array();
    for (NamedText const& row : rows)
        list.push_back({{"name", row.name}, {"text", row.text}});
    return list;
}

}

std::string describeCommandLine(char const* version)
{
    Json document = {{"program", PROGRAM_NAME}, {"version", version},
        {"description", PROGRAM_DESCRIPTION}, {"commands", Json::array()},
        {"options", Json::array()}, {"exit_statuses", Json::array()},
        {"examples", describe(exampleRows())}, {"environment", describe(environmentRows())}};
    for (CommandRow const& command : commandRows())
        document["commands"].push_back({{"name", command.name}, {"alias", command.alias},
            {"description", command.description}});
    for (OptionRow const& option : optionRows())
        if (*option.description)
            document["options"].push_back(describe(option));
    for (ExitStatusRow const& row : exitStatusRows())
        document["exit_statuses"].push_back(
            {{"status", static_cast<int>(row.status)}, {"meaning", row.meaning}});
    constexpr int INDENTATION = 2;
    return document.dump(INDENTATION) + "\n";
}

}
