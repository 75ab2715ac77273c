// /proc/partitions: partitions and disks are those that a second reader finds, in the same order.

#include "fuzz/naive_fields.h"
#include "sysinfo/parsers/proc_partitions.h"

#include <cstdlib>
#include <sstream>
#include <vector>

namespace {

struct Found {
    std::string name;
    uint64_t blocks;
    unsigned partitions;
    bool isDisk;

    bool operator==(Found const&) const = default;
};

bool endsInDigit(std::string const& name)
{
    return std::string("0123456789").find(name[name.size() - 1]) != std::string::npos;
}

/** Takes all entries first and looks for each disk's partitions then. */
std::vector<Found> readNaively(std::string const& text)
{
    struct Entry {
        std::string name;
        uint64_t blocks;
    };
    std::vector<Entry> entries;
    size_t const heading = text.find('\n');
    NaiveFields fields(text, heading == std::string::npos ? text.size() : heading + 1);
    std::string word;
    Entry entry;
    while (fields.word(word) && fields.word(word) && fields.number(entry.blocks)
        && fields.word(entry.name))
        entries.push_back(entry);

    std::vector<Found> found;
    for (size_t disk = 0; disk < entries.size(); ++disk) {
        std::string const& name = entries[disk].name;
        if (endsInDigit(name))
            continue;
        unsigned partitions = 0;
        size_t next = disk + 1;
        for (; next < entries.size(); ++next) {
            std::string const& other = entries[next].name;
            if (!other.starts_with(name) || !endsInDigit(other))
                break;
            found.push_back({other, 0, 0, false});
            ++partitions;
        }
        bool const displaced = next < entries.size() && entries[next].name.starts_with(name);
        if (!displaced)
            found.push_back({name, entries[disk].blocks, partitions, true});
    }
    return found;
}

}

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size)
{
    std::string const text(reinterpret_cast<char const*>(data), size);
    std::istringstream stream(text);
    std::vector<Found> found;
    sysinfo::readPartitions(
        stream,
        [&](std::string const& name) {
            found.push_back({name, 0, 0, false});
        },
        [&](sysinfo::DiskEntry const& disk) {
            found.push_back({disk.name, disk.blocks, disk.partitions, true});
        });
    if (found != readNaively(text))
        std::abort();
    return 0;
}
