#pragma once

#include "tests/support/Machine.h"

#include <string>
#include <utility>
#include <vector>

namespace app_read_test {

/** Names of files and their contents. */
using Files = std::vector<std::pair<std::string, std::string>>;

inline void writeFiles(std::string const& folder, Files const& files)
{
    for (auto const& [name, text] : files)
        testkit::machine.file(folder + "/" + name, text + "\n");
}

/** Makes a block device as sysfs does: a folder in /sys/devices, and a link to it in /sys/block.
 * @param path below /sys/devices; its last part is the device's name. */
inline void blockDevice(std::string const& path, Files const& files)
{
    std::string const name = path.substr(path.rfind('/') + 1);
    testkit::machine.folder("/sys/devices/" + path);
    writeFiles("/sys/devices/" + path, files);
    testkit::machine.link("/sys/block/" + name, "../devices/" + path);
}

}
