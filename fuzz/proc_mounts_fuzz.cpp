// /proc/mounts: the mounts are those that a second reader finds from the text's end backwards.

#include "fuzz/naive_fields.h"
#include "sysinfo/parsers/proc_mounts.h"

#include <algorithm>
#include <cstdlib>
#include <map>
#include <sstream>
#include <vector>

namespace {

bool isBlockDevice(std::string const& device)
{
    std::string const folder = "/dev/";
    if (device.compare(0, folder.size(), folder) != 0)
        return false;
    for (size_t at = 1; at <= 7 && at < device.size(); ++at) {
        if (device.compare(at, folder.size(), folder) == 0)
            return false;
    }
    return true;
}

std::map<std::string, std::string> readNaively(std::string const& text)
{
    struct Mount {
        std::string device;
        std::string point;
    };
    std::vector<Mount> mounts;
    size_t begin = 0;
    while (begin < text.size()) {
        size_t const end = std::min(text.find('\n', begin), text.size());
        std::string const line = text.substr(begin, end - begin);
        begin = end + 1;
        NaiveFields fields(line);
        Mount mount;
        if (!fields.word(mount.device))
            break;
        fields.word(mount.point);
        mounts.push_back(mount);
    }
    // The first one to be found over a point is the last of the text.
    std::map<std::string, std::string> found;
    for (size_t i = mounts.size(); i-- > 0;) {
        if (isBlockDevice(mounts[i].device))
            found.emplace(mounts[i].point, mounts[i].device);
    }
    return found;
}

}

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size)
{
    std::string const text(reinterpret_cast<char const*>(data), size);
    std::istringstream stream(text);
    if (sysinfo::readMounts(stream) != readNaively(text))
        std::abort();
    return 0;
}
