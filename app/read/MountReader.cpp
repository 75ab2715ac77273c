#include "app/read/MountReader.h"

#include "app/read/Reader.h"
#include "app/read/kernel_file.h"
#include "app/read/mount_table.h"

#include <algorithm>
#include <cerrno>
#include <sys/stat.h>
#include <sys/sysmacros.h>

namespace app {

namespace {

constexpr char const* TABLE = "/proc/self/mountinfo";
constexpr char const* OLD_TABLE = "/proc/mounts";

/** The sizes as df(1) counts them. */
void setSizes(Mount& mount, struct statvfs const& status)
{
    uint64_t const unit = status.f_frsize != 0 ? status.f_frsize : status.f_bsize;
    // Some filesystems, those of foreign programs among them, count no blocks or count them wrong.
    auto const bytes = [&](bool known, uint64_t blocks) {
        known = known && unit != 0 && status.f_blocks != 0 && blocks <= UINT64_MAX / unit;
        return known ? std::optional(blocks * unit) : std::nullopt;
    };
    mount.size = bytes(true, status.f_blocks);
    mount.used = bytes(status.f_bfree <= status.f_blocks, status.f_blocks - status.f_bfree);
    mount.available = bytes(status.f_bavail <= status.f_blocks, status.f_bavail);
    // A filesystem without a table of inodes, as vfat and btrfs, reports none.
    if (status.f_files != 0) {
        mount.inodes = status.f_files;
        mount.freeInodes = status.f_ffree;
    }
}

/** The number of the device that a file lies on, or of the device itself. */
std::string deviceNumber(std::string const& path, bool ofNode)
{
    struct stat status { };
    if (stat(path.c_str(), &status) != 0 || (ofNode && !S_ISBLK(status.st_mode)))
        return {};
    dev_t const device = ofNode ? status.st_rdev : status.st_dev;
    return std::to_string(major(device)) + ":" + std::to_string(minor(device));
}

std::string nameOfNumber(std::vector<Disk> const& disks, std::string const& number)
{
    auto const found = std::find_if(
        disks.begin(), disks.end(), [&number](Disk const& disk) { return disk.device == number; });
    return found == disks.end() || number.empty() ? std::string() : found->name;
}

/** The device of a mount: by its number, by the node that is mounted, by the node's name, and by
 * the number that the mounted folder itself has (for "/dev/root", which is no node). */
std::string deviceName(
    std::vector<Disk> const& disks, Mount const& mount, std::string const& number)
{
    if (std::string name = nameOfNumber(disks, number); !name.empty())
        return name;
    if (mount.source.rfind("/dev/", 0) != 0)
        return {};
    if (std::string name = nameOfNumber(disks, deviceNumber(mount.source, true)); !name.empty())
        return name;
    std::string node = resolved(mount.source).value_or(mount.source).substr(5);
    if (findDisk(disks, node))
        return node;
    return mount.hiddenBy.empty() ? nameOfNumber(disks, deviceNumber(mount.mountPoint, false))
                                  : std::string();
}

/** A hidden mount has the sizes of its filesystem where that is mounted elsewhere, too. */
void setHiddenSizes(Machine& machine, std::vector<Mount>& mounts)
{
    for (Mount& mount : mounts) {
        if (mount.hiddenBy.empty())
            continue;
        auto const shown = std::find_if(mounts.begin(), mounts.end(), [&](Mount const& other) {
            return other.mountPoint == mount.sameAs && other.hiddenBy.empty();
        });
        if (shown != mounts.end()) {
            mount.size = shown->size;
            mount.used = shown->used;
            mount.available = shown->available;
            mount.inodes = shown->inodes;
            mount.freeInodes = shown->freeInodes;
        } else if (mount.sameAs.empty()) {
            machine.unavailable.push_back({Subject::MOUNTS, "the sizes of a filesystem",
                mount.source + " on " + mount.mountPoint + " is hidden by the mount on "
                    + mount.hiddenBy,
                mount.mountPoint});
        }
    }
}

}

MountReader::MountReader(
    Machine& machine, std::vector<Disk> const& disks, std::chrono::steady_clock::duration limit)
{
    auto text = readFile(TABLE);
    MountTable table;
    if (text) {
        table = parseMountInfo(*text);
    } else {
        int const error = errno;
        text = readFile(OLD_TABLE);
        if (!text) {
            errno = error;
            addProblem(machine, Subject::MOUNTS, "the mounted filesystems", TABLE);
            return;
        }
        table = parseMounts(*text);
    }
    if (table.leftOut > 0)
        machine.problems.push_back(
            {Subject::MOUNTS, "all mounted filesystems", leftOut(table.leftOut), TABLE});
    markHidden(table.entries);
    keepShown(table.entries);
    std::vector<size_t> network;
    for (MountEntry& entry : table.entries) {
        // The path of a hidden mount leads into the filesystem that hides it.
        if (entry.mount.hiddenBy.empty())
            (entry.mount.network ? network : m_queried).push_back(m_mounts.size());
        if (!entry.mount.network) {
            entry.mount.device = deviceName(disks, entry.mount, entry.device);
            entry.mount.disks = disksBeneath(disks, entry.mount.device);
        }
        m_mounts.push_back(std::move(entry.mount));
    }
    // Those that are most likely to hang come last.
    m_queried.insert(m_queried.end(), network.begin(), network.end());
    std::vector<std::string> paths;
    for (size_t const mount : m_queried)
        paths.push_back(m_mounts[mount].mountPoint);
    m_queries.emplace(paths, limit);
}

void MountReader::finish(Machine& machine)
{
    if (!m_queries)
        return;
    auto const results = m_queries->finish();
    for (size_t i = 0; i < results.size(); ++i) {
        Mount& mount = m_mounts[m_queried[i]];
        if (results[i].problem.empty())
            setSizes(mount, results[i].status);
        else
            machine.problems.push_back({Subject::MOUNTS, "the size of the filesystem",
                results[i].problem, mount.mountPoint});
    }
    setHiddenSizes(machine, m_mounts);
    machine.mounts = std::move(m_mounts);
}

}
