#include "app/recording/archive/recording_check.h"

#include "app/recording/archive/ArchiveError.h"
#include "app/recording/archive/json_values.h"
#include "app/recording/archive/limits.h"
#include "app/recording/archive/link_target.h"
#include "app/recording/archive/member_names.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <set>
#include <string_view>

namespace app {

namespace {

void checkContent(std::string const& item, std::string const& content, uint64_t size)
{
    if (content.size() > Recording::MOST_CONTENT)
        refuse(item,
            std::to_string(content.size()) + " bytes of it are recorded, more than "
                + std::to_string(Recording::MOST_CONTENT));
    if (size < content.size())
        refuse(item, "its size is smaller than that of its content");
}

/** @return how often a word that begins so stands at the beginning of a line or behind a blank.
 * @param isCounted takes the byte at the word's end */
template <class IsCounted>
uint64_t countWords(std::string const& text, std::string_view beginning, IsCounted const& isCounted)
{
    constexpr char const* BLANKS = " \t\n\v\f\r";
    uint64_t count = 0;
    for (size_t at = text.find(beginning); at != std::string::npos;
         at = text.find(beginning, at + 1)) {
        bool const isBeginning = at == 0 || std::strchr(BLANKS, text[at - 1]);
        size_t const end = std::min(text.find_first_of(BLANKS, at), text.size());
        count += isBeginning && isCounted(text[end - 1]) ? 1 : 0;
    }
    return count;
}

/** The queries read some files for each processor of /proc/stat and /proc/cpuinfo. A link may lead
 * from there to any file. */
void checkProcessors(RecordedFile const& file)
{
    auto const isDigit = [](char byte) { return byte >= '0' && byte <= '9'; };
    auto const isAny = [](char /*byte*/) { return true; };
    uint64_t const count = std::max(
        countWords(file.content, "cpu", isDigit), countWords(file.content, "processor", isAny));
    if (count > MOST_PROCESSORS)
        refuse(file.path,
            "it has " + std::to_string(count) + " processors, more than "
                + std::to_string(MOST_PROCESSORS));
}

void checkFile(RecordedFile const& file)
{
    constexpr unsigned ALL_PERMISSIONS = 07777;
    constexpr int MOST_ERROR = 4095; // Of the kernel, <linux/err.h>.
    if (!isRecordedPath(file.path))
        refuse(file.path, "the path is not absolute, or it has \".\", \"..\" or \"//\"");
    if (file.path.size() > MOST_PATH)
        refuse(file.path, "the path is longer than " + std::to_string(MOST_PATH) + " bytes");
    if (file.path == "/" && file.kind != RecordedFile::FOLDER)
        refuse(file.path, "it is no folder");
    if (file.mode > ALL_PERMISSIONS || file.error < 0 || file.error > MOST_ERROR)
        refuse(file.path, "its mode or its error is out of range");
    if (file.kind == RecordedFile::LINK) {
        if (file.content.empty() || file.content.size() > MOST_PATH
            || file.content.find('\0') != std::string::npos)
            refuse(file.path, "the target of the link is empty or too long, or it has a NUL");
        return;
    }
    if (!file.content.empty() && (file.kind != RecordedFile::REGULAR || !file.opened))
        refuse(file.path, "it has a content and is no regular file that was opened");
    checkContent(file.path, file.content, file.size);
    checkProcessors(file);
}

/** Sorts each folder directly before all that is below it. */
bool isBefore(RecordedFile const* one, RecordedFile const* other)
{
    auto const order = [](char byte) { return byte == '/' ? 0 : static_cast<unsigned char>(byte); };
    return std::lexicographical_compare(one->path.begin(), one->path.end(), other->path.begin(),
        other->path.end(), [&order](char a, char b) { return order(a) < order(b); });
}

bool isBelow(std::string const& path, std::string const& folder)
{
    return folder == "/" || (path.starts_with(folder) && path[folder.size()] == '/');
}

/** An item whose items below are being checked. */
struct Above {
    RecordedFile const* item;
    RecordedFile const* obstacle; ///< it or one above it, where that is no folder
};

/** Both readings of one path are of the same kind, unless the file was gone. */
bool areReadings(RecordedFile const& one, RecordedFile const& other)
{
    return one.kind == other.kind || one.kind == RecordedFile::ABSENT
        || other.kind == RecordedFile::ABSENT;
}

/** Checks files and later files together, as a replay puts both in one place. What is absent may be
 * below anything: a query looked for it there. */
void checkHierarchy(std::vector<RecordedFile const*> sorted)
{
    std::stable_sort(sorted.begin(), sorted.end(), isBefore);
    std::vector<Above> above;
    for (RecordedFile const* const file : sorted) {
        bool const again = !above.empty() && above.back().item->path == file->path;
        if (again && !areReadings(*above.back().item, *file))
            refuse(file->path, "it is of another kind later");
        if (again && above.back().item->kind != RecordedFile::ABSENT)
            continue;
        while (!above.empty() && !isBelow(file->path, above.back().item->path))
            above.pop_back();
        RecordedFile const* obstacle = above.empty() ? nullptr : above.back().obstacle;
        if (file->kind != RecordedFile::ABSENT) {
            if (obstacle)
                refuse(file->path, "it is below " + obstacle->path + ", which is no folder");
            if (file->kind != RecordedFile::FOLDER)
                obstacle = file;
        }
        above.push_back({file, obstacle});
    }
}

void checkEachOnce(std::vector<RecordedFile> const& files)
{
    std::set<std::string_view> paths;
    for (RecordedFile const& file : files)
        if (!paths.insert(file.path).second)
            refuse(file.path, "the path is there twice");
}

void checkTool(RecordedTool const& tool)
{
    std::string name = "the tool";
    for (std::string const& argument : tool.command)
        name += " " + argument;
    if (tool.command.empty())
        refuse(name, "it has no command");
    constexpr int MOST_STATUS = 0xFFFF; // waitpid(2)
    if (tool.status < -1 || tool.status > MOST_STATUS)
        refuse(name, "its status is out of range");
    if (!std::isfinite(tool.seconds) || tool.seconds < 0)
        refuse(name, "its duration is out of range");
    checkContent(name, tool.output, tool.outputSize);
    checkContent(name, tool.errors, tool.errorsSize);
}

}

void checkRecording(Recording const& recording)
{
    if (recording.files.size() + recording.later.size() + recording.tools.size()
            + recording.answers.size()
        > MOST_ITEMS)
        refuse("the recording", "it has more than " + std::to_string(MOST_ITEMS) + " items");
    if (recording.document.size() > MOST_DOCUMENT)
        refuse("the document", "it is larger than " + std::to_string(MOST_DOCUMENT) + " bytes");
    checkJsonValues(recording.document, DOCUMENT_MEMBER, MOST_DOCUMENT_DEPTH);
    uint64_t bytes = recording.document.size();
    std::vector<RecordedFile const*> all;
    for (auto const* const files : {&recording.files, &recording.later}) {
        for (RecordedFile const& file : *files) {
            checkFile(file);
            bytes += file.content.size();
            all.push_back(&file);
        }
        checkEachOnce(*files);
    }
    checkHierarchy(all);
    for (RecordedTool const& tool : recording.tools) {
        checkTool(tool);
        bytes += tool.output.size() + tool.errors.size();
    }
    if (bytes > MOST_BYTES)
        refuse("the recording",
            "its contents are larger than " + std::to_string(MOST_BYTES) + " bytes together");
}

}
