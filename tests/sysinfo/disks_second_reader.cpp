#include "tests/sysinfo/disks_second_reader.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>

namespace testkit {

namespace {

/** What stands between any of @p separators; nothing between two of them counts, too, if @p empty.
 */
std::vector<std::string> split(std::string const& text, char const* separators, bool empty)
{
    std::vector<std::string> parts(1);
    for (char const c : text) {
        if (std::string(separators).find(c) == std::string::npos)
            parts.back() += c;
        else if (empty || !parts.back().empty())
            parts.emplace_back();
    }
    if (parts.back().empty())
        parts.pop_back();
    return parts;
}

bool isNumber(std::string const& word)
{
    return word.find_first_not_of("0123456789") == std::string::npos;
}

}

std::vector<std::string> linesOf(std::string const& text)
{
    return split(text, "\n", true);
}

std::vector<std::string> wordsOf(std::string const& text)
{
    return split(text, " \t\n\v\f\r", false);
}

std::string withoutDigits(std::string text)
{
    while (!text.empty() && isNumber(text.substr(text.size() - 1)))
        text.pop_back();
    return text;
}

PartitionTable readPartitionTable(std::string const& text)
{
    PartitionTable table;
    size_t const heading = text.find('\n');
    std::vector<std::string> const words =
        wordsOf(heading == std::string::npos ? "" : text.substr(heading));
    bool following = false; // Whether the last disk listed is the one that is added to.
    for (size_t at = 0; at + 3 < words.size() && isNumber(words[at + 2]); at += 4) {
        uint64_t const blocks = std::strtoull(words[at + 2].c_str(), nullptr, 10);
        std::string const& name = words[at + 3];
        ++table.entries;
        table.largest = std::max(table.largest, blocks);
        bool const isDisk = withoutDigits(name) == name;
        bool const begins = following && name.find(table.disks.back().name) == 0;
        if (isDisk && begins)
            table.disks.pop_back();
        if (isDisk)
            table.disks.push_back({name, blocks, 0});
        else if (begins)
            ++table.disks.back().partitions;
        following = isDisk || begins;
    }
    return table;
}

MountTable readMountTable(std::string const& text)
{
    MountTable table;
    for (std::string const& line : linesOf(text)) {
        std::vector<std::string> words = wordsOf(line);
        if (words.empty())
            break;
        ++table.entries;
        words.resize(std::max<size_t>(words.size(), 2));
        if (words[0].find("/dev/") == 0 && words[0].find("/dev/", 1) == std::string::npos)
            table.devices[words[1]] = words[0];
    }
    return table;
}

std::vector<std::pair<std::string, std::string>> readVolumes(std::string const& text)
{
    std::vector<std::pair<std::string, std::string>> volumes;
    for (std::string const& line : linesOf(text)) {
        std::vector<std::string> const fields = split(line + ':', ":", true);
        if (fields.size() > 2
            || (fields.size() == 2 && std::count(line.begin(), line.end(), ':') > 1))
            volumes.emplace_back(fields[0], fields[1]);
    }
    return volumes;
}

std::string persistentNameOf(std::string const& device)
{
    namespace fs = std::filesystem;
    try {
        for (fs::directory_entry const& entry : fs::directory_iterator("/dev/disk/by-id")) {
            std::string const name = entry.path().filename();
            if (name.substr(0, 3) != "wwn" && fs::canonical(entry.path()) == fs::canonical(device))
                return name;
        }
    } catch (fs::filesystem_error const&) {
        return {};
    }
    return {};
}

std::map<std::string, std::string> readLinks(std::string const& text)
{
    std::map<std::string, std::string> links;
    for (std::string const& line : linesOf(text)) {
        std::vector<std::string> const words = wordsOf(line);
        if (words.size() > 3 && words[words.size() - 2] == "->")
            links[words[words.size() - 3]] = words.back();
    }
    return links;
}

}
