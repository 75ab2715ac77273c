#include "app/read/Reader.h"
#include "app/read/library_text.h"

#include <algorithm>
#include <charconv>
#include <fstream>
#include <limits>

namespace app {

namespace {

using Records = std::vector<dovrel::value_ptr<sysinfo::SystemInformation::PhysicalDiskInfo>>;

/** The size of a disk in bytes, from /sys/block/NAME/size; sysfs(5). */
std::optional<uint64_t> sizeOfDisk(std::string const& name)
{
    // The kernel's unit whatever the disk's sectors are.
    constexpr uint64_t UNIT = 512;
    std::string folder = name;
    // sysfs writes '!' for the '/' of a name such as cciss/c0d0.
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

/** The library's figure is 0 where the device did not report its sector size. */
std::optional<uint64_t> knownFigure(uint64_t figure)
{
    return figure == 0 ? std::nullopt : std::optional(figure);
}

}

void readDisks(Reader& reader, Machine& machine)
{
    Records records;
    bool const complete = reader.query(machine,
        {Subject::DISKS, "the disks", "the kernel's list cannot be read", "/proc/partitions"},
        [&] { return reader.library().getPhysicalDisksInternal(records); });
    if (!complete && records.empty())
        return;
    auto& disks = machine.disks.emplace();
    for (auto const& record : records) {
        std::string const name = textOf(record->getDiskID());
        disks.push_back(
            {name, textOf(record->getDiskCaption()), record->getDiskNumberOfPartitions(),
                sizeOfDisk(name), knownFigure(record->getDiskTotalSizeInBytes())});
    }
}

}
