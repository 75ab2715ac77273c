#include "app/read/block_devices.h"

#include "app/model/natural_order.h"
#include "app/read/Reader.h"
#include "app/read/disk_identity.h"
#include "app/read/kernel_file.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <limits>
#include <map>
#include <sys/stat.h>
#include <sys/sysmacros.h>

namespace app {

namespace {

using Names = std::vector<std::string>;

constexpr char const* BLOCK = "/sys/block";
constexpr char const* PARTITIONS = "/proc/partitions";

/** The kernel's unit of sizes in /sys, whatever the disk's sectors are. */
constexpr uint64_t UNIT = 512;

bool startsWith(std::string const& text, std::string const& beginning)
{
    return text.compare(0, beginning.size(), beginning) == 0;
}

/** sysfs writes '!' for the '/' of a name such as cciss/c0d0. */
std::string kernelName(std::string name)
{
    std::replace(name.begin(), name.end(), '!', '/');
    return name;
}

std::optional<uint64_t> bytesOf(std::optional<uint64_t> number, uint64_t unit)
{
    if (!number || *number > std::numeric_limits<uint64_t>::max() / unit)
        return std::nullopt;
    return *number * unit;
}

std::optional<unsigned> sectorSize(std::string const& folder, char const* file)
{
    auto const size = readNumber(folder + "/queue/" + file);
    return size && *size <= UINT32_MAX ? std::optional(static_cast<unsigned>(*size)) : std::nullopt;
}

Names slavesIn(std::string const& folder)
{
    Names names = namesIn(folder).value_or(Names());
    std::transform(names.begin(), names.end(), names.begin(), kernelName);
    std::stable_sort(names.begin(), names.end(), diskBefore);
    return names;
}

/** The nodes of /dev/mapper by their numbers "MAJOR:MINOR"; newer kernels name them in /sys. */
std::map<std::string, std::string> mapperNodes()
{
    std::map<std::string, std::string> nodes;
    std::string const folder = "/dev/mapper/";
    for (std::string const& name : namesIn(folder).value_or(Names())) {
        struct stat status { };
        if (stat((folder + name).c_str(), &status) == 0 && S_ISBLK(status.st_mode))
            nodes[std::to_string(major(status.st_rdev)) + ":"
                + std::to_string(minor(status.st_rdev))] = name;
    }
    return nodes;
}

/** The names of RAID devices in /dev/md by those of the kernel; mdadm(8). One of digits alone is
 * left out, as people know that array by the kernel's name. */
std::map<std::string, std::string> raidLabels()
{
    std::map<std::string, std::string> labels;
    std::string const folder = "/dev/md/";
    for (std::string const& name : namesIn(folder).value_or(Names())) {
        auto const node = resolved(folder + name);
        if (node && startsWith(*node, "/dev/") && !numberOf(name))
            labels.emplace(node->substr(std::string("/dev/").size()), name);
    }
    return labels;
}

/** Devices that lie on others, besides those of device-mapper and md. */
bool isStacked(std::string const& name)
{
    return startsWith(name, "bcache") || startsWith(name, "drbd");
}

/** The type of a device-mapper node by the prefix that its maker gives its UUID. */
Disk::Type mappedType(std::string const& uuid)
{
    if (startsWith(uuid, "LVM-"))
        return Disk::LOGICAL_VOLUME;
    if (startsWith(uuid, "CRYPT-"))
        return Disk::ENCRYPTED;
    if (startsWith(uuid, "mpath-"))
        return Disk::MULTIPATH;
    return startsWith(uuid, "part") ? Disk::PARTITION : Disk::MAPPED;
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

/** RAM disks, and devices without a medium. */
bool isLeftOut(Disk const& disk)
{
    constexpr char const* RAM_DISKS = "1:";
    return startsWith(disk.device, RAM_DISKS) || disk.bytes == 0U;
}

class BlockFolder {
public:
    explicit BlockFolder(Machine& machine) : m_machine(machine) { }

    std::optional<std::vector<Disk>> read()
    {
        auto const names = namesIn(BLOCK);
        if (!names)
            return std::nullopt;
        for (std::string const& name : *names)
            addDevice(name);
        if (m_leftOut > 0)
            m_machine.problems.push_back({Subject::DISKS, "all disks", leftOut(m_leftOut), BLOCK});
        return std::move(m_disks);
    }

private:
    void addDevice(std::string const& name)
    {
        std::string const folder = std::string(BLOCK) + "/" + name;
        auto const path = resolved(folder);
        if (!path) {
            ++m_leftOut;
            return;
        }
        Disk disk = commonFacts(folder, name);
        if (isLeftOut(disk) || readFlag(folder + "/hidden").value_or(false))
            return;
        disk.readOnly = readFlag(folder + "/ro");
        disk.removable = readFlag(folder + "/removable");
        disk.rotational = readFlag(folder + "/queue/rotational");
        disk.logicalSector = sectorSize(folder, "logical_block_size");
        if (!disk.logicalSector)
            disk.logicalSector = sectorSize(folder, "hw_sector_size"); // Before Linux 2.6.31.
        disk.physicalSector = sectorSize(folder, "physical_block_size");
        disk.slaves = slavesIn(folder + "/slaves");
        setType(disk, folder);
        if (disk.isPhysical())
            addIdentity(disk, folder, *path);
        m_disks.push_back(disk);
        for (std::string const& part : namesIn(folder).value_or(Names())) {
            std::string partFolder = folder;
            partFolder.append("/").append(part);
            if (exists(partFolder + "/start"))
                addPartition(disk, partFolder, part);
        }
    }

    Disk commonFacts(std::string const& folder, std::string const& name) const
    {
        Disk disk;
        disk.name = kernelName(name);
        disk.label = disk.name;
        disk.device = readLine(folder + "/dev").value_or("");
        disk.bytes = bytesOf(readNumber(folder + "/size"), UNIT);
        return disk;
    }

    void addPartition(Disk const& disk, std::string const& folder, std::string const& name)
    {
        Disk partition = commonFacts(folder, name);
        partition.type = Disk::PARTITION;
        partition.parent = disk.name;
        partition.readOnly = readFlag(folder + "/ro");
        partition.logicalSector = disk.logicalSector;
        partition.physicalSector = disk.physicalSector;
        m_disks.push_back(partition);
    }

    void setType(Disk& disk, std::string const& folder)
    {
        constexpr unsigned SCSI_CD_ROM = 5;
        if (startsWith(disk.name, "dm-")) {
            disk.type = mappedType(readLine(folder + "/dm/uuid").value_or(""));
            if (m_mapper.empty())
                m_mapper = mapperNodes();
            disk.label = readLine(folder + "/dm/name").value_or(m_mapper[disk.device]);
            if (disk.label.empty())
                disk.label = disk.name;
        } else if (startsWith(disk.name, "md")) {
            disk.type = Disk::RAID;
            disk.raidLevel = readLine(folder + "/md/level");
            addRaidFacts(disk, readFile("/proc/mdstat").value_or(""));
            if (!m_raidLabels)
                m_raidLabels = raidLabels();
            if (auto const label = m_raidLabels->find(disk.name); label != m_raidLabels->end())
                disk.label = label->second;
        } else if (startsWith(disk.name, "loop")) {
            disk.type = Disk::LOOP;
        } else if (startsWith(disk.name, "zram") || isStacked(disk.name)) {
            disk.type = Disk::MAPPED;
        } else if (startsWith(disk.name, "sr")
            || readNumber(folder + "/device/type") == SCSI_CD_ROM) {
            disk.type = Disk::OPTICAL;
        }
    }

    Machine& m_machine;
    std::vector<Disk> m_disks;
    std::map<std::string, std::string> m_mapper;
    std::optional<std::map<std::string, std::string>> m_raidLabels;
    size_t m_leftOut = 0;
};

/** @return whether a name can be that of a partition of the disk: "sda1", "nvme0n1p1". */
bool isPartitionOf(std::string const& name, std::string const& disk)
{
    if (!startsWith(name, disk) || name.size() == disk.size())
        return false;
    bool const digit = std::isdigit(static_cast<unsigned char>(disk.back())) != 0;
    std::string const rest = name.substr(disk.size());
    if (digit && rest[0] != 'p')
        return false;
    return numberOf(digit ? rest.substr(1) : rest).has_value();
}

void setTypeByName(Disk& disk, std::string const& mdstat)
{
    if (startsWith(disk.name, "md")) {
        disk.type = Disk::RAID;
        addRaidFacts(disk, mdstat);
    } else if (startsWith(disk.name, "loop")) {
        disk.type = Disk::LOOP;
    } else if (startsWith(disk.name, "dm-") || isStacked(disk.name)) {
        disk.type = Disk::MAPPED;
    } else {
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
        auto const bytes = words.size() >= 4 ? bytesOf(numberOf(words[2]), KIB) : std::nullopt;
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
        if (isLeftOut(disk))
            continue;
        if (disk.type == Disk::DISK)
            setTypeByName(disk, mdstat);
        disks.push_back(disk);
    }
    if (unreadable > 0)
        machine.problems.push_back({Subject::DISKS, "all disks", leftOut(unreadable), PARTITIONS});
    return disks;
}

}

std::optional<std::vector<Disk>> readBlockDevices(Machine& machine)
{
    UnreadableFiles unreadable;
    auto disks = BlockFolder(machine).read();
    int const error = errno;
    if (!disks)
        disks = readPartitionsFile(machine);
    if (!disks) {
        errno = error;
        addProblem(machine, Subject::DISKS, "the disks", BLOCK);
        return std::nullopt;
    }
    addUnreadable(machine, Subject::DISKS, "all facts of the disks", unreadable);
    std::stable_sort(disks->begin(), disks->end(),
        [](Disk const& first, Disk const& second) { return diskBefore(first.name, second.name); });
    return disks;
}

void readDisks(Machine& machine)
{
    machine.disks = readBlockDevices(machine);
}

}
