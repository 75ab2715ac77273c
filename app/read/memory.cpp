#include "app/read/Reader.h"

#include <limits>

namespace app {

namespace {

/** A number of KiB that 64 bits of bytes cannot hold is no size of a memory. */
constexpr uint64_t LARGEST_KIB = std::numeric_limits<uint64_t>::max() / 1024;

/** An output that a query left as it was. */
constexpr uint64_t UNTOUCHED = std::numeric_limits<uint64_t>::max();

std::optional<uint64_t> bytes(uint64_t kib)
{
    return kib > LARGEST_KIB ? std::nullopt : std::optional(kib * 1024);
}

}

void readMemory(Reader& reader, Machine& machine)
{
    uint64_t totalKiB = 0; // The library raises it to the sum of the modules.
    uint64_t freeKiB = UNTOUCHED;
    bool const complete = reader.query(machine,
        {Subject::MEMORY, "the memory", "the kernel does not report both total and free",
            "/proc/meminfo, dmidecode"},
        [&] { return reader.library().getMemoryInfo(totalKiB, freeKiB); });
    Memory memory;
    memory.free = bytes(freeKiB);
    // No machine has a memory of 0.
    memory.total = totalKiB == 0 ? std::nullopt : bytes(totalKiB);
    if (memory.total) {
        uint64_t kernelKiB = 0;
        uint64_t ignored = 0;
        (void)reader.library().UNIXSystemInformation::getMemoryInfo(kernelKiB, ignored);
        memory.source = totalKiB == kernelKiB ? MemorySource::KERNEL : MemorySource::MODULES;
    }
    if (complete || memory.total || memory.free)
        machine.memory = memory;
}

}
