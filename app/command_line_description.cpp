#include "app/command_line_table.h"
#include "app/write/JsonWriter.h"

#include <sstream>

namespace app {

namespace {

void writeWords(JsonWriter& json, char const* name, std::string const& text, char separator)
{
    json.key(name);
    json.beginArray();
    std::istringstream stream(text);
    for (std::string word; std::getline(stream, word, separator);)
        json.value(word);
    json.endArray();
}

void writeText(JsonWriter& json, char const* name, char const* text)
{
    json.key(name);
    json.value(text);
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

void write(JsonWriter& json, OptionRow const& option)
{
    json.beginObject();
    writeWords(json, "names", option.names, ',');
    writeText(json, "value", option.value);
    json.key("general");
    json.value(option.isGeneral());
    json.key("commands");
    json.beginArray();
    for (CommandRow const& command : commandRows())
        if (option.commands & command.bit)
            json.value(command.name);
    json.endArray();
    writeText(json, "description", option.description);
    writeText(json, "values", kindOf(option.values));
    writeWords(json, "words", option.words, ' ');
    json.endObject();
}

void writeRows(JsonWriter& json, char const* name, std::span<NamedText const> rows)
{
    json.key(name);
    json.beginArray();
    for (NamedText const& row : rows) {
        json.beginObject();
        writeText(json, "name", row.name);
        writeText(json, "text", row.text);
        json.endObject();
    }
    json.endArray();
}

void writeCommands(JsonWriter& json)
{
    json.key("commands");
    json.beginArray();
    for (CommandRow const& command : commandRows()) {
        json.beginObject();
        writeText(json, "name", command.name);
        writeText(json, "alias", command.alias);
        writeText(json, "argument", command.argument);
        writeText(json, "description", command.description);
        json.endObject();
    }
    json.endArray();
}

void writeExitStatuses(JsonWriter& json)
{
    json.key("exit_statuses");
    json.beginArray();
    for (ExitStatusRow const& row : exitStatusRows()) {
        json.beginObject();
        json.key("status");
        json.value(int64_t{row.status});
        writeText(json, "meaning", row.meaning);
        json.endObject();
    }
    json.endArray();
}

}

std::string describeCommandLine(char const* version)
{
    JsonWriter json(JsonWriter::INDENTED);
    json.beginObject();
    writeText(json, "program", PROGRAM_NAME);
    writeText(json, "version", version);
    writeText(json, "description", PROGRAM_DESCRIPTION);
    writeCommands(json);
    json.key("options");
    json.beginArray();
    for (OptionRow const& option : optionRows())
        if (*option.description)
            write(json, option);
    json.endArray();
    writeExitStatuses(json);
    writeRows(json, "examples", exampleRows());
    writeRows(json, "environment", environmentRows());
    json.endObject();
    return json.text() + "\n";
}

}
