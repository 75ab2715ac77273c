#include "app/write/disk_tree.h"

#include <algorithm>

namespace app {

std::vector<DiskBranch> diskTreeOf(Machine const& machine)
{
    std::vector<DiskBranch> tree;
    if (machine.disks)
        for (Disk const& disk : *machine.disks)
            tree.push_back({&disk, {}});
    DiskBranch rest{nullptr, {}};
    if (machine.mounts)
        for (Mount const& mount : *machine.mounts) {
            bool found = false;
            for (DiskBranch& branch : tree) {
                if (std::count(mount.disks.begin(), mount.disks.end(), branch.disk->name) == 0)
                    continue;
                branch.mounts.push_back(&mount);
                found = true;
            }
            if (!found)
                rest.mounts.push_back(&mount);
        }
    tree.push_back(std::move(rest));
    return tree;
}

}
