#include "common/basic/SourceFile.h"
#include "common/platform/CancellationBlock.h"
#include "common/platform/trace.h"
#include "sysinfo/UNIXSystemInformation.h"
#include "sysinfo/parsers/proc_meminfo.h"

namespace sysinfo {

bool UNIXSystemInformation::getMemoryInfo(uint64_t& totalKiB, uint64_t& freeKiB) const
{
    DOVREL_TRACE_SCOPE(
        "virtual bool sysinfo::UNIXSystemInformation::getMemoryInfo(uint64_t&, uint64_t&) const");
    dovrel::CancellationBlock const block;
    dovrel::SourceFile file("/proc/meminfo");
    bool const isComplete = readKernelMemory(file, [&](KernelFigure figure, uint64_t kib) {
        if (figure == KernelFigure::TOTAL) {
            totalKiB = kib;
            trace.write(3, "Total Memory: %d", kib);
        } else {
            freeKiB = kib;
            trace.write(3, "Free Memory: %d", kib);
        }
    });
    if (file.isTooLarge())
        trace.write(1, "Failed to read /proc/meminfo: it is too large");
    return isComplete && !file.isTooLarge();
}

}
