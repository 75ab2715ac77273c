#include "app/read/Reader.h"
#include "app/read/filesystem_size.h"
#include "app/read/kernel_names.h"
#include "app/read/library_text.h"

#include <limits>

namespace app {

namespace {

using Records = std::vector<dovrel::value_ptr<sysinfo::SystemInformation::DiskInfo>>;

Mount toMount(sysinfo::SystemInformation::DiskInfo const& record)
{
    Mount mount;
    mount.libraryMountPoint = textOf(record.getDiskName());
    mount.mountPoint = decodeOctal(mount.libraryMountPoint);
    for (auto const& disk : record.getParentDisks())
        mount.disks.push_back(textOf(disk->getDiskID()));
    // A size of 0 means that the filesystem could not be queried; so does a free 0 beside it.
    uint64_t size = record.getDiskSizeInBytes();
    uint64_t const free = record.getDiskFreeInBytes();
    struct statvfs status { };
    if (statvfs(mount.libraryMountPoint.c_str(), &status) == 0)
        size = wholeSize(size, status);
    if (size != 0)
        mount.size = size;
    if (size != 0 || free != 0)
        mount.free = free;
    return mount;
}

}

uint64_t wholeSize(uint64_t librarySize, struct statvfs const& status)
{
    uint64_t const blocks = status.f_blocks;
    uint64_t const blockSize = status.f_bsize;
    constexpr uint64_t LOW = std::numeric_limits<uint32_t>::max();
    bool const isCut = blocks > LOW && librarySize == (blocks & LOW) * (blockSize & LOW);
    return isCut ? blocks * blockSize : librarySize;
}

void readMounts(Reader& reader, Machine& machine)
{
    Records records;
    bool const complete = reader.query(machine,
        {Subject::MOUNTS, "the mounted filesystems", "the kernel's list cannot be read",
            "/proc/mounts, /proc/partitions, /dev/mapper"},
        [&] { return reader.library().getDisksInternal(records); });
    if (!complete && records.empty())
        return;
    auto& mounts = machine.mounts.emplace();
    for (auto const& record : records)
        mounts.push_back(toMount(*record));
}

}
