#include "app/recording/archive/ArchiveError.h"
#include "app/recording/archive/escaped_text.h"
#include "app/recording/archive/limits.h"
#include "app/recording/archive/link_target.h"
#include "app/recording/archive/manifest.h"
#include "app/recording/archive/manifest_words.h"
#include "app/recording/archive/member_names.h"

#include <nlohmann/json.hpp>

#include <cstdio>
#include <cstring>

namespace app {

namespace {

using OrderedJson = nlohmann::ordered_json;

OrderedJson textsOf(std::vector<std::string> const& texts)
{
    OrderedJson list = OrderedJson::array();
    for (std::string const& text : texts)
        list.push_back(escaped(text));
    return list;
}

/** @return the permissions as chmod(1) takes them. */
std::string octalOf(unsigned mode)
{
    std::array<char, 16> text;
    std::snprintf(text.data(), text.size(), "%04o", mode);
    return text.data();
}

/** The reason in words too, as the numbers are the recorded machine's. */
OrderedJson errorOf(int error)
{
    char const* const name = strerrorname_np(error);
    char const* const text = strerrordesc_np(error);
    return {{"number", error}, {"name", name ? OrderedJson(name) : OrderedJson()},
        {"text", text ? OrderedJson(text) : OrderedJson()}};
}

OrderedJson fileOf(RecordedFile const& file, std::string const& folder, size_t index)
{
    OrderedJson json = {{"path", escaped(file.path)}, {"kind", KIND_WORDS.at(file.kind)},
        {"mode", octalOf(file.mode)}, {"size", file.size}, {"opened", file.opened}};
    if (auto const member = memberOf(file, folder, index)) {
        json["member"] = escaped(*member);
        json["stored_size"] = file.content.size();
    }
    if (file.kind == RecordedFile::LINK)
        json["target"] = escaped(file.content);
    if (file.error != 0)
        json["error"] = errorOf(file.error);
    json["queries"] = textsOf(file.queries);
    return json;
}

OrderedJson filesOf(std::vector<RecordedFile> const& files, std::string const& folder)
{
    OrderedJson list = OrderedJson::array();
    for (RecordedFile const& file : files)
        list.push_back(fileOf(file, folder, list.size()));
    return list;
}

OrderedJson outputOf(std::string const& member, std::string const& output, uint64_t size)
{
    return {{"member", member}, {"size", size}, {"stored_size", output.size()}};
}

OrderedJson toolOf(RecordedTool const& tool, size_t index)
{
    bool const ended = tool.status != -1;
    return {{"command", textsOf(tool.command)}, {"ended", ended},
        {"status", ended ? OrderedJson(tool.status) : OrderedJson()}, {"seconds", tool.seconds},
        {"output", outputOf(outputMember(index), tool.output, tool.outputSize)},
        {"errors", outputOf(errorsMember(index), tool.errors, tool.errorsSize)},
        {"queries", textsOf(tool.queries)}};
}

OrderedJson toolsOf(std::vector<RecordedTool> const& tools)
{
    OrderedJson list = OrderedJson::array();
    for (RecordedTool const& tool : tools)
        list.push_back(toolOf(tool, list.size()));
    return list;
}

OrderedJson replacementsOf(std::vector<Replacement> const& replacements)
{
    OrderedJson list = OrderedJson::array();
    for (Replacement const& replacement : replacements)
        list.push_back({{"kind", escaped(replacement.kind)}, {"values", replacement.values},
            {"occurrences", replacement.occurrences}});
    return list;
}

}

std::string manifestOf(Recording const& recording)
{
    OrderedJson const json = {{"schema", RECORDING_SCHEMA}, {"version", escaped(recording.version)},
        {"architecture", escaped(recording.architecture)}, {"time_seconds", recording.time},
        {"user_id", recording.user}, {"redacted", recording.redacted},
        {"replacements", replacementsOf(recording.replacements)},
        {"files", filesOf(recording.files, "root")}, {"later", filesOf(recording.later, "later")},
        {"tools", toolsOf(recording.tools)}, {"answers", textsOf(recording.answers)}};
    std::string manifest = json.dump(1) + "\n";
    if (manifest.size() > MOST_MANIFEST)
        refuse(MANIFEST_MEMBER, "it is larger than " + std::to_string(MOST_MANIFEST) + " bytes");
    return manifest;
}

}
