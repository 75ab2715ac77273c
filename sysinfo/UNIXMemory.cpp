#include "common/basic/SourceFile.h"
#include "common/platform/trace.h"
#include "sysinfo/UNIXSystemInformation.h"
#include "sysinfo/proc_meminfo.h"

namespace sysinfo {

bool UNIXSystemInformation::getMemoryInfo(uint64_t& totalKiB, uint64_t& freeKiB) const
{
    TRACE_SCOPE(
        "virtual bool sysinfo::UNIXSystemInformation::getMemoryInfo(uint64_t&, uint64_t&) const");
    dovrel::SourceFile file("/proc/meminfo");
    KernelMemory const memory = readKernelMemory(file);
    if (memory.total) {
        totalKiB = *memory.total;
        trace.write(3, "Total Memory: %d", totalKiB);
    }
    if (memory.free) {
        freeKiB = *memory.free;
        trace.write(3, "Free Memory: %d", freeKiB);
    }
    return memory.total && memory.free;
}

}
