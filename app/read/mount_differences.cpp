#include "app/read/DifferenceList.h"
#include "app/read/kernel_file.h"

#include <algorithm>
#include <set>

namespace app {

namespace {

using Texts = std::vector<std::string>;

LibraryRecord const* findRecord(DifferenceList const& list, std::string const& mountPoint)
{
    // The library has the kernel's escapes.
    for (LibraryRecord const& record : list.records())
        if (decodeOctal(record.get<std::string>("getDiskName")) == mountPoint)
            return &record;
    return nullptr;
}

/** @return the words of the last line of a mount point in /proc/mounts, which counts; empty where
 * it has none. */
Texts mountLine(std::string const& mounts, std::string const& mountPoint)
{
    Texts last;
    for (std::string const& line : linesOf(mounts))
        if (auto const words = wordsOf(line);
            words.size() > 1 && decodeOctal(words[1]) == mountPoint)
            last = words;
    return last;
}

/** @return why the library does not list a mount. */
std::string whyNotListed(Mount const& mount, std::string const& mounts)
{
    auto const words = mountLine(mounts, mount.mountPoint);
    std::string const source = words.empty() ? mount.source : words[0];
    constexpr size_t LAST_BEGIN = 7;
    if (source.rfind("/dev/", 0) != 0)
        return "the library lists the mounts whose source begins with /dev/";
    if (source.rfind("/dev/", LAST_BEGIN) != 0)
        return "the library leaves out a source with a second /dev/ in its first bytes";
    if (mounts.empty())
        return "";
    if (words.empty())
        return "/proc/mounts does not have it";
    size_t const blankLine = mounts.find("\n\n");
    return blankLine != std::string::npos && blankLine < mounts.rfind(" " + words[1] + " ")
        ? "the library reads /proc/mounts up to its first blank line"
        : "";
}

/** @return why the library finds other disks beneath a mount. */
std::string whyOtherDisks(Mount const& mount, Texts const& library, LibraryAnswer const& answer)
{
    if (!library.empty() || mount.device.empty())
        return "";
    if (mount.device.rfind("dm-", 0) == 0)
        return "the library finds no disks beneath a device of the device mapper";
    if (mount.device.find('/') != std::string::npos)
        return "the library finds no disks beneath a device in a folder of /dev";
    std::string const disk =
        mount.device.substr(0, mount.device.find_last_not_of("0123456789") + 1);
    if (std::find(mount.disks.begin(), mount.disks.end(), disk) == mount.disks.end())
        return "the library takes the device's name without the digits at its end as the disk's";
    auto const& trace = answer.trace;
    bool const isListed =
        std::find(trace.begin(), trace.end(), "Found disk: /dev/" + disk) != trace.end();
    return trace.empty() || isListed ? "" : "the library does not list the disk";
}

/** @return why the library has another size. */
std::string whySize(uint64_t size, uint64_t library, bool escaped)
{
    if (escaped)
        return library == 0 ? "the library queries the kernel's escaped name, which is no folder"
                            : "the library queries the kernel's escaped name";
    constexpr unsigned SMALLEST = 9; // Blocks of 512 bytes
    constexpr unsigned LARGEST = 24;
    for (unsigned power = SMALLEST; power <= LARGEST; ++power) {
        // 2^32 blocks; a count that has exactly so many is 0.
        uint64_t const limit = uint64_t{1} << (32 + power);
        if (size >= limit && library == size % limit)
            return "the library counts the blocks with 32 bits";
    }
    if (library > size && size > 0 && library % size == 0)
        return "the library counts the blocks in units of the preferred block size";
    return "";
}

void compareSizes(Mount const& mount, LibraryRecord const& record, DifferenceList& list)
{
    bool const escaped = record.get<std::string>("getDiskName") != mount.mountPoint;
    auto const size = record.get<uint64_t>("getDiskSizeInBytes");
    auto const free = record.get<uint64_t>("getDiskFreeInBytes");
    std::string const reason = mount.size ? whySize(*mount.size, size, escaped) : "";
    list.compareNumber(mount.mountPoint, "size_bytes", mount.size, size, reason);
    if (!mount.size || !mount.used || !mount.available || *mount.used > *mount.size) {
        list.compareMoving(mount.mountPoint, "available_bytes", mount.available, free,
            mount.size.value_or(UINT64_MAX));
        return;
    }
    // The free space moves while the two are read; the superuser's reserve does not.
    uint64_t const ownFree = *mount.size - *mount.used;
    uint64_t const distance = ownFree > free ? ownFree - free : free - ownFree;
    constexpr uint64_t PARTS = 8;
    if (escaped || distance > *mount.size / PARTS)
        list.compareNumber(mount.mountPoint, "available_bytes", mount.available, free,
            escaped || (size != 0 && size != *mount.size) ? reason : "");
    else if (ownFree != *mount.available)
        list.compareNumber(mount.mountPoint, "available_bytes", mount.available, free,
            "the library counts the superuser's reserve as free");
}

/** @return whether the library's record of a hidden mount's place is that of another mount. */
bool isRecordOfOther(Mount const& hidden, std::vector<Mount> const& mounts)
{
    // The last mount at a place counts; a visible one is the last.
    auto const at = [&hidden](Mount const& mount) { return mount.mountPoint == hidden.mountPoint; };
    auto const last = std::find_if(mounts.rbegin(), mounts.rend(), at);
    return &*last != &hidden || std::any_of(mounts.begin(), mounts.end(), [&](Mount const& mount) {
        return at(mount) && mount.hiddenBy.empty();
    });
}

/** The library has the sizes of the filesystem to which the path leads. */
void compareHidden(Mount const& mount, LibraryRecord const& record, DifferenceList& list)
{
    bool const escaped = record.get<std::string>("getDiskName") != mount.mountPoint;
    auto const size = record.get<uint64_t>("getDiskSizeInBytes");
    if (mount.size == size)
        return;
    std::string const reason = escaped
        ? whySize(0, size, escaped)
        : "the library queries the path, where another mount hides this one";
    list.add(mount.mountPoint, "size_bytes", size, reason);
    list.add(
        mount.mountPoint, "available_bytes", record.get<uint64_t>("getDiskFreeInBytes"), reason);
}

}

void compareMounts(std::vector<Mount> const& mounts, DifferenceList& list)
{
    for (Mount const& mount : mounts) {
        LibraryRecord const* const record = findRecord(list, mount.mountPoint);
        // The library has one record for each place.
        if (!mount.hiddenBy.empty()) {
            if (record && !isRecordOfOther(mount, mounts))
                compareHidden(mount, *record, list);
            continue;
        }
        if (!record) {
            list.addMissing(mount.mountPoint, whyNotListed(mount, list.answer().source));
            continue;
        }
        compareSizes(mount, *record, list);
        auto const disks = record->get<Texts>("getParentDisks");
        if (std::set(disks.begin(), disks.end())
            != std::set(mount.disks.begin(), mount.disks.end()))
            list.add(mount.mountPoint, "disks", disks, whyOtherDisks(mount, disks, list.answer()));
    }
    for (LibraryRecord const& record : list.records()) {
        std::string const name = decodeOctal(record.get<std::string>("getDiskName"));
        if (std::none_of(mounts.begin(), mounts.end(),
                [&name](Mount const& mount) { return mount.mountPoint == name; }))
            list.addExtra(name, "the kernel lists no filesystem on a block device there");
    }
}

}
