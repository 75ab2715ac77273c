#include "sysinfo/parsers/proc_mounts.h"

#include "sysinfo/parsers/line_fields.h"

namespace sysinfo {

namespace {

/** Kept: a device with a second "/dev/" that begins within its first eight bytes is no block
 * device. */
bool isBlockDevice(std::string_view device)
{
    return device.rfind("/dev/", 7) == 0;
}

}

std::map<std::string, std::string> readMounts(std::istream& text)
{
    std::map<std::string, std::string> mounts;
    for (std::string line; std::getline(text, line);) {
        std::string_view rest = line;
        std::string_view const device = takeWord(rest);
        if (device.empty())
            break;
        if (isBlockDevice(device))
            mounts[std::string(takeWord(rest))] = device;
    }
    return mounts;
}

}
