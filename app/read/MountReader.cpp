#include "app/read/MountReader.h"

#include "app/read/Reader.h"
#include "app/read/kernel_file.h"
#include "app/read/mount_table.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/sysmacros.h>

namespace app {

namespace {

constexpr char const* TABLE = "/proc/self/mountinfo";
constexpr char const* OLD_TABLE = "/proc/mounts";
constexpr char const* UNKNOWN = "-";

/** The sizes of one filesystem as the child hands them over: numbers, of which the first is errno.
 */
std::string sizesOf(std::string const& mountPoint)
{
    struct statvfs status { };
    int result = -1;
    do
        result = statvfs(mountPoint.c_str(), &status);
    while (result != 0 && errno == EINTR);
    if (result != 0)
        return std::to_string(errno) + "\n";
    uint64_t const unit = status.f_frsize != 0 ? status.f_frsize : status.f_bsize;
    // Some filesystems, those of foreign programs among them, count no blocks or count them wrong.
    auto const bytes = [&](bool known, uint64_t blocks) {
        known = known && status.f_blocks != 0 && blocks <= UINT64_MAX / unit;
        return known ? std::to_string(blocks * unit) : UNKNOWN;
    };
    std::string line = "0";
    line += " " + bytes(unit != 0, status.f_blocks);
    line += " "
        + bytes(unit != 0 && status.f_bfree <= status.f_blocks, status.f_blocks - status.f_bfree);
    line += " " + bytes(unit != 0 && status.f_bavail <= status.f_blocks, status.f_bavail);
    line += " " + std::to_string(status.f_files) + " " + std::to_string(status.f_ffree);
    return line + "\n";
}

/** @return why a child has no sizes. */
std::string reasonOf(TimedChild::Result const& result)
{
    if (result.end == TimedChild::NOT_STARTED)
        return std::string("no process can be started for it: ") + std::strerror(result.error);
    return result.end == TimedChild::NOT_ENDED
        ? "the filesystem did not respond in time"
        : "the process that queried the filesystem was killed";
}

/** @return 0, or the errno of statvfs(3). */
int setSizes(Mount& mount, std::string const& line)
{
    auto const words = wordsOf(line);
    if (words.size() != 6)
        return words.empty() ? EIO : std::stoi(words[0]);
    mount.size = numberOf(words[1]);
    mount.used = numberOf(words[2]);
    mount.available = numberOf(words[3]);
    // A filesystem without a table of inodes, as vfat and btrfs, reports none.
    if (words[4] != "0") {
        mount.inodes = numberOf(words[4]);
        mount.freeInodes = numberOf(words[5]);
    }
    return 0;
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
    : m_deadline(std::chrono::steady_clock::now() + limit)
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
    m_readable = true;
    if (table.leftOut > 0)
        machine.problems.push_back(
            {Subject::MOUNTS, "all mounted filesystems", leftOut(table.leftOut), TABLE});
    markHidden(table.entries);
    keepShown(table.entries);
    std::vector<size_t> local;
    for (MountEntry& entry : table.entries) {
        if (!entry.mount.network) {
            entry.mount.device = deviceName(disks, entry.mount, entry.device);
            entry.mount.disks = disksBeneath(disks, entry.mount.device);
            // The path of a hidden mount leads into the filesystem that hides it.
            if (entry.mount.hiddenBy.empty())
                local.push_back(m_mounts.size());
        }
        m_mounts.push_back(std::move(entry.mount));
    }
    // A few at a time, so that one that hangs costs no others where there are not many.
    constexpr size_t MOST_CHILDREN = 32;
    size_t const together = (local.size() + MOST_CHILDREN - 1) / MOST_CHILDREN;
    for (size_t begin = 0; begin < local.size(); begin += together)
        start({local.begin() + static_cast<ptrdiff_t>(begin),
            local.begin() + static_cast<ptrdiff_t>(std::min(begin + together, local.size()))});
    for (size_t i = 0; i < m_mounts.size(); ++i)
        if (m_mounts[i].network && m_mounts[i].hiddenBy.empty())
            start({i});
}

void MountReader::start(std::vector<size_t> const& mounts)
{
    if (mounts.empty())
        return;
    auto const work = [&] {
        std::string lines;
        for (size_t const mount : mounts)
            lines += sizesOf(m_mounts[mount].mountPoint);
        return lines;
    };
    m_groups.emplace_back(mounts, work);
}

void MountReader::finish(Machine& machine)
{
    if (!m_readable)
        return;
    for (Group& group : m_groups) {
        TimedChild::Result const result = group.child.wait(m_deadline);
        auto lines = linesOf(result.bytes);
        lines.resize(group.mounts.size());
        for (size_t i = 0; i < group.mounts.size(); ++i) {
            Mount& mount = m_mounts[group.mounts[i]];
            if (result.end != TimedChild::ENDED)
                machine.problems.push_back({Subject::MOUNTS, "the size of the filesystem",
                    reasonOf(result), mount.mountPoint});
            else if (int const error = setSizes(mount, lines[i]); error != 0) {
                errno = error;
                addProblem(
                    machine, Subject::MOUNTS, "the size of the filesystem", mount.mountPoint);
            }
        }
    }
    setHiddenSizes(machine, m_mounts);
    machine.mounts = std::move(m_mounts);
}

}
