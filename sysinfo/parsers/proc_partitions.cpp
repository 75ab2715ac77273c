#include "sysinfo/parsers/proc_partitions.h"

#include "sysinfo/parsers/line_fields.h"

namespace sysinfo {

void readPartitions(std::istream& text,
    std::function<void(std::string const& name)> const& partitionFound,
    std::function<void(DiskEntry const& disk)> const& diskFound)
{
    std::string heading;
    std::getline(text, heading);

    DiskEntry pending; // The name is empty if there is none.
    auto const close = [&] {
        if (!pending.name.empty())
            diskFound(pending);
        pending = {};
    };
    std::string major;
    std::string minor;
    DiskEntry entry;
    while (text >> major >> minor >> entry.blocks >> entry.name) {
        bool const isPartition = DIGITS.contains(entry.name.back());
        bool const belongs = !pending.name.empty() && entry.name.starts_with(pending.name);
        if (isPartition && belongs) {
            partitionFound(entry.name);
            ++pending.partitions;
            continue;
        }
        if (!belongs)
            close();
        if (!isPartition)
            pending = entry;
    }
    close();
}

}
