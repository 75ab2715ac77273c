#include "common/basic/SourceFile.h"
#include "common/basic/retry.h"
#include "common/basic/text_cast.h"
#include "common/platform/CancellationBlock.h"
#include "common/platform/trace.h"
#include "sysinfo/UNIXSystemInformation.h"
#include "sysinfo/canonical_path.h"
#include "sysinfo/parsers/proc_mounts.h"

#include <boost/filesystem.hpp>

#include <optional>
#include <sys/statvfs.h>

using dovrel::string;

namespace sysinfo {

namespace {

using DiskList = std::vector<dovrel::value_ptr<SystemInformation::PhysicalDiskInfo>>;

/** @return copies of the disks whose names are in @p roots, in the order of @p disks. Skips null
 * records, which a host's own class may list. */
DiskList selectDisks(DiskList const& disks, std::set<std::string> const& roots)
{
    DiskList selection;
    for (auto const& disk : disks)
        if (disk && roots.count(static_cast<char const*>(disk->getDiskID())) != 0)
            selection.push_back(disk);
    return selection;
}

/** Calls statvfs(3) and repeats it if a signal interrupts it. @return false if it fails. */
bool readFilesystem(char const* mountPoint, struct statvfs& out)
{
    return dovrel::retryInterrupted([&] { return ::statvfs(mountPoint, &out); }) == 0;
}

}

UNIXSystemInformation::UNIXDiskInfo::UNIXDiskInfo(
    string const& name, std::vector<dovrel::value_ptr<PhysicalDiskInfo>> const& parents)
    : m_name(name), m_sizeInBytes(0), m_parents(parents)
{
    dovrel::CancellationBlock const block;
    struct statvfs status;
    // Kept: the product of the low 32 bits of both figures, and of f_bsize instead of f_frsize.
    if (readFilesystem(m_name, status))
        m_sizeInBytes = uint64_t{static_cast<uint32_t>(status.f_blocks)}
            * static_cast<uint32_t>(status.f_bsize);
}

UNIXSystemInformation::UNIXDiskInfo::~UNIXDiskInfo() = default;

string UNIXSystemInformation::UNIXDiskInfo::toString() const
{
    dovrel::CancellationBlock const block;
    return m_name + L" " + dovrel::str_cast<unsigned long long>(getDiskFreeInBytes()) + L"/"
        + dovrel::str_cast<unsigned long long>(m_sizeInBytes) + L" across "
        + dovrel::str_cast(static_cast<unsigned int>(m_parents.size())) + L" disks";
}

uint64_t UNIXSystemInformation::UNIXDiskInfo::getDiskFreeInBytes() const
{
    dovrel::CancellationBlock const block;
    struct statvfs status;
    if (!readFilesystem(m_name, status))
        return 0;
    return uint64_t{status.f_bfree} * uint64_t{status.f_bsize};
}

void UNIXSystemInformation::UNIXDiskInfo::destroy()
{
    dovrel::deleteUnlessNull(this);
}

SystemInformation::DiskInfo* UNIXSystemInformation::UNIXDiskInfo::clone() const
{
    return new UNIXDiskInfo(*this);
}

bool UNIXSystemInformation::getDisksInternal(std::vector<dovrel::value_ptr<DiskInfo>>& disks) const
{
    DOVREL_TRACE_SCOPE(
        "virtual bool sysinfo::UNIXSystemInformation::getDisksInternal("
        "std::vector<dovrel::value_ptr<sysinfo::SystemInformation::DiskInfo>, "
        "std::allocator<dovrel::value_ptr<sysinfo::SystemInformation::DiskInfo> > >&) "
        "const");
    dovrel::CancellationBlock const block;
    dovrel::SourceFile file("/proc/mounts");
    if (!file) {
        trace.write(1, "Failed to open /proc/mounts");
        return false;
    }
    DiskList physicalDisks;
    if (!getPhysicalDisksInternal(physicalDisks))
        return false;
    if (!file.readAhead()) {
        trace.write(1, "Failed to read /proc/mounts: it is too large");
        return false;
    }
    for (auto const& [mountPoint, device] : readMounts(file)) {
        DiskList parents;
        if (auto const path = canonicalPath(device.c_str()))
            parents = selectDisks(physicalDisks, getRootDevices(*path));
        else
            trace.write(2, "Don't know what to do with device: %s", device);
        disks.push_back(dovrel::value_ptr<DiskInfo>(new UNIXDiskInfo(mountPoint, parents)));
    }
    return true;
}

}
