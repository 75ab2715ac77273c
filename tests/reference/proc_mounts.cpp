#include "tests/reference/proc_mounts.h"

#include "tests/reference/text.h"

#include <utility>
#include <vector>

namespace reference {

namespace {

/** A second "/dev/" at one of the bytes 1 to 7 makes it none. */
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

}

MountTable readMounts(std::string const& text)
{
    std::vector<std::pair<std::string, std::string>> mounts; // Device and mount point.
    for (std::string const& line : lines(text)) {
        Fields fields(line);
        std::string device;
        std::string point;
        if (!fields.word(device))
            break;
        fields.word(point);
        mounts.emplace_back(device, point);
    }
    MountTable table;
    table.entries = mounts.size();
    // Backwards, so that the last mount over a point is kept.
    for (size_t i = mounts.size(); i-- > 0;) {
        if (isBlockDevice(mounts[i].first))
            table.devices.emplace(mounts[i].second, mounts[i].first);
    }
    return table;
}

}
