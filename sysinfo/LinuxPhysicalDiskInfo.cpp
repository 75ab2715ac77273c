#include "common/basic/SourceFile.h"
#include "common/basic/handle.h"
#include "common/basic/retry.h"
#include "common/basic/text_cast.h"
#include "common/platform/CancellationBlock.h"
#include "common/platform/trace.h"
#include "sysinfo/LinuxSystemInformation.h"
#include "sysinfo/PersistentNames.h"
#include "sysinfo/parsers/proc_partitions.h"

#include <cwchar>
#include <exception>
#include <fcntl.h>
#include <linux/fs.h>
#include <optional>
#include <sys/ioctl.h>
#include <unistd.h>

using dovrel::string;

namespace sysinfo {

namespace {

/** SCSI_IOCTL_GET_BUS_NUMBER of the kernel's <scsi/scsi.h>. */
constexpr unsigned long GET_SCSI_BUS_NUMBER = 0x5386;

/** Opens the device and issues an ioctl(2) whose output is an `int`. A drive without a medium or
 * controller does not block the caller. @return that output; no value if either call fails. */
std::optional<int> queryDevice(char const* path, unsigned long request)
{
    int const fd = dovrel::retryInterrupted(
        [path] { return ::open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY); });
    auto const owner = dovrel::autohandle(fd, ::close);
    int value = 0;
    if (fd == -1 || ::ioctl(fd, request, &value) != 0)
        return std::nullopt;
    return value;
}

bool isUSBStorage(string const& path)
{
    std::optional<int> const bus = queryDevice(path, GET_SCSI_BUS_NUMBER);
    if (!bus)
        return false;
    string const folder = dovrel::str_cast(*bus, string(L"/proc/scsi/usb-storage/"));
    return ::access(folder, F_OK) == 0;
}

string pathOf(string const& name)
{
    return string(L"/dev/") + name;
}

/** @return `MODEL_SERIAL` for `ata-MODEL_SERIAL`. */
string withoutBus(string const& name)
{
    wchar_t const* const dash = std::wcschr(name.c_str(), L'-');
    return dash ? string(dash + 1) : name;
}

}

LinuxSystemInformation::LinuxPhysicalDiskInfo::LinuxPhysicalDiskInfo(
    string const& name, uint64_t blocks, unsigned int partitions)
    : m_name(name), m_blocks(blocks), m_sectorSize(0), m_partitions(partitions)
{
    dovrel::CancellationBlock const block;
    PersistentNames names(false);
    readDevice(pathOf(name), names);
}

LinuxSystemInformation::LinuxPhysicalDiskInfo::LinuxPhysicalDiskInfo(string const& name,
    string const& path, uint64_t blocks, unsigned int partitions, PersistentNames& names)
    : m_name(name), m_blocks(blocks), m_sectorSize(0), m_partitions(partitions)
{
    readDevice(path, names);
}

void LinuxSystemInformation::LinuxPhysicalDiskInfo::readDevice(
    string const& path, PersistentNames& names)
{
    DOVREL_TRACE_SCOPE(
        "sysinfo::LinuxSystemInformation::LinuxPhysicalDiskInfo::LinuxPhysicalDiskInfo("
        "const dovrel::string&, uint64_t, unsigned int)");
    m_sectorSize = static_cast<uint64_t>(queryDevice(path, BLKSSZGET).value_or(0));
    try {
        m_caption = withoutBus(names.firstOf(path));
    } catch (std::exception const&) {
        // Without memory for it the disk has no caption.
    }
}

LinuxSystemInformation::LinuxPhysicalDiskInfo::~LinuxPhysicalDiskInfo() = default;

string LinuxSystemInformation::LinuxPhysicalDiskInfo::toString() const
{
    return m_name + L" (" + m_caption + L") "
        + dovrel::str_cast<unsigned long long>(getDiskTotalSizeInBytes()) + L" bytes in  "
        + dovrel::str_cast(m_partitions) + L" partitions ";
}

void LinuxSystemInformation::LinuxPhysicalDiskInfo::destroy()
{
    dovrel::deleteUnlessNull(this);
}

SystemInformation::PhysicalDiskInfo* LinuxSystemInformation::LinuxPhysicalDiskInfo::clone() const
{
    return new LinuxPhysicalDiskInfo(*this);
}

bool LinuxSystemInformation::getPhysicalDisksInternal(
    std::vector<dovrel::value_ptr<PhysicalDiskInfo>>& disks) const
{
    DOVREL_TRACE_SCOPE(
        "virtual bool sysinfo::LinuxSystemInformation::getPhysicalDisksInternal("
        "std::vector<dovrel::value_ptr<sysinfo::SystemInformation::PhysicalDiskInfo>, "
        "std::allocator<dovrel::value_ptr<sysinfo::SystemInformation::PhysicalDiskInfo> > >&) "
        "const");
    dovrel::CancellationBlock const block;
    dovrel::SourceFile file("/proc/partitions");
    if (!file) {
        trace.write(1, "Failed to open: /proc/partitions");
        return false;
    }
    if (!file.readAhead()) {
        trace.write(1, "Failed to read /proc/partitions: it is too large");
        return false;
    }
    PersistentNames names(true);
    auto const partitionFound = [&](std::string const& name) {
        trace.write(3, "Partition: %s", name);
    };
    auto const diskFound = [&](DiskEntry const& disk) {
        string const name = disk.name;
        string const path = pathOf(name);
        if (isUSBStorage(path)) {
            trace.write(3, "Found (and ignoring) usb disk: /dev/%s", name);
            return;
        }
        trace.write(3, "Found disk: /dev/%s", name);
        disks.push_back(dovrel::value_ptr<PhysicalDiskInfo>(
            new LinuxPhysicalDiskInfo(name, path, disk.blocks, disk.partitions, names)));
    };
    readPartitions(file, partitionFound, diskFound);
    trace.write(3, "Returning: %d disks", disks.size());
    return true;
}

}
