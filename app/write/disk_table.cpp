#include "app/model/device_tree.h"
#include "app/write/ColumnTable.h"

namespace app {

namespace {

/** The names of encrypted devices are often UUIDs, which would leave no room for other columns. */
constexpr size_t ENOUGH_OF_A_NAME = 15;
constexpr size_t ENOUGH_OF_A_MODEL = 12;
constexpr size_t ENOUGH_OF_A_MOUNT_POINT = 11;

std::string yesNo(std::optional<bool> flag)
{
    return flag ? (*flag ? "yes" : "no") : UNKNOWN;
}

struct DeviceRow : RowContext {
    Disk const& disk;
    std::string prefix; ///< The branches of the tree.
};

std::string mountPoints(DeviceRow const& row)
{
    std::vector<std::string> places;
    if (!row.machine.mounts)
        return UNKNOWN;
    for (Mount const& mount : *row.machine.mounts)
        if (mount.device == row.disk.name)
            places.push_back(mount.mountPoint);
    return joined(places);
}

/** The devices beneath, by the names that the first column has for them. */
std::string slavesText(DeviceRow const& row)
{
    std::vector<std::string> names = row.disk.slaves;
    if (!row.disk.parent.empty())
        names.push_back(row.disk.parent);
    for (std::string& name : names)
        if (Disk const* const disk = findDisk(*row.machine.disks, name))
            name = disk->label;
    return joined(names);
}

constexpr ColumnOf<DeviceRow> DEVICE_COLUMNS[] = {
    {"NAME", "the device's name; in /dev/mapper or /dev/md where it has one", LEFT, ALWAYS,
        [](DeviceRow const& row) { return row.prefix + row.disk.label; }, ENOUGH_OF_A_NAME},
    {"KNAME", "the kernel's name", LEFT, 0, [](DeviceRow const& row) { return row.disk.name; }},
    {"DEV", "major and minor number", LEFT, 0,
        [](DeviceRow const& row) { return row.disk.device.empty() ? UNKNOWN : row.disk.device; }},
    {"TYPE", "disk, part, rom, loop, lvm, crypt, mpath, dm, zram, bcache, drbd or the RAID level",
        LEFT, 70, [](DeviceRow const& row) { return typeText(row.disk); }},
    {"SIZE", "the size", RIGHT, ALWAYS,
        [](DeviceRow const& row) { return sizeText(row.disk.bytes, row.unit); }},
    {"KIND", "HDD, SSD, virtual or removable", LEFT, 60,
        [](DeviceRow const& row) {
            return row.disk.isPhysical() ? knownText(row.disk.kind()) : "";
        }},
    {"TRAN", "the bus: nvme, sata, sas, usb, virtio, mmc, fc, iscsi ...", LEFT, 40,
        [](DeviceRow const& row) {
            return row.disk.isPhysical() ? knownText(row.disk.transport) : "";
        }},
    {"PARTS", "the number of partitions", RIGHT, 30,
        [](DeviceRow const& row) {
            return row.disk.parent.empty()
                ? std::to_string(partitionsOf(*row.machine.disks, row.disk))
                : "";
        }},
    {"MODEL", "the model", LEFT, 50,
        [](DeviceRow const& row) { return row.disk.isPhysical() ? knownText(row.disk.model) : ""; },
        ENOUGH_OF_A_MODEL},
    {"ON", "the devices that it lies on", LEFT, 35, slavesText},
    {"SERIAL", "the serial number", WHOLE, 0,
        [](DeviceRow const& row) {
            return row.disk.isPhysical() ? knownText(row.disk.serial) : "";
        }},
    {"RO", "whether it is read-only", LEFT, 0,
        [](DeviceRow const& row) { return yesNo(row.disk.readOnly); }},
    {"LOG-SEC", "the logical sector size in bytes", RIGHT, 0,
        [](DeviceRow const& row) { return numberText(row.disk.logicalSector); }},
    {"PHY-SEC", "the physical sector size in bytes", RIGHT, 0,
        [](DeviceRow const& row) { return numberText(row.disk.physicalSector); }},
    {"MOUNTPOINTS", "the places where it is mounted", LEFT, 0, mountPoints,
        ENOUGH_OF_A_MOUNT_POINT},
    {"NOTE", "the numbers of notes", LEFT, 90, [](DeviceRow const& row) { return row.marks; }},
};

/** The lines that lead from the devices above to this one. */
std::string branches(DeviceNode const& node)
{
    if (node.depth == 0)
        return "";
    bool const utf8 = localeIsUtf8();
    std::string text;
    for (bool const last : node.lastAbove)
        text += last ? "  " : (utf8 ? "\xE2\x94\x82 " : "| "); // U+2502
    // U+2514 and U+251C, each with U+2500.
    if (node.last)
        return text + (utf8 ? "\xE2\x94\x94\xE2\x94\x80" : "`-");
    return text + (utf8 ? "\xE2\x94\x9C\xE2\x94\x80" : "|-");
}

class DiskTable : public ColumnTable<DeviceRow> {
public:
    DiskTable() : ColumnTable(DEVICE_COLUMNS) { }

private:
    std::vector<DeviceRow> rows(TableRequest const& request) const override
    {
        if (request.options.diskTree)
            return treeRows(request);
        std::vector<DeviceRow> list;
        for (Disk const* const disk : diskRows(*request.machine.disks))
            list.push_back({request.row(Subject::DISKS, disk->name), *disk, ""});
        return list;
    }

    char const* usualColumns(TableOptions const& options) const override
    {
        return options.diskTree ? "NAME,TYPE,SIZE,MOUNTPOINTS,NOTE" : "";
    }

    static std::vector<DeviceRow> treeRows(TableRequest const& request)
    {
        std::vector<DeviceRow> rows;
        for (DeviceNode const& node : deviceTree(*request.machine.disks))
            rows.push_back(
                {request.row(Subject::DISKS, node.disk->name), *node.disk, branches(node)});
        return rows;
    }
};

}

std::vector<Disk const*> diskRows(std::vector<Disk> const& disks)
{
    std::vector<Disk const*> rows;
    for (bool const physical : {true, false})
        for (Disk const& disk : disks)
            if (disk.isPhysical() == physical && disk.parent.empty() && disk.type != Disk::LOOP)
                rows.push_back(&disk);
    return rows;
}

SubjectTable const& diskTable()
{
    static DiskTable const table;
    return table;
}

}
