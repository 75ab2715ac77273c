#include "sysinfo/UNIXSystemInformation.h"

#include "common/basic/SourceFile.h"
#include "common/platform/CancellationBlock.h"
#include "common/platform/trace.h"
#include "sysinfo/parsers/proc_stat.h"

namespace sysinfo {

UNIXSystemInformation::~UNIXSystemInformation() = default;

dovrel::string UNIXSystemInformation::getLastError() const
{
    return m_lastError;
}

bool UNIXSystemInformation::getCPUsInternal(
    std::vector<dovrel::value_ptr<CPUInfo>>& processors) const
{
    DOVREL_TRACE_SCOPE(
        "virtual bool sysinfo::UNIXSystemInformation::getCPUsInternal("
        "std::vector<dovrel::value_ptr<sysinfo::SystemInformation::CPUInfo>, "
        "std::allocator<dovrel::value_ptr<sysinfo::SystemInformation::CPUInfo> > >&) const");
    dovrel::CancellationBlock const block;
    dovrel::SourceFile file("/proc/stat");
    if (!file) {
        trace.write(1, "Failed to open: /proc/stat");
        return false;
    }
    uint32_t const count = countProcessors(
        file, [&trace](std::string const& word) { trace.write(3, "Found CPU: %s", word); });
    if (file.isTooLarge()) {
        trace.write(1, "Failed to read /proc/stat: it is too large");
        return false;
    }
    // Kept: numbers without gaps, even if offline processors leave gaps in the kernel's numbers.
    // Hosts use the number as an index.
    for (uint32_t i = 0; i < count; ++i)
        processors.push_back(dovrel::value_ptr<CPUInfo>(new UNIXCPUInfo(i)));
    return true;
}

}
