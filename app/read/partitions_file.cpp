#include "app/read/partitions_file.h"

#include "app/read/Reader.h"
#include "app/read/device_types.h"
#include "app/read/disk_identity.h"
#include "app/read/kernel_file.h"

#include <algorithm>
#include <cctype>
#include <limits>
#include <set>

namespace app {

namespace {

constexpr char const* PARTITIONS = "/proc/partitions";

std::optional<uint64_t> bytesOf(std::optional<uint64_t> number, uint64_t unit)
{
    if (!number || *number > std::numeric_limits<uint64_t>::max() / unit)
        return std::nullopt;
    return *number * unit;
}

/** @return whether a name can be that of a partition of the disk: "sda1", "nvme0n1p1". */
bool isPartitionOf(std::string const& name, std::string const& disk)
{
    if (name.rfind(disk, 0) != 0 || name.size() == disk.size())
        return false;
    bool const digit = std::isdigit(static_cast<unsigned char>(disk.back())) != 0;
    std::string const rest = name.substr(disk.size());
    if (digit && rest[0] != 'p')
        return false;
    return numberOf(digit ? rest.substr(1) : rest).has_value();
}

/** Fills in what the name of a device and files of /proc show of it. */
void setFacts(Disk& disk, std::string const& mdstat)
{
    setTypeByName(disk);
    if (disk.type == Disk::RAID)
        addRaidFacts(disk, mdstat);
    if (!disk.isPhysical())
        return;
    setVirtualByName(disk);
    addIdeIdentity(disk);
}

}

/** The lines "MAJOR MINOR BLOCKS NAME" of /proc/partitions; proc(5). Kernel 2.4 has statistics
 * behind them. */
std::optional<std::vector<Disk>> readPartitionsFile(Machine& machine)
{
    constexpr uint64_t KIB = 1024;
    auto const text = readFile(PARTITIONS);
    if (!text)
        return std::nullopt;
    std::string const mdstat = readFile("/proc/mdstat").value_or("");
    std::vector<Disk> disks;
    size_t unreadable = 0;
    for (std::string const& line : linesOf(*text)) {
        auto const words = wordsOf(line);
        if (words.empty() || words[0] == "major")
            continue;
        bool const isDevice = words.size() >= 4 && numberOf(words[0]) && numberOf(words[1]);
        auto const bytes = isDevice ? bytesOf(numberOf(words[2]), KIB) : std::nullopt;
        if (!bytes) {
            ++unreadable;
            continue;
        }
        Disk disk;
        disk.name = words[3];
        disk.label = disk.name;
        disk.device = words[0] + ":" + words[1];
        disk.bytes = bytes;
        for (Disk const& other : disks)
            if (other.parent.empty() && isPartitionOf(disk.name, other.name)) {
                disk.type = Disk::PARTITION;
                disk.parent = other.name;
            }
        if (disk.type == Disk::DISK)
            setFacts(disk, mdstat);
        disks.push_back(disk);
    }
    std::set<std::string> ignored;
    for (Disk const& disk : disks)
        if (isLeftOut(disk))
            ignored.insert(disk.name);
    disks.erase(std::remove_if(disks.begin(), disks.end(),
                    [&ignored](Disk const& disk) {
                        return ignored.count(disk.name) + ignored.count(disk.parent) > 0;
                    }),
        disks.end());
    if (unreadable > 0)
        machine.problems.push_back({Subject::DISKS, "all disks", leftOut(unreadable), PARTITIONS});
    return disks;
}

}
