#include "common/platform/CancellationBlock.h"
#include "common/platform/trace.h"
#include "sysinfo/ToolOutput.h"
#include "sysinfo/UNIXSystemInformation.h"
#include "sysinfo/parsers/pvdisplay_output.h"

#include <boost/filesystem.hpp>

#include <sstream>

namespace sysinfo {

namespace {

namespace fs = boost::filesystem;

constexpr char MAPPER[] = "/dev/mapper";

/** @return the path of the node in /dev/mapper that leads to @p device, up to the end of the volume
 * group's name; empty if there is none. Kept: cuts at the first "-", although a "-" in the name is
 * written "--". */
std::string groupKey(fs::path const& device)
{
    unsigned nodes = 0;
    for (fs::directory_entry const& entry : fs::directory_iterator(MAPPER)) {
        // Large servers have some thousand. A folder of FUSE may never end.
        constexpr unsigned MOST_NODES = 1U << 17;
        if (++nodes > MOST_NODES)
            throw fs::filesystem_error("It has too many names", MAPPER,
                boost::system::errc::make_error_code(boost::system::errc::file_too_large));
        // Throws for a dangling link: the rest of the list must not be taken for all of it.
        // The base is not used for an absolute path. Without one Boost calls getcwd(3), which fails
        // if the working directory has been removed.
        if (fs::canonical(entry.path(), "/") == device) {
            std::string const path = entry.path().string();
            return path.substr(0, path.find('-'));
        }
    }
    return {};
}

/** @param visited the device-mapper nodes so far. A node is looked up once, so that the tool's
 * output cannot cause an endless recursion. */
std::set<std::string> rootDevices(fs::path const& device, std::set<std::string>& visited);

std::set<std::string> disksOfGroup(
    std::string const& key, std::set<std::string>& visited, traceobject& trace)
{
    std::set<std::string> disks;
    try {
        std::istringstream output = readOutput("pvdisplay -c");
        readPhysicalVolumes(output, key,
            [&](std::string const& device) { disks.merge(rootDevices(device, visited)); });
    } catch (ToolOutput::TooLarge const& error) {
        trace.write(1, "%s", error.what()); // Like a tool that fails, it has no lines.
    }
    return disks;
}

std::set<std::string> rootDevices(fs::path const& device, std::set<std::string>& visited)
{
    DOVREL_TRACE_SCOPE(
        "std::set<std::string> sysinfo::getRootDevices(const boost::filesystem::path&)");
    std::string const& path = device.string();
    if (path.find("/dm-") != std::string::npos) {
        if (!visited.insert(path).second)
            return {};
        std::string key;
        try {
            key = groupKey(device);
        } catch (fs::filesystem_error const& error) {
            trace.write(1,
                error.path1() == MAPPER ? "Failed to read the folder %s: %s"
                                        : "Failed to follow %s to its device: %s",
                error.path1().string(), error.code().message());
            throw;
        }
        return key.empty() ? std::set<std::string>() : disksOfGroup(key, visited, trace);
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
    std::set<std::string> visited;
    return rootDevices(device, visited);
}

}
