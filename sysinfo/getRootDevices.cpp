#include "common/basic/processstream/src/pistream.h"
#include "common/platform/CancellationBlock.h"
#include "common/platform/trace.h"
#include "sysinfo/UNIXSystemInformation.h"
#include "sysinfo/parsers/pvdisplay_output.h"

#include <boost/filesystem.hpp>

namespace sysinfo {

namespace {

namespace fs = boost::filesystem;

constexpr char VOLUMES[] = "/dev/mapper";

/** The part of a logical volume's path in /dev/mapper that stands for its volume group. Kept: cut
 * at the first "-", though a "-" of the group's own name is written "--" there. */
std::string groupKey(fs::path const& device)
{
    for (fs::directory_entry const& entry : fs::directory_iterator(VOLUMES)) {
        // Throws where a link leads nowhere: half of the volumes would pass for all of them. The
        // base is not used for an absolute path, but without one Boost asks for the working
        // directory, which may have been removed.
        if (fs::canonical(entry.path(), "/") == device) {
            std::string const path = entry.path().string();
            return path.substr(0, path.find('-'));
        }
    }
    return {};
}

/** The disks under one device, with those that are being looked at, so that a tool's nonsense does
 * not lead round in a circle. */
std::set<std::string> rootDevices(fs::path const& device, std::set<std::string>& lookedAt);

std::set<std::string> disksOfGroup(std::string const& key, std::set<std::string>& lookedAt)
{
    std::set<std::string> disks;
    pistream output("pvdisplay -c");
    readPhysicalVolumes(output, key,
        [&](std::string const& device) { disks.merge(rootDevices(device, lookedAt)); });
    return disks;
}

std::set<std::string> rootDevices(fs::path const& device, std::set<std::string>& lookedAt)
{
    TRACE_SCOPE("std::set<std::string> sysinfo::getRootDevices(const boost::filesystem::path&)");
    std::string const& path = device.string();
    if (path.find("/dm-") != std::string::npos) {
        if (!lookedAt.insert(path).second)
            return {};
        std::string key;
        try {
            key = groupKey(device);
        } catch (fs::filesystem_error const& error) {
            trace.write(1,
                error.path1() == VOLUMES ? "Failed to read the folder %s: %s"
                                         : "Failed to follow %s to its device: %s",
                error.path1().string(), error.code().message());
            throw;
        }
        return key.empty() ? std::set<std::string>() : disksOfGroup(key, lookedAt);
    }
    if (device.parent_path() == "/dev") {
        std::string const name = device.filename().string();
        return {name.substr(0, name.find_last_not_of("0123456789") + 1)};
    }
    trace.write(2, "Don't know what to do with device: %s", path);
    return {};
}

}

std::set<std::string> getRootDevices(fs::path const& device)
{
    dovrel::CancellationBlock const block;
    std::set<std::string> lookedAt;
    return rootDevices(device, lookedAt);
}

}
