#include "app/write/device_groups.h"

#include "app/model/device_tree.h"
#include "app/write/display.h"

#include <algorithm>
#include <map>
#include <set>

namespace app {

namespace {

class Grouping {
public:
    explicit Grouping(Machine const& machine) : m_machine(machine) { }

    DeviceGroups build()
    {
        for (Disk const& disk : *m_machine.disks) {
            size_t const group = groupOf(disk);
            m_groups.list.resize(std::max(m_groups.list.size(), m_keys.size()));
            if (m_groups.list[group].disks.empty())
                m_groups.list[group].mounts = mountsOf(disk);
            m_groups.list[group].disks.push_back(&disk);
        }
        std::set<size_t> below;
        for (DeviceGroup& group : m_groups.list)
            for (Disk const* const disk : group.disks)
                for (Disk const* const child : devicesOn(*m_machine.disks, *disk)) {
                    size_t const other = m_groupOf.at(child);
                    if (std::count(group.children.begin(), group.children.end(), other) == 0)
                        group.children.push_back(other);
                    below.insert(other);
                }
        std::set<size_t> reached;
        for (size_t i = 0; i < m_groups.list.size(); ++i)
            if (below.count(i) == 0)
                addRoot(i, reached);
        // Devices in a circle have no root; a damaged /sys can have them.
        for (size_t i = 0; i < m_groups.list.size(); ++i)
            if (reached.count(i) == 0)
                addRoot(i, reached);
        // Files that serve as disks are the least interesting ones, and often many.
        auto const place = [this](size_t group) {
            Disk const* const first = m_groups.list[group].disks.front();
            return std::pair(first->type == Disk::LOOP, first);
        };
        std::sort(m_groups.roots.begin(), m_groups.roots.end(),
            [&place](size_t one, size_t other) { return place(one) < place(other); });
        return std::move(m_groups);
    }

private:
    std::vector<Mount const*> mountsOf(Disk const& disk) const
    {
        std::vector<Mount const*> mounts;
        if (m_machine.mounts)
            for (Mount const& mount : *m_machine.mounts)
                if (mount.device == disk.name)
                    mounts.push_back(&mount);
        return mounts;
    }

    /** @return the same number for devices that look the same, with all that lies on them. */
    size_t lookOf(Disk const& disk)
    {
        auto const known = m_lookOf.find(&disk);
        if (known != m_lookOf.end())
            return known->second;
        // Ends circles: what a device looks like from within it does not matter.
        m_lookOf[&disk] = 0;
        std::string look = typeText(disk) + "\n" + sizeText(disk.bytes) + "\n"
            + disk.kind().value_or("") + "\n" + disk.model.value_or("") + "\n";
        for (Mount const* const mount : mountsOf(disk))
            look += mount->mountPoint + "\n";
        std::set<size_t> children;
        for (Disk const* const child : devicesOn(*m_machine.disks, disk))
            children.insert(lookOf(*child));
        for (size_t const child : children)
            look += std::to_string(child) + " ";
        return m_lookOf[&disk] = m_looks.emplace(look, m_looks.size() + 1).first->second;
    }

    /** @return the group of the devices that look the same and lie on the same groups. */
    size_t groupOf(Disk const& disk)
    {
        auto const known = m_groupOf.find(&disk);
        if (known != m_groupOf.end())
            return known->second;
        m_groupOf[&disk] = 0; // Ends circles.
        std::set<size_t> beneath;
        std::vector<std::string> names = disk.slaves;
        names.push_back(disk.parent);
        for (std::string const& name : names)
            if (Disk const* const other = findDisk(*m_machine.disks, name))
                beneath.insert(groupOf(*other));
        std::string key = std::to_string(lookOf(disk));
        for (size_t const group : beneath)
            key += " " + std::to_string(group);
        return m_groupOf[&disk] = m_keys.emplace(key, m_keys.size()).first->second;
    }

    void addRoot(size_t group, std::set<size_t>& reached)
    {
        m_groups.roots.push_back(group);
        reach(group, reached);
    }

    void reach(size_t group, std::set<size_t>& reached)
    {
        if (reached.insert(group).second)
            for (size_t const child : m_groups.list[group].children)
                reach(child, reached);
    }

    Machine const& m_machine;
    DeviceGroups m_groups;
    std::map<Disk const*, size_t> m_lookOf;
    std::map<std::string, size_t> m_looks;
    std::map<Disk const*, size_t> m_groupOf;
    std::map<std::string, size_t> m_keys;
};

}

DeviceGroups deviceGroups(Machine const& machine)
{
    return Grouping(machine).build();
}

}
