#include "app/model/Disk.h"

#include "app/model/natural_order.h"

#include <algorithm>
#include <set>

namespace app {

std::optional<std::string> Disk::kind() const
{
    if (!isPhysical())
        return std::nullopt;
    if (removable.value_or(false) || transport == "usb")
        return "removable";
    if (isVirtual)
        return "virtual";
    for (char const* const bus : {"virtio", "xen", "vmbus", "rbd", "nbd"})
        if (transport == bus)
            return "virtual";
    if (!rotational)
        return std::nullopt;
    return *rotational ? "HDD" : "SSD";
}

std::string typeText(Disk const& disk)
{
    switch (disk.type) {
    case Disk::DISK:
        return "disk";
    case Disk::PARTITION:
        return "part";
    case Disk::RAID:
        return disk.raidLevel.value_or("raid");
    case Disk::LOGICAL_VOLUME:
        return "lvm";
    case Disk::ENCRYPTED:
        return "crypt";
    case Disk::MULTIPATH:
        return "mpath";
    case Disk::MAPPED:
        for (char const* const driver : {"zram", "bcache", "drbd"})
            if (disk.name.rfind(driver, 0) == 0)
                return driver;
        return "dm";
    case Disk::LOOP:
        return "loop";
    case Disk::OPTICAL:
        break;
    }
    return "rom";
}

Disk const* findDisk(std::vector<Disk> const& disks, std::string const& name)
{
    auto const found = std::find_if(
        disks.begin(), disks.end(), [&name](Disk const& disk) { return disk.name == name; });
    return found == disks.end() ? nullptr : &*found;
}

size_t partitionsOf(std::vector<Disk> const& disks, Disk const& disk)
{
    return static_cast<size_t>(std::count_if(disks.begin(), disks.end(),
        [&disk](Disk const& other) { return other.parent == disk.name; }));
}

std::vector<std::string> disksBeneath(std::vector<Disk> const& disks, std::string const& name)
{
    // The kernel allows no circle of devices, a damaged /sys does.
    std::set<std::string> seen;
    std::vector<std::string> pending = {name};
    std::vector<std::string> beneath;
    while (!pending.empty()) {
        std::string const next = pending.back();
        pending.pop_back();
        Disk const* const disk = findDisk(disks, next);
        if (!disk || !seen.insert(next).second)
            continue;
        if (disk->isPhysical())
            beneath.push_back(next);
        if (!disk->parent.empty())
            pending.push_back(disk->parent);
        pending.insert(pending.end(), disk->slaves.begin(), disk->slaves.end());
    }
    std::sort(beneath.begin(), beneath.end(), diskBefore);
    return beneath;
}

}
