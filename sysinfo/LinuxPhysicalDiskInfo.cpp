#include "common/basic/SourceFile.h"
#include "common/basic/handle.h"
#include "common/basic/retry.h"
#include "common/basic/text_cast.h"
#include "common/platform/CancellationBlock.h"
#include "common/platform/trace.h"
#include "sysinfo/LinuxSystemInformation.h"
#include "sysinfo/canonical_path.h"
#include "sysinfo/parsers/proc_partitions.h"

#include <dirent.h>

#include <cwchar>
#include <exception>
#include <fcntl.h>
#include <linux/fs.h>
#include <memory>
#include <string_view>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

using dovrel::string;

namespace sysinfo {

namespace {

/** <scsi/scsi_ioctl.h> of the kernel; answers with an `int`. */
constexpr unsigned long GET_SCSI_BUS_NUMBER = 0x5386;

/** @return the opened device, -1 where it cannot be opened. A drive without a medium, or whose
 * controller is gone, does not hold the caller. */
int openDevice(string const& path)
{
    char const* const narrow = path;
    return dovrel::retryInterrupted(
        [narrow] { return ::open(narrow, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY); });
}

bool isUSBStorage(string const& path)
{
    int const fd = openDevice(path);
    auto const owner = dovrel::autohandle(fd, ::close);
    int bus = 0;
    if (fd == -1 || ::ioctl(fd, GET_SCSI_BUS_NUMBER, &bus) != 0)
        return false;
    string const known = dovrel::str_cast(bus, string(L"/proc/scsi/usb-storage/"));
    return ::access(known, F_OK) == 0;
}

/**
 * Finds the device's name among the persistent ones. Those of the "wwn" family say nothing to
 * people.
 *
 * A name is one of the device where both have the same canonical path. On a machine with thousands
 * of disks paths are resolved only where stat(2) shows the same file: a resolution takes some ten
 * system calls.
 *
 * @return the name, empty where the device has none.
 */
std::string findPersistentName(char const* device)
{
    static constexpr char FOLDER[] = "/dev/disk/by-id/";
    std::unique_ptr<DIR, int (*)(DIR*)> const folder(::opendir(FOLDER), ::closedir);
    struct stat wanted;
    if (!folder || ::stat(device, &wanted) != 0)
        return {};
    while (dirent const* const entry = ::readdir(folder.get())) {
        std::string_view const name = entry->d_name;
        if (name == "." || name == ".." || name.starts_with("wwn"))
            continue;
        struct stat found;
        // Kept: a link that leads nowhere ends the search.
        if (::fstatat(::dirfd(folder.get()), entry->d_name, &found, 0) != 0)
            return {};
        if (found.st_dev != wanted.st_dev || found.st_ino != wanted.st_ino)
            continue;
        auto const target = canonicalPath((std::string(FOLDER) + entry->d_name).c_str());
        auto const canonicalDevice = canonicalPath(device);
        if (!target || !canonicalDevice)
            return {};
        if (target == canonicalDevice) // Else it is another name of the same file, a hard link.
            return std::string(name);
    }
    return {};
}

/** `ata-MODEL_SERIAL` without the bus. */
string withoutBus(string const& name)
{
    wchar_t const* const sign = std::wcschr(name.c_str(), L'-');
    return sign ? string(sign + 1) : name;
}

}

LinuxSystemInformation::LinuxPhysicalDiskInfo::LinuxPhysicalDiskInfo(
    string const& name, uint64_t blocks, unsigned int partitions)
    : m_name(name), m_blocks(blocks), m_sectorSize(0), m_partitions(partitions)
{
    TRACE_SCOPE("sysinfo::LinuxSystemInformation::LinuxPhysicalDiskInfo::LinuxPhysicalDiskInfo("
                "const dovrel::string&, uint64_t, unsigned int)");
    dovrel::CancellationBlock const block;
    string const path = string(L"/dev/") + m_name;
    int const fd = openDevice(path);
    auto const owner = dovrel::autohandle(fd, ::close);
    int sectorSize = 0;
    if (fd != -1 && ::ioctl(fd, BLKSSZGET, &sectorSize) == 0)
        m_sectorSize = static_cast<uint64_t>(sectorSize);
    try {
        m_caption = withoutBus(findPersistentName(path));
    } catch (std::exception const&) {
        // Memory that runs out leaves the disk without a caption.
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
    TRACE_SCOPE(
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
    auto const partitionFound = [&](std::string const& name) {
        trace.write(3, "Partition: %s", name);
    };
    auto const diskFound = [&](DiskEntry const& disk) {
        string const name = disk.name;
        if (isUSBStorage(string(L"/dev/") + name)) {
            trace.write(3, "Found (and ignoring) usb disk: /dev/%s", name);
            return;
        }
        trace.write(3, "Found disk: /dev/%s", name);
        disks.push_back(dovrel::value_ptr<PhysicalDiskInfo>(
            new LinuxPhysicalDiskInfo(name, disk.blocks, disk.partitions)));
    };
    readPartitions(file, partitionFound, diskFound);
    trace.write(3, "Returning: %d disks", disks.size());
    return true;
}

}
