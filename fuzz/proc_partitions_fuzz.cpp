// The partitions and disks of /proc/partitions, and their order, agree with the reference parser.

#include "fuzz/expect.h"
#include "sysinfo/parsers/proc_partitions.h"
#include "tests/reference/proc_partitions.h"

#include <sstream>

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size)
{
    std::string const text(reinterpret_cast<char const*>(data), size);
    std::istringstream stream(text);
    reference::PartitionTable found;
    sysinfo::readPartitions(
        stream, [&](std::string const& name) { found.order.push_back(name); },
        [&](sysinfo::DiskEntry const& disk) {
            found.order.push_back(disk.name);
            found.disks.push_back({disk.name, disk.blocks, disk.partitions});
        });
    reference::PartitionTable const expected = reference::readPartitions(text);
    fuzz::expect(found.order == expected.order && found.disks == expected.disks);
    return 0;
}
