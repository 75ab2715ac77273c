#include "sysinfo/parsers/proc_mounts.h"

#include <string_view>

namespace sysinfo {

namespace {

std::string_view takeWord(std::string_view& line)
{
    constexpr char BLANKS[] = " \t\n\v\f\r";
    line.remove_prefix(std::min(line.find_first_not_of(BLANKS), line.size()));
    std::string_view const word = line.substr(0, line.find_first_of(BLANKS));
    line.remove_prefix(word.size());
    return word;
}

/** Kept: a second "/dev/" that begins within the first eight bytes rules a device out. */
bool isBlockDevice(std::string_view device)
{
    return device.rfind("/dev/", 7) == 0;
}

}

std::map<std::string, std::string> readMounts(std::istream& text)
{
    std::map<std::string, std::string> mounts;
    for (std::string line; std::getline(text, line);) {
        std::string_view left = line;
        std::string_view const device = takeWord(left);
        if (device.empty())
            break;
        if (isBlockDevice(device))
            mounts[std::string(takeWord(left))] = device;
    }
    return mounts;
}

}
