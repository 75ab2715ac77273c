#include "app/read/DifferenceList.h"
#include "app/read/kernel_file.h"

#include <algorithm>
#include <cctype>

namespace app {

namespace {

using Words = std::vector<std::string>;

bool endsInDigit(std::string const& name)
{
    return name.find_last_of("0123456789") == name.size() - 1;
}

LibraryRecord const* findRecord(DifferenceList const& list, std::string const& name)
{
    for (LibraryRecord const& record : list.records())
        if (record.get<std::string>("getDiskID") == name)
            return &record;
    return nullptr;
}

/** @return the lines of /proc/partitions behind its heading; proc(5). */
std::vector<Words> partitionLines(std::string const& text)
{
    std::vector<Words> lines;
    for (std::string const& line : linesOf(text.substr(std::min(text.find('\n'), text.size()))))
        if (!wordsOf(line).empty())
            lines.push_back(wordsOf(line));
    return lines;
}

constexpr size_t COLUMNS = 4; // Major, minor, blocks, name.

/** @return the place behind the lines whose names begin with that of the line @p disk and end in a
 * digit: its partitions, as the library counts them. */
size_t behindPartitions(std::vector<Words> const& lines, size_t disk)
{
    size_t line = disk + 1;
    while (line < lines.size() && lines[line].size() == COLUMNS
        && lines[line][3].starts_with(lines[disk][3]) && endsInDigit(lines[line][3]))
        ++line;
    return line;
}

/** @return the line of a disk; the number of lines where there is none. */
size_t lineOf(std::vector<Words> const& lines, std::string const& name)
{
    auto const isOfDisk = [&name](Words const& line) {
        return line.size() >= COLUMNS && line[3] == name;
    };
    return static_cast<size_t>(std::find_if(lines.begin(), lines.end(), isOfDisk) - lines.begin());
}

/** @return whether /proc/partitions has a disk, which the machine's own list may leave out. */
bool isListed(std::string const& name, LibraryAnswer const& answer)
{
    auto const lines = partitionLines(answer.source);
    return lineOf(lines, name) < lines.size();
}

/** @return why the library does not list a disk. */
std::string whyNotListed(std::string const& name, LibraryAnswer const& answer)
{
    if (endsInDigit(name))
        return "the library lists the names that do not end in a digit";
    auto const& trace = answer.trace;
    if (std::find(trace.begin(), trace.end(), "Found (and ignoring) usb disk: /dev/" + name)
        != trace.end())
        return "the library leaves USB storage out";
    auto const lines = partitionLines(answer.source);
    if (lines.empty())
        return "";
    size_t const line = lineOf(lines, name);
    if (line == lines.size())
        return "/proc/partitions does not have it";
    for (size_t i = 0; i < line; ++i)
        if (lines[i].size() != COLUMNS)
            return "the library reads /proc/partitions by groups of four words, and lines of other "
                   "lengths put it out of step";
    size_t const next = behindPartitions(lines, line);
    if (next < lines.size() && lines[next].size() == COLUMNS && lines[next][3].starts_with(name))
        return "the library leaves out a disk whose name begins the next one's";
    return "";
}

/** @return why a size of the library is another one. */
std::string whySize(Disk const& disk, uint64_t library)
{
    constexpr uint64_t KIB = 1024;
    uint64_t const blocks = disk.bytes.value_or(0) / KIB;
    if (blocks == 0)
        return "";
    if (library == 0)
        return "the library reads no sector size from the device";
    for (uint64_t const sector : {512, 1024, 2048, 4096})
        if (library == blocks * sector && disk.logicalSector.value_or(sector) == sector)
            return "the library's figure is blocks of 1,024 bytes times the sector size";
    return "";
}

/** @return how many names the library takes for partitions of a disk. */
size_t namesBehind(std::vector<Words> const& lines, std::string const& name)
{
    size_t const line = lineOf(lines, name);
    return line == lines.size() ? 0 : behindPartitions(lines, line) - line - 1;
}

/** udev(7) replaces blanks and other characters in the names of links. */
std::string lettersAndDigits(std::string const& text)
{
    std::string kept;
    for (char const c : text)
        if (std::isalnum(static_cast<unsigned char>(c)))
            kept += c;
    return kept;
}

/** A caption is the disk's name in /dev/disk/by-id without its bus: model and serial number, or one
 * of them. */
void compareCaption(Disk const& disk, std::string const& caption, DifferenceList& list)
{
    auto const contains = [letters = lettersAndDigits(caption)](
                              std::optional<std::string> const& text) {
        return text && letters.find(lettersAndDigits(*text)) != std::string::npos;
    };
    if (!disk.model || contains(disk.model) || contains(disk.serial))
        return;
    std::optional<LibraryValue> value;
    if (!caption.empty())
        value = caption;
    list.add(disk.name, "model", value,
        caption.empty() ? "the library finds no name of the disk in /dev/disk/by-id"
                        : "the library reports the disk's name in /dev/disk/by-id");
}

void compareDisk(Disk const& disk, LibraryRecord const& record, size_t count, DifferenceList& list)
{
    auto const size = record.get<uint64_t>("getDiskTotalSizeInBytes");
    list.compareNumber(disk.name, "size_bytes", disk.bytes, size, whySize(disk, size));
    auto const partitions = record.get<uint64_t>("getDiskNumberOfPartitions");
    list.compareNumber(disk.name, "partitions", count, partitions,
        namesBehind(partitionLines(list.answer().source), disk.name) == partitions
            ? "the library compares names by their beginning"
            : "");
    compareCaption(disk, record.get<std::string>("getDiskCaption"), list);
}

}

void compareDisks(std::vector<Disk> const& disks, DifferenceList& list)
{
    for (Disk const& disk : disks) {
        LibraryRecord const* const record = findRecord(list, disk.name);
        if (disk.type == Disk::DISK && record)
            compareDisk(disk, *record, partitionsOf(disks, disk), list);
        else if (disk.type == Disk::DISK)
            list.addMissing(disk.name, whyNotListed(disk.name, list.answer()));
        else if (record)
            list.add(disk.name, "type", std::string("disk"),
                "the library lists every name that does not end in a digit");
    }
    for (LibraryRecord const& record : list.records())
        if (auto const name = record.get<std::string>("getDiskID"); !findDisk(disks, name))
            list.addExtra(name, isListed(name, list.answer()) ? "" : "the kernel has no such disk");
}

}
