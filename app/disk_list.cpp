#include "app/disk_list.h"

#include "app/Session.h"
#include "app/library_text.h"

#include <algorithm>
#include <charconv>
#include <fstream>
#include <limits>

namespace app {

namespace {

using Records = std::vector<dovrel::value_ptr<sysinfo::SystemInformation::PhysicalDiskInfo>>;

/** The library's 0 is its word for "the device did not tell its sectors". */
std::optional<uint64_t> knownFigure(uint64_t figure)
{
    return figure == 0 ? std::nullopt : std::optional(figure);
}

}

bool readDisks(Session& session, std::vector<Disk>& disks)
{
    Records records;
    bool const complete = session.query(
        "the disks", [&] { return session.service().getPhysicalDisksInternal(records); });
    for (auto const& record : records) {
        std::string const name = textOf(record->getDiskID());
        disks.push_back(
            {name, textOf(record->getDiskCaption()), record->getDiskNumberOfPartitions(),
                sizeOfDisk(name), knownFigure(record->getDiskTotalSizeInBytes())});
    }
    return complete;
}

std::optional<uint64_t> sizeOfDisk(std::string const& name)
{
    // The kernel counts in these whatever the disk's own sectors are.
    constexpr uint64_t UNIT = 512;
    std::string folder = name;
    // sysfs has no other place for a '/' in a name, as in cciss/c0d0.
    std::replace(folder.begin(), folder.end(), '/', '!');
    std::ifstream file("/sys/block/" + folder + "/size");
    std::string line;
    if (!std::getline(file, line))
        return std::nullopt;
    uint64_t units = 0;
    char const* const end = line.data() + line.size();
    auto const [behind, error] = std::from_chars(line.data(), end, units);
    if (error != std::errc() || behind != end
        || units > std::numeric_limits<uint64_t>::max() / UNIT)
        return std::nullopt;
    return units * UNIT;
}

}
