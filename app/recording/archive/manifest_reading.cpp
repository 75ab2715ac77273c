#include "app/recording/archive/ArchiveError.h"
#include "app/recording/archive/escaped_text.h"
#include "app/recording/archive/json_values.h"
#include "app/recording/archive/limits.h"
#include "app/recording/archive/link_target.h"
#include "app/recording/archive/manifest.h"
#include "app/recording/archive/manifest_words.h"
#include "app/recording/archive/member_names.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <limits>

namespace app {

namespace {

using Json = nlohmann::json;

/** An object of the manifest, with the name that messages give it. */
class Item {
public:
    Item(Json const& json, std::string name) : m_json(json), m_name(std::move(name))
    {
        if (!json.is_object())
            fail("it is no object");
    }

    [[noreturn]] void fail(std::string const& reason) const { refuse(m_name, reason); }

    void setName(std::string name) { m_name = std::move(name); }

    bool has(char const* key) const { return m_json.contains(key); }

    Json const& at(char const* key) const
    {
        auto const found = m_json.find(key);
        if (found == m_json.end())
            fail(std::string("the manifest has no \"") + key + "\" of it");
        return *found;
    }

    std::string text(char const* key) const { return textOf(at(key), key); }

    std::vector<std::string> texts(char const* key) const
    {
        std::vector<std::string> texts;
        texts.reserve(list(key).size());
        for (Json const& text : list(key))
            texts.push_back(textOf(text, key));
        return texts;
    }

    Json const& list(char const* key) const
    {
        Json const& value = at(key);
        if (!value.is_array())
            failType(key, "an array");
        return value;
    }

    uint64_t number(char const* key, uint64_t most = std::numeric_limits<uint64_t>::max()) const
    {
        Json const& value = at(key);
        if (!value.is_number_unsigned() || value.get<uint64_t>() > most)
            failType(key, "a whole number in its range");
        return value.get<uint64_t>();
    }

    int64_t signedNumber(char const* key) const
    {
        Json const& value = at(key);
        constexpr auto MOST = static_cast<uint64_t>(std::numeric_limits<int64_t>::max());
        if (!value.is_number_integer()
            || (value.is_number_unsigned() && value.get<uint64_t>() > MOST))
            failType(key, "a whole number in its range");
        return value.get<int64_t>();
    }

    double real(char const* key) const
    {
        if (!at(key).is_number())
            failType(key, "a number");
        return at(key).get<double>();
    }

    bool flag(char const* key) const
    {
        if (!at(key).is_boolean())
            failType(key, "true or false");
        return at(key).get<bool>();
    }

    std::string const& name() const { return m_name; }

private:
    [[noreturn]] void failType(char const* key, char const* type) const
    {
        fail(std::string("its \"") + key + "\" is not " + type);
    }

    std::string textOf(Json const& value, char const* key) const
    {
        auto text =
            value.is_string() ? unescaped(value.get_ref<std::string const&>()) : std::nullopt;
        if (!text)
            failType(key, "a string, or has a control character or a wrong %");
        return *text;
    }

    Json const& m_json;
    std::string m_name;
};

/** @throws ArchiveError */
Json parsed(std::string const& manifest)
{
    // Not counted by a callback of the parser: with one it searches a whole array after each
    // element.
    checkJsonValues(manifest, MANIFEST_MEMBER, MOST_DEPTH);
    try {
        return Json::parse(manifest);
    } catch (Json::parse_error const& error) {
        refuse(MANIFEST_MEMBER, "it is no JSON at byte " + std::to_string(error.byte));
    } catch (Json::exception const&) {
        refuse(MANIFEST_MEMBER, "it has a number that is too large");
    }
}

RecordedFile::Kind kindOf(Item const& item)
{
    std::string const word = item.text("kind");
    auto const found = std::find(KIND_WORDS.begin(), KIND_WORDS.end(), word);
    if (found == KIND_WORDS.end())
        item.fail("its kind \"" + escaped(word) + "\" is unknown");
    return static_cast<RecordedFile::Kind>(found - KIND_WORDS.begin());
}

unsigned modeOf(Item const& item)
{
    constexpr size_t DIGITS = 4;
    std::string const text = item.text("mode");
    if (text.size() != DIGITS || text.find_first_not_of("01234567") != std::string::npos)
        item.fail("its mode is not of four octal digits");
    return static_cast<unsigned>(std::stoul(text, nullptr, 8));
}

int errorOf(Item const& item)
{
    constexpr uint64_t MOST_ERROR = 4095;
    if (!item.has("error"))
        return 0;
    return static_cast<int>(Item(item.at("error"), item.name()).number("number", MOST_ERROR));
}

std::string contentOf(Item const& item, TakeMember const& take)
{
    std::string content = take(item.text("member"));
    if (item.number("stored_size") != content.size())
        item.fail("the manifest has another size of its content");
    return content;
}

RecordedFile fileOf(Json const& json, std::string const& place, TakeMember const& take)
{
    Item item(json, place);
    RecordedFile file;
    file.path = item.text("path");
    item.setName(file.path);
    file.kind = kindOf(item);
    file.mode = modeOf(item);
    file.size = item.number("size");
    file.opened = item.flag("opened");
    file.error = errorOf(item);
    file.queries = item.texts("queries");
    if (file.kind == RecordedFile::LINK) {
        file.content = item.text("target");
        if (leavesRoot(file.path, file.content))
            item.fail("the link leads out of the root");
    } else if (item.has("member")) {
        file.content = contentOf(item, take);
    }
    return file;
}

std::vector<RecordedFile> filesOf(Item const& manifest, char const* key, TakeMember const& take)
{
    std::vector<RecordedFile> files;
    for (Json const& json : manifest.list(key)) {
        std::string const place = std::string(key) + "[" + std::to_string(files.size()) + "]";
        files.push_back(fileOf(json, place, take));
    }
    // Stable: what names a path twice is read alike each time, before checkRecording refuses it.
    std::stable_sort(files.begin(), files.end(),
        [](RecordedFile const& one, RecordedFile const& other) { return one.path < other.path; });
    return files;
}

RecordedTool toolOf(Json const& json, std::string const& place, TakeMember const& take)
{
    constexpr uint64_t MOST_STATUS = 0xFFFF; // waitpid(2)
    Item const item(json, place);
    RecordedTool tool;
    tool.command = item.texts("command");
    tool.status = item.flag("ended") ? static_cast<int>(item.number("status", MOST_STATUS)) : -1;
    tool.seconds = item.real("seconds");
    tool.queries = item.texts("queries");
    Item const output(item.at("output"), place + ".output");
    tool.output = contentOf(output, take);
    tool.outputSize = output.number("size");
    Item const errors(item.at("errors"), place + ".errors");
    tool.errors = contentOf(errors, take);
    tool.errorsSize = errors.number("size");
    return tool;
}

std::vector<RecordedTool> toolsOf(Item const& manifest, TakeMember const& take)
{
    std::vector<RecordedTool> tools;
    for (Json const& json : manifest.list("tools"))
        tools.push_back(toolOf(json, "tools[" + std::to_string(tools.size()) + "]", take));
    return tools;
}

std::vector<Replacement> replacementsOf(Item const& manifest)
{
    std::vector<Replacement> replacements;
    for (Json const& json : manifest.list("replacements")) {
        Item const item(json, "replacements[" + std::to_string(replacements.size()) + "]");
        replacements.push_back(
            {item.text("kind"), item.number("values"), item.number("occurrences")});
    }
    return replacements;
}

}

Recording recordingOf(std::string const& text, TakeMember const& take)
{
    Json const json = parsed(text);
    Item const manifest(json, MANIFEST_MEMBER);
    std::string const schema = manifest.text("schema");
    if (schema != RECORDING_SCHEMA)
        manifest.fail("its schema is \"" + escaped(schema) + "\", not " + RECORDING_SCHEMA);
    Recording recording;
    recording.version = manifest.text("version");
    recording.architecture = manifest.text("architecture");
    recording.time = manifest.signedNumber("time_seconds");
    constexpr unsigned MOST_USER = std::numeric_limits<unsigned>::max() - 1; // -1 is no user.
    recording.user = static_cast<unsigned>(manifest.number("user_id", MOST_USER));
    recording.redacted = manifest.flag("redacted");
    recording.replacements = replacementsOf(manifest);
    recording.files = filesOf(manifest, "files", take);
    recording.later = filesOf(manifest, "later", take);
    recording.tools = toolsOf(manifest, take);
    recording.answers = manifest.texts("answers");
    return recording;
}

}
