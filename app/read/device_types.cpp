#include "app/read/device_types.h"

#include "app/read/kernel_file.h"

#include <cctype>
#include <utility>

namespace app {

void setTypeByName(Disk& disk)
{
    constexpr std::pair<char const*, Disk::Type> TYPES[] = {{"dm-", Disk::MAPPED},
        {"md", Disk::RAID}, {"loop", Disk::LOOP}, {"sr", Disk::OPTICAL}, {"zram", Disk::MAPPED},
        {"bcache", Disk::MAPPED}, {"drbd", Disk::MAPPED}};
    for (auto const& [beginning, type] : TYPES)
        if (disk.name.starts_with(beginning))
            disk.type = type;
}

void setVirtualByName(Disk& disk)
{
    for (char const* const network : {"rbd", "nbd"})
        if (disk.name.starts_with(network)) {
            disk.transport = network;
            disk.isVirtual = true;
        }
    // A volume of ZFS, "zd16".
    if (disk.name.starts_with("zd") && disk.name.size() > 2
        && std::isdigit(static_cast<unsigned char>(disk.name[2])) != 0)
        disk.isVirtual = true;
}

/** A line "md0 : active raid1 sda1[0] sdb1[1]" of /proc/mdstat, for kernels that have no md folder
 * in /sys; md(4). */
void addRaidFacts(Disk& disk, std::string const& mdstat)
{
    for (std::string const& line : linesOf(mdstat)) {
        auto const words = wordsOf(line);
        if (words.size() < 3 || words[0] != disk.name || words[1] != ":")
            continue;
        bool const addSlaves = disk.slaves.empty();
        for (size_t i = 3; i < words.size(); ++i) {
            size_t const bracket = words[i].find('[');
            if (bracket != std::string::npos && addSlaves)
                disk.slaves.push_back(words[i].substr(0, bracket));
            else if (bracket == std::string::npos && words[i][0] != '(' && !disk.raidLevel)
                disk.raidLevel = words[i];
        }
    }
}

bool isLeftOut(Disk const& disk)
{
    constexpr char const* RAM_DISKS = "1:";
    return disk.device.starts_with(RAM_DISKS) || disk.bytes == 0U;
}

}
