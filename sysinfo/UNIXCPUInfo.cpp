#include "common/basic/SourceFile.h"
#include "common/basic/text_cast.h"
#include "common/platform/CancellationBlock.h"
#include "common/platform/trace.h"
#include "sysinfo/UNIXSystemInformation.h"
#include "sysinfo/parsers/proc_stat.h"

#include <cerrno>
#include <cstdint>
#include <ctime>

namespace sysinfo {

namespace {

/** @return the speed in one of the processor's cpufreq files in whole MHz; 0 if the file cannot be
 * read or does not begin with a number. */
unsigned int readSpeedInMHZ(unsigned int index, char const* file)
{
    static constexpr char DEVICES[] = "/sys/devices/system/cpu/cpu";
    dovrel::string const path = dovrel::str_cast(index, dovrel::string(DEVICES)) + file;
    constexpr unsigned int KHZ_PER_MHZ = 1000;
    dovrel::SourceFile text(path);
    unsigned int kilohertz = 0;
    // The kernel writes "<unknown>" if the driver has no figure.
    return text >> kilohertz ? kilohertz / KHZ_PER_MHZ : 0;
}

/** Sleeps for a whole second, signals or not: the load of the few milliseconds between two signals
 * would be 0, 50 or 100 %. */
void sleepOneSecond()
{
    timespec end{};
    ::clock_gettime(CLOCK_MONOTONIC, &end);
    ++end.tv_sec;
    while (::clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &end, nullptr) == EINTR) { }
}

}

UNIXSystemInformation::UNIXCPUInfo::UNIXCPUInfo(unsigned int index) : m_index(index)
{
}

UNIXSystemInformation::UNIXCPUInfo::~UNIXCPUInfo() = default;

dovrel::string UNIXSystemInformation::UNIXCPUInfo::toString() const
{
    dovrel::CancellationBlock const block;
    float const usage = getCurrentUsage();
    unsigned int const maximum = getMaxSpeedInMHZ();
    unsigned int const current = getCurrentSpeedInMHZ();
    return dovrel::str_cast(m_index) + L" running at " + dovrel::str_cast(current) + L" / "
        + dovrel::str_cast(maximum) + L" MHz usage: " + dovrel::str_cast(usage) + L"%";
}

unsigned int UNIXSystemInformation::UNIXCPUInfo::getMaxSpeedInMHZ() const
{
    dovrel::CancellationBlock const block;
    return readSpeedInMHZ(m_index, "/cpufreq/bios_limit");
}

unsigned int UNIXSystemInformation::UNIXCPUInfo::getCurrentSpeedInMHZ() const
{
    dovrel::CancellationBlock const block;
    return readSpeedInMHZ(m_index, "/cpufreq/scaling_cur_freq");
}

float UNIXSystemInformation::UNIXCPUInfo::getCurrentUsage() const
{
    DOVREL_TRACE_SCOPE(
        "virtual float sysinfo::UNIXSystemInformation::UNIXCPUInfo::getCurrentUsage() const");
    dovrel::CancellationBlock const block;
    unsigned int idle0 = 0;
    unsigned int busy0 = 0;
    if (!readCounters(idle0, busy0))
        return 0.0F;

    // Kept: waits until the busy counter moves, which takes up to 101 seconds on an idle processor.
    // The load is computed only from counters that moved.
    unsigned int idle1 = 0;
    unsigned int busy1 = 0;
    for (int triesLeft = 100; triesLeft >= 0; --triesLeft) {
        sleepOneSecond();
        if (!readCounters(idle1, busy1))
            return 0.0F;
        if (busy1 != busy0)
            break;
    }

    // Unsigned differences are right even if a counter wraps at 2^32 between the samples. Kept:
    // their sum has 32 bits too. So a counter that goes back a little, as the kernel's iowait does,
    // gives a result slightly outside 0 to 100.
    uint32_t const idle = idle1 - idle0;
    uint32_t const total = busy1 - busy0 + idle;
    // Kept: not-a-number if neither counter moved. Such a processor is neither idle nor busy.
    auto const usage = static_cast<float>(
        100 - (static_cast<long double>(idle) / static_cast<long double>(total)) * 100);
    trace.write(3, "Calculating CPU usage: %d %d %d %d -> %f", idle0, busy0, idle1, busy1, usage);
    return usage;
}

void UNIXSystemInformation::UNIXCPUInfo::destroy()
{
    dovrel::deleteUnlessNull(this);
}

SystemInformation::CPUInfo* UNIXSystemInformation::UNIXCPUInfo::clone() const
{
    return new UNIXCPUInfo(*this);
}

bool UNIXSystemInformation::UNIXCPUInfo::readCounters(unsigned int& idle, unsigned int& busy) const
{
    DOVREL_TRACE_SCOPE(
        "bool sysinfo::UNIXSystemInformation::UNIXCPUInfo::readCounters(unsigned int&, "
        "unsigned int&) const");
    dovrel::CancellationBlock const block;
    dovrel::SourceFile file("/proc/stat");
    if (!file) {
        trace.write(1, "Failed to read: /proc/stat");
        return false;
    }
    dovrel::string const label = dovrel::str_cast(m_index, dovrel::string("cpu"));
    ProcessorCounters counters{idle, busy};
    if (!findProcessorCounters(file, static_cast<char const*>(label), counters)
        && file.isTooLarge()) {
        trace.write(1, "Failed to read /proc/stat: it is too large");
        return false;
    }
    idle = counters.idle;
    busy = counters.busy;
    trace.write(3, "Counted CPU as: %d/%d", idle, busy);
    return true;
}

}
