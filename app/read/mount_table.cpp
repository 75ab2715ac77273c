#include "app/read/mount_table.h"

#include "app/model/natural_order.h"
#include "app/read/kernel_file.h"

#include <algorithm>
#include <set>

namespace app {

namespace {

constexpr char const* NETWORK_TYPES[] = {"9p", "afs", "beegfs", "ceph", "cifs", "coda",
    "fuse.glusterfs", "fuse.rclone", "fuse.s3fs", "fuse.sshfs", "gfs", "gfs2", "glusterfs",
    "lustre", "ncpfs", "nfs", "nfs4", "ocfs2", "orangefs", "smb3", "smbfs"};

/** Filesystems on block devices that the kernel mounts under a number of no device. */
constexpr char const* POOLED_TYPES[] = {"bcachefs", "btrfs", "zfs"};

/** The fields of a line. The kernel writes one blank between two, and escapes those within; a field
 * may be empty, and has other control characters as they are. */
std::vector<std::string> fieldsOf(std::string const& line)
{
    std::vector<std::string> fields;
    for (size_t begin = 0; begin <= line.size();) {
        size_t const end = std::min(line.find(' ', begin), line.size());
        fields.push_back(line.substr(begin, end - begin));
        begin = end + 1;
    }
    return fields;
}

template <size_t COUNT> bool isOneOf(std::string const& type, char const* const (&types)[COUNT])
{
    return std::find(std::begin(types), std::end(types), type) != std::end(types);
}

/** The sources of network filesystems are "HOST:/PATH" and "//HOST/SHARE", whatever their type. */
bool isOnNetwork(Mount const& mount)
{
    return isOneOf(mount.filesystem, NETWORK_TYPES) || mount.source.rfind("//", 0) == 0
        || (mount.source.rfind('/', 0) != 0 && mount.source.find(":/") != std::string::npos);
}

bool isOnBlockDevice(MountEntry const& entry)
{
    if (isOneOf(entry.mount.filesystem, POOLED_TYPES))
        return true;
    // A number of the major group 0 is of no device.
    if (!entry.device.empty())
        return entry.device.rfind("0:", 0) != 0;
    return entry.mount.source.rfind("/dev/", 0) == 0 && entry.mount.source != "/dev/fuse";
}

bool isReadOnly(std::string const& options)
{
    return (options + ",").rfind("ro,", 0) == 0;
}

}

MountTable parseMountInfo(std::string const& text)
{
    // ID PARENT DEVICE ROOT PLACE OPTIONS [OPTIONAL ...] - TYPE SOURCE OPTIONS
    constexpr size_t DEVICE = 2;
    constexpr size_t PLACE = 4;
    constexpr size_t OPTIONS = 5;
    MountTable table;
    for (std::string const& line : linesOf(text)) {
        auto const words = fieldsOf(line);
        auto const dash = std::find(words.begin(), words.end(), "-");
        if (dash - words.begin() <= static_cast<ptrdiff_t>(OPTIONS) || words.end() - dash < 3) {
            ++table.leftOut;
            continue;
        }
        MountEntry& entry = table.entries.emplace_back();
        entry.device = words[DEVICE];
        entry.mount.mountPoint = decodeOctal(words[PLACE]);
        entry.mount.filesystem = dash[1];
        entry.mount.source = decodeOctal(dash[2]);
        // The mount's own, or those of the whole filesystem.
        entry.mount.readOnly =
            isReadOnly(words[OPTIONS]) || (words.end() - dash > 3 && isReadOnly(dash[3]));
    }
    return table;
}

MountTable parseMounts(std::string const& text)
{
    MountTable table;
    for (std::string const& line : linesOf(text)) {
        auto const words = fieldsOf(line);
        if (words.size() < 4) {
            table.leftOut += line.empty() ? 0 : 1;
            continue;
        }
        MountEntry& entry = table.entries.emplace_back();
        entry.mount.source = decodeOctal(words[0]);
        entry.mount.mountPoint = decodeOctal(words[1]);
        entry.mount.filesystem = words[2];
        entry.mount.readOnly = isReadOnly(words[3]);
    }
    return table;
}

void keepShown(std::vector<MountEntry>& entries)
{
    std::set<std::string> places;
    std::vector<MountEntry> shown;
    // Of several mounts at one place the last is the one that programs see.
    for (auto entry = entries.rbegin(); entry != entries.rend(); ++entry) {
        if (!places.insert(entry->mount.mountPoint).second)
            continue;
        entry->mount.network = isOnNetwork(entry->mount);
        if (entry->mount.network || isOnBlockDevice(*entry))
            shown.push_back(*entry);
    }
    std::sort(shown.begin(), shown.end(), [](MountEntry const& first, MountEntry const& second) {
        return naturallyBefore(first.mount.mountPoint, second.mount.mountPoint);
    });
    entries = std::move(shown);
}

}
