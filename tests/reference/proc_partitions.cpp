#include "tests/reference/proc_partitions.h"

#include "tests/reference/text.h"

#include <algorithm>
#include <utility>

namespace reference {

namespace {

using Entries = std::vector<std::pair<std::string, uint64_t>>; // Name and blocks.

Entries readEntries(std::string const& text)
{
    Entries entries;
    size_t const heading = text.find('\n');
    Fields fields(text, heading == std::string::npos ? text.size() : heading + 1);
    std::string number;
    std::string name;
    uint64_t blocks = 0;
    while (fields.word(number) && fields.word(number) && fields.number(blocks) && fields.word(name))
        entries.emplace_back(name, blocks);
    return entries;
}

bool isDisk(std::string const& name)
{
    return withoutDigits(name) == name;
}

}

std::string withoutDigits(std::string name)
{
    name.erase(name.find_last_not_of("0123456789") + 1);
    return name;
}

PartitionTable readPartitions(std::string const& text)
{
    Entries const entries = readEntries(text);
    PartitionTable table;
    table.entries = entries.size();
    for (size_t at = 0; at < entries.size(); ++at) {
        auto const& [name, blocks] = entries[at];
        table.largest = std::max(table.largest, blocks);
        if (!isDisk(name))
            continue;
        unsigned partitions = 0;
        size_t next = at + 1;
        for (; next < entries.size(); ++next) {
            std::string const& other = entries[next].first;
            if (other.compare(0, name.size(), name) != 0 || isDisk(other))
                break;
            table.order.push_back(other);
            ++partitions;
        }
        // A disk whose name begins with this one's replaces it.
        bool const replaced =
            next < entries.size() && entries[next].first.compare(0, name.size(), name) == 0;
        if (!replaced) {
            table.disks.push_back({name, blocks, partitions});
            table.order.push_back(name);
        }
    }
    return table;
}

}
