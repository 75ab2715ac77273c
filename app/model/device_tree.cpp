#include "app/model/device_tree.h"

#include <algorithm>
#include <set>

namespace app {

namespace {

using Children = std::vector<Disk const*>;

class TreeBuilder {
public:
    explicit TreeBuilder(std::vector<Disk> const& disks) : m_disks(disks) { }

    std::vector<DeviceNode> build()
    {
        Children roots;
        for (Disk const& disk : m_disks)
            if (!liesOnKnown(disk))
                roots.push_back(&disk);
        addAll(roots, {});
        // Devices in a circle have no root; a damaged /sys can have them.
        for (Disk const& disk : m_disks)
            if (m_shown.count(&disk) == 0)
                addAll({&disk}, {});
        return std::move(m_nodes);
    }

private:
    bool liesOnKnown(Disk const& disk) const
    {
        return findDisk(m_disks, disk.parent)
            || std::any_of(disk.slaves.begin(), disk.slaves.end(),
                [this](std::string const& slave) { return findDisk(m_disks, slave); });
    }

    void addAll(Children const& disks, std::vector<bool> const& lastAbove)
    {
        for (Disk const* const disk : disks) {
            // A device is never drawn below itself.
            if (!m_open.insert(disk).second)
                continue;
            bool const last = disk == disks.back();
            m_shown.insert(disk);
            m_nodes.push_back({disk, m_depth, last, lastAbove});
            std::vector<bool> above = lastAbove;
            if (m_depth > 0)
                above.push_back(last);
            ++m_depth;
            addAll(devicesOn(m_disks, *disk), above);
            --m_depth;
            m_open.erase(disk);
        }
    }

    std::vector<Disk> const& m_disks;
    std::vector<DeviceNode> m_nodes;
    std::set<Disk const*> m_open; // The path from the root.
    std::set<Disk const*> m_shown;
    unsigned m_depth = 0;
};

}

std::vector<Disk const*> devicesOn(std::vector<Disk> const& disks, Disk const& disk)
{
    Children children;
    for (Disk const& other : disks)
        if (other.parent == disk.name
            || std::count(other.slaves.begin(), other.slaves.end(), disk.name) > 0)
            children.push_back(&other);
    return children;
}

std::vector<DeviceNode> deviceTree(std::vector<Disk> const& disks)
{
    return TreeBuilder(disks).build();
}

}
