#include "tests/reference/dev_disk_by_id.h"

#include "tests/reference/text.h"

#include <filesystem>

namespace reference {

std::map<std::string, std::string> readLinks(std::string const& listing)
{
    std::map<std::string, std::string> links;
    for (std::string const& line : lines(listing)) {
        std::vector<std::string> words;
        Fields fields(line);
        for (std::string word; fields.word(word);)
            words.push_back(word);
        if (words.size() > 3 && words[words.size() - 2] == "->")
            links[words[words.size() - 3]] = words.back();
    }
    return links;
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

}
