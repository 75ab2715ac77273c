#include "app/mount_list.h"

#include "app/Session.h"
#include "app/library_text.h"

#include <limits>

namespace app {

namespace {

using Records = std::vector<dovrel::value_ptr<sysinfo::SystemInformation::DiskInfo>>;

bool isOctal(char c)
{
    return c >= '0' && c <= '7';
}

/** @return whether four characters at @p position stand for one byte. */
bool isEscape(std::string const& text, size_t position)
{
    return text.size() - position >= 4 && text[position] == '\\' && text[position + 1] >= '0'
        && text[position + 1] <= '3' && isOctal(text[position + 2]) && isOctal(text[position + 3]);
}

Mount toMount(sysinfo::SystemInformation::DiskInfo const& record)
{
    Mount mount;
    mount.libraryMountPoint = textOf(record.getDiskName());
    for (auto const& disk : record.getParentDisks())
        mount.disks.push_back(textOf(disk->getDiskID()));
    // A size of 0 is the library's word for "could not be asked", and so is a free 0 beside it.
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

std::string Mount::mountPoint() const
{
    return decodeOctal(libraryMountPoint);
}

std::optional<uint64_t> Mount::used() const
{
    return size && free && *free <= *size ? std::optional(*size - *free) : std::nullopt;
}

std::optional<float> Mount::usedPercent() const
{
    auto const part = used();
    if (!part)
        return std::nullopt;
    return static_cast<float>(100.0 * static_cast<double>(*part) / static_cast<double>(*size));
}

uint64_t wholeSize(uint64_t librarySize, struct statvfs const& status)
{
    uint64_t const blocks = status.f_blocks;
    uint64_t const blockSize = status.f_bsize;
    constexpr uint64_t LOW = std::numeric_limits<uint32_t>::max();
    bool const isCut = blocks > LOW && librarySize == (blocks & LOW) * (blockSize & LOW);
    return isCut ? blocks * blockSize : librarySize;
}

bool readMounts(Session& session, std::vector<Mount>& mounts)
{
    Records records;
    bool const complete = session.query(
        "the mounted filesystems", [&] { return session.service().getDisksInternal(records); });
    for (auto const& record : records)
        mounts.push_back(toMount(*record));
    return complete;
}

Json mountsAsJson(std::vector<Mount> const& mounts)
{
    Json list = Json::array();
    for (Mount const& mount : mounts)
        list.push_back(
            {{"mount_point", mount.mountPoint()}, {"library_mount_point", mount.libraryMountPoint},
                {"size_bytes", jsonValue(mount.size)}, {"used_bytes", jsonValue(mount.used())},
                {"free_bytes", jsonValue(mount.free)}, {"disks", mount.disks}});
    return list;
}

std::string decodeOctal(std::string const& text)
{
    std::string decoded;
    for (size_t position = 0; position < text.size(); ++position) {
        if (!isEscape(text, position)) {
            decoded += text[position];
            continue;
        }
        unsigned byte = 0;
        for (size_t digit = 1; digit <= 3; ++digit)
            byte = byte * 8 + static_cast<unsigned>(text[position + digit] - '0');
        decoded += static_cast<char>(byte);
        position += 3;
    }
    return decoded;
}

}
