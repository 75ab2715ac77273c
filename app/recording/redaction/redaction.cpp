#include "app/recording/redaction/redaction.h"

#include "app/recording/redaction/TextReplacer.h"
#include "app/recording/redaction/characters.h"
#include "app/recording/redaction/find_values.h"
#include "app/recording/redaction/firmware_redaction.h"
#include "app/recording/redaction/netlink_redaction.h"
#include "app/recording/redaction/spellings.h"

#include <algorithm>

namespace app {

namespace {

/** Replaces the values in each part of a recording. */
class Redaction {
public:
    explicit Redaction(RedactedValues& values) : m_values(values)
    {
        m_kinds = addSpellings(values, m_replacer, m_routes);
        m_counts.resize(m_kinds.size());
    }

    std::string text(std::string_view text) { return m_replacer.replaced(text, m_counts); }

    void file(RecordedFile& file)
    {
        size_t const size = file.content.size();
        if (file.path.ends_with("/net/route"))
            file.content = m_routes.replaced(file.content, m_counts);
        else
            file.content = kindOfContent(file.path) ? wholeLine(file.content) : text(file.content);
        file.size = file.size + file.content.size() - std::min<uint64_t>(size, file.size);
        file.path = text(file.path);
    }

    void tool(RecordedTool& tool)
    {
        for (std::string& word : tool.command)
            word = text(word);
        for (auto const& [content, size] : {std::pair(&tool.output, &tool.outputSize),
                 std::pair(&tool.errors, &tool.errorsSize)}) {
            std::string const other = text(withoutFirmwareBytes(*content));
            *size = *size + other.size() - std::min<uint64_t>(content->size(), *size);
            *content = other;
        }
    }

    std::string answer(std::string const& line)
    {
        std::string const message = netlinkMessage(line);
        if (message.empty())
            return text(line);
        return line.substr(0, line.rfind(' ') + 1)
            + hexOf(redactedNetlink(message, m_values.addresses));
    }

    std::vector<Replacement> replacements() const
    {
        std::vector<Replacement> result;
        result.reserve(std::size(REDACTED_KINDS));
        for (char const* const kind : REDACTED_KINDS)
            result.push_back({kind, 0, 0});
        for (size_t i = 0; i < m_kinds.size(); ++i) {
            Replacement& replacement = result[static_cast<size_t>(m_kinds[i])];
            replacement.values += m_counts[i] > 0 ? 1 : 0;
            replacement.occurrences += m_counts[i];
        }
        return result;
    }

private:
    /** A content that is one value, however short or common it is. */
    std::string wholeLine(std::string const& content)
    {
        std::string other = text(content);
        if (other != content)
            return other;
        size_t const begin = std::min(content.find_first_not_of(" \t\r\n"), content.size());
        size_t const end = content.find_last_not_of(" \t\r\n") + 1;
        if (begin >= end)
            return content;
        std::string const value = content.substr(begin, end - begin);
        return content.substr(0, begin) + m_values.replaced(value) + content.substr(end);
    }

    RedactedValues& m_values;
    TextReplacer m_replacer;
    TextReplacer m_routes;
    std::vector<RedactedKind> m_kinds;
    std::vector<uint64_t> m_counts;
};

}

void redact(Recording& recording)
{
    RedactedValues values;
    findValues(recording, values);
    values.choose();
    values.addresses.choose();
    Redaction redaction(values);

    for (auto* const files : {&recording.files, &recording.later}) {
        for (RecordedFile& file : *files)
            redaction.file(file);
        std::sort(files->begin(), files->end(),
            [](RecordedFile const& first, RecordedFile const& second) {
                return first.path < second.path;
            });
    }
    for (RecordedTool& tool : recording.tools)
        redaction.tool(tool);
    for (std::string& answer : recording.answers)
        answer = redaction.answer(answer);
    recording.document = redaction.text(recording.document);
    recording.user = values.replacedUser(recording.user);
    recording.redacted = true;
    recording.replacements = redaction.replacements();
}

}
