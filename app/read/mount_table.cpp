#include "app/read/mount_table.h"

#include "app/model/natural_order.h"
#include "app/read/kernel_file.h"

#include <algorithm>
#include <map>
#include <tuple>
#include <utility>

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

/** "/a" of "/a/b", "/" of "/a". */
std::string folderAbove(std::string const& path)
{
    size_t const slash = path.rfind('/');
    return slash == 0 || slash == std::string::npos ? "/" : path.substr(0, slash);
}

/** The mounts as path_resolution(7) walks them. */
class MountTree {
public:
    explicit MountTree(std::vector<MountEntry> const& entries)
    {
        for (MountEntry const& entry : entries) {
            if (!entry.id.empty())
                m_byId[entry.id] = &entry;
            // Of two at one place of one mount the later one is found first.
            m_byPlace[{entry.parent, entry.mount.mountPoint}] = &entry;
        }
    }

    /** @return the mount that hides another one; null where programs reach it. */
    MountEntry const* hiderOf(MountEntry const& entry) const
    {
        MountEntry const* const onTop = find(entry.id, entry.mount.mountPoint);
        if (!entry.id.empty() && !isOwnRoot(entry) && onTop && onTop != &entry)
            return onTop;
        MountEntry const* step = &entry;
        // A damaged table may have circles.
        for (size_t depth = 0; step && depth <= m_byId.size(); ++depth) {
            MountEntry const* const parent = parentOf(*step);
            bool const onOwnRoot = parent && isOwnRoot(*parent);
            // Paths begin at the program's own root, whatever is mounted over it.
            if (onOwnRoot && step->mount.mountPoint == "/")
                return parent;
            if (MountEntry const* const upper = coverOf(*step, onOwnRoot))
                return upper;
            step = parent;
        }
        return nullptr;
    }

private:
    using Place = std::pair<std::string, std::string>; // The number of the parent, and the path.

    MountEntry const* find(std::string const& parent, std::string const& path) const
    {
        auto const found = m_byPlace.find({parent, path});
        return found == m_byPlace.end() ? nullptr : found->second;
    }

    /** @return null where the parent is not within the program's root. */
    MountEntry const* parentOf(MountEntry const& entry) const
    {
        auto const found = m_byId.find(entry.parent);
        bool const known = found != m_byId.end() && found->second != &entry;
        return known ? found->second : nullptr;
    }

    bool isOwnRoot(MountEntry const& entry) const
    {
        return entry.mount.mountPoint == "/" && !entry.id.empty() && !parentOf(entry);
    }

    /** A mount of the same parent, at the same place or on a folder above. */
    MountEntry const* coverOf(MountEntry const& entry, bool onOwnRoot) const
    {
        std::string path = entry.mount.mountPoint;
        for (;;) {
            bool const isOverRoot = onOwnRoot && path == "/";
            MountEntry const* const other = isOverRoot ? nullptr : find(entry.parent, path);
            // Without numbers the order of the table says nothing of the folders above.
            if ((other && other != &entry) || path == "/" || entry.id.empty())
                return other == &entry ? nullptr : other;
            path = folderAbove(path);
        }
    }

    std::map<std::string, MountEntry const*> m_byId;
    std::map<Place, MountEntry const*> m_byPlace;
};

/** What two mounts of one filesystem have in common. */
std::pair<std::string, std::string> filesystemOf(MountEntry const& entry)
{
    Mount const& mount = entry.mount;
    // One filesystem of a server may be exported under several names.
    bool const byName = mount.network || entry.device.empty();
    return {entry.device, byName ? mount.source : std::string()};
}

/** The smallest one stands for its filesystem. */
auto rankOf(MountEntry const& entry)
{
    return std::tuple(
        !entry.mount.hiddenBy.empty(), entry.root != "/", entry.mount.mountPoint.size());
}

void markRepeated(std::vector<MountEntry>& entries)
{
    std::map<std::pair<std::string, std::string>, MountEntry*> first;
    for (MountEntry& entry : entries) {
        MountEntry*& best = first.emplace(filesystemOf(entry), &entry).first->second;
        if (rankOf(entry) < rankOf(*best))
            best = &entry;
    }
    for (MountEntry& entry : entries)
        if (MountEntry const* const best = first[filesystemOf(entry)]; best != &entry)
            entry.mount.sameAs = best->mount.mountPoint;
}

}

MountTable parseMountInfo(std::string const& text)
{
    // ID PARENT DEVICE ROOT PLACE OPTIONS [OPTIONAL ...] - TYPE SOURCE OPTIONS
    constexpr size_t ID = 0;
    constexpr size_t PARENT = 1;
    constexpr size_t DEVICE = 2;
    constexpr size_t ROOT = 3;
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
        entry.id = words[ID];
        entry.parent = words[PARENT];
        entry.device = words[DEVICE];
        entry.root = decodeOctal(words[ROOT]);
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

void markHidden(std::vector<MountEntry>& entries)
{
    MountTree const tree(entries);
    for (MountEntry& entry : entries)
        if (MountEntry const* const hider = tree.hiderOf(entry))
            entry.mount.hiddenBy = hider->mount.mountPoint;
}

void keepShown(std::vector<MountEntry>& entries)
{
    for (MountEntry& entry : entries)
        entry.mount.network = isOnNetwork(entry.mount);
    entries.erase(std::remove_if(entries.begin(), entries.end(),
                      [](MountEntry const& entry) {
                          return !entry.mount.network && !isOnBlockDevice(entry);
                      }),
        entries.end());
    markRepeated(entries);
    std::stable_sort(
        entries.begin(), entries.end(), [](MountEntry const& first, MountEntry const& second) {
            return naturallyBefore(first.mount.mountPoint, second.mount.mountPoint);
        });
}

}
