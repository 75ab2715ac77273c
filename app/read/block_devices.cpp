#include "app/read/block_devices.h"

#include "app/model/natural_order.h"
#include "app/read/Reader.h"
#include "app/read/device_types.h"
#include "app/read/disk_identity.h"
#include "app/read/kernel_file.h"
#include "app/read/partitions_file.h"

#include <algorithm>
#include <cerrno>
#include <map>
#include <set>
#include <sys/stat.h>
#include <sys/sysmacros.h>

namespace app {

namespace {

using Names = std::vector<std::string>;

constexpr char const* BLOCK = "/sys/block";

/** The kernel's unit of sizes in /sys, whatever the disk's sectors are. */
constexpr uint64_t UNIT = 512;

/** sysfs writes '!' for the '/' of a name such as cciss/c0d0. */
std::string kernelName(std::string name)
{
    std::replace(name.begin(), name.end(), '!', '/');
    return name;
}

/** @return the folder of a disk or partition, there or not. */
std::string folderOf(Disk const& device)
{
    std::string names = device.parent.empty() ? device.name : device.parent + '\n' + device.name;
    std::replace(names.begin(), names.end(), '/', '!');
    std::replace(names.begin(), names.end(), '\n', '/');
    return std::string(BLOCK) + "/" + names;
}

/** Every device has a size; a file that is missing is one that cannot be read. */
std::optional<uint64_t> bytesOf(std::string const& folder)
{
    std::string const path = folder + "/size";
    auto const units = readNumber(path, UINT64_MAX / UNIT);
    if (!units && errno == ENOENT)
        noteUnusable(path, ENOENT);
    return units ? std::optional(*units * UNIT) : std::nullopt;
}

std::optional<unsigned> sectorSize(std::string const& folder, char const* file)
{
    auto const size = readNumber(folder + "/queue/" + file, UINT32_MAX);
    return size ? std::optional(static_cast<unsigned>(*size)) : std::nullopt;
}

/** @return the number "MAJOR:MINOR" of a device; empty where it is unknown. */
std::string deviceNumber(std::string const& folder)
{
    std::string const path = folder + "/dev";
    auto const line = readLine(path);
    if (!line)
        return {};
    size_t const colon = line->find(':');
    if (colon != std::string::npos && numberOf(line->substr(0, colon))
        && numberOf(line->substr(colon + 1)))
        return *line;
    noteUnusable(path, NO_VALUE);
    return {};
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
        if (node && node->starts_with("/dev/") && !numberOf(name))
            labels.emplace(node->substr(std::string("/dev/").size()), name);
    }
    return labels;
}

/** The type of a device-mapper node by the prefix that its maker gives its UUID. */
Disk::Type mappedType(std::string const& uuid)
{
    if (uuid.starts_with("LVM-"))
        return Disk::LOGICAL_VOLUME;
    if (uuid.starts_with("CRYPT-"))
        return Disk::ENCRYPTED;
    if (uuid.starts_with("mpath-"))
        return Disk::MULTIPATH;
    return uuid.starts_with("part") ? Disk::PARTITION : Disk::MAPPED;
}

class BlockFolder {
public:
    std::optional<std::vector<Disk>> read()
    {
        auto const names = namesIn(BLOCK);
        if (!names)
            return std::nullopt;
        for (std::string const& name : *names)
            addDevice(name);
        return std::move(m_disks);
    }

    /** @return whether it has a device; those that are left out count, too. */
    bool has(Disk const& device) const
    {
        return m_names.count(device.name) != 0 || m_leftOut.count(device.parent) != 0;
    }

    /** @return the entries that lead nowhere. */
    Names const& deadEnds() const { return m_deadEnds; }

private:
    void addDevice(std::string const& name)
    {
        std::string const folder = std::string(BLOCK) + "/" + name;
        auto const path = resolved(folder);
        if (!path) {
            m_deadEnds.push_back(kernelName(name));
            return;
        }
        Disk disk = commonFacts(folder, name);
        m_names.insert(disk.name);
        if (isLeftOut(disk) || readFlag(folder + "/hidden").value_or(false)) {
            m_leftOut.insert(disk.name);
            return;
        }
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
        disk.device = deviceNumber(folder);
        disk.bytes = bytesOf(folder);
        return disk;
    }

    void addPartition(Disk const& disk, std::string const& folder, std::string const& name)
    {
        Disk partition = commonFacts(folder, name);
        m_names.insert(partition.name);
        partition.type = Disk::PARTITION;
        partition.parent = disk.name;
        partition.readOnly = readFlag(folder + "/ro");
        partition.logicalSector = disk.logicalSector;
        partition.physicalSector = disk.physicalSector;
        m_disks.push_back(partition);
    }

    void setType(Disk& disk, std::string const& folder)
    {
        constexpr char const* SCSI_CD_ROM = "5"; // Other buses have words there.
        setTypeByName(disk);
        if (disk.name.starts_with("dm-")) {
            disk.type = mappedType(readLine(folder + "/dm/uuid").value_or(""));
            if (m_mapper.empty())
                m_mapper = mapperNodes();
            disk.label = readLine(folder + "/dm/name").value_or(m_mapper[disk.device]);
            if (disk.label.empty())
                disk.label = disk.name;
        } else if (disk.type == Disk::RAID) {
            disk.raidLevel = readLine(folder + "/md/level");
            addRaidFacts(disk, readFile("/proc/mdstat").value_or(""));
            if (!m_raidLabels)
                m_raidLabels = raidLabels();
            if (auto const label = m_raidLabels->find(disk.name); label != m_raidLabels->end())
                disk.label = label->second;
        } else if (disk.type == Disk::DISK && readLine(folder + "/device/type") == SCSI_CD_ROM) {
            disk.type = Disk::OPTICAL;
        }
    }

    std::vector<Disk> m_disks;
    std::set<std::string> m_names;
    std::set<std::string> m_leftOut;
    Names m_deadEnds;
    std::map<std::string, std::string> m_mapper;
    std::optional<std::map<std::string, std::string>> m_raidLabels;
};

/** Adds the devices that /proc/partitions alone has, and the problem that /sys/block lacks them. */
void addUnlisted(Machine& machine, BlockFolder const& folder, std::vector<Disk> const& listed,
    std::vector<Disk>& disks)
{
    constexpr size_t MOST_NAMES = 3;
    std::string names;
    size_t count = 0;
    for (Disk const& device : listed) {
        // Another one came after the folder was read.
        if (folder.has(device) || exists(folderOf(device)))
            continue;
        disks.push_back(device);
        if (count++ < MOST_NAMES)
            names += (names.empty() ? "" : ", ") + device.name;
    }
    if (count > MOST_NAMES)
        names += " and " + std::to_string(count - MOST_NAMES) + " more";
    if (count > 0)
        machine.problems.push_back(
            {Subject::DISKS, "all facts of the disks", "it has no folder of " + names, BLOCK});
    auto const lost = std::count_if(folder.deadEnds().begin(), folder.deadEnds().end(),
        [&disks](std::string const& name) { return !findDisk(disks, name); });
    if (lost > 0)
        machine.problems.push_back(
            {Subject::DISKS, "all disks", leftOut(static_cast<size_t>(lost)), BLOCK});
}

}

std::optional<std::vector<Disk>> readBlockDevices(Machine& machine)
{
    UnreadableFiles unreadable;
    BlockFolder folder;
    auto disks = folder.read();
    int const error = errno;
    bool const hasFolder = disks.has_value();
    auto const listed = readPartitionsFile(machine);
    if (!disks && !listed) {
        errno = error;
        addProblem(machine, Subject::DISKS, "the disks", BLOCK);
        return std::nullopt;
    }
    if (hasFolder)
        addUnlisted(machine, folder, listed.value_or(std::vector<Disk>()), *disks);
    else
        disks = listed;
    if (hasFolder)
        addUnreadable(machine, Subject::DISKS, "all facts of the disks", unreadable);
    else
        addUnknown(machine, Subject::DISKS, "further facts of the disks", unreadable,
            absenceIn(BLOCK), BLOCK);
    std::stable_sort(disks->begin(), disks->end(),
        [](Disk const& first, Disk const& second) { return diskBefore(first.name, second.name); });
    return disks;
}

void readDisks(Machine& machine)
{
    machine.disks = readBlockDevices(machine);
}

}
