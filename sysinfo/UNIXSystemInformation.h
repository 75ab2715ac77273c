#pragma once

#include "sysinfo/SystemInformation.h"

namespace sysinfo {

/** What any UNIX can tell. Abstract: the operating system's own class adds disks, adapters and
 * `clone`. */
class DOVREL_EXPORT UNIXSystemInformation : public SystemInformation {
public:
    class UNIXCPUInfo;

    UNIXSystemInformation() = default;
    UNIXSystemInformation(UNIXSystemInformation const&) = default;
    UNIXSystemInformation& operator=(UNIXSystemInformation const&) = default;
    ~UNIXSystemInformation() override;

    /**
     * The kernel's "MemTotal:" and "MemFree:" in KiB; proc(5), /proc/meminfo.
     *
     * @return whether both were found; an output whose label was not is left alone.
     */
    bool getMemoryInfo(uint64_t& totalKiB, uint64_t& freeKiB) const override;
    dovrel::value_ptr<CloneInfo> getCloneInfo(bool& unavailable) const override;
    bool getDisksInternal(std::vector<dovrel::value_ptr<DiskInfo>>& disks) const override;
    dovrel::string getLastError() const override;

    /** Counts the words of /proc/stat that begin with "cpu" and end in a digit (proc(5)). */
    bool getCPUsInternal(std::vector<dovrel::value_ptr<CPUInfo>>& processors) const override;

    bool getSystemInfo(std::string& vendor, std::string& product, std::string& version,
        HypervisorType& hypervisor) const override;

protected:
    /** Queries are `const` and leave it alone: it is for derived classes to set. */
    dovrel::string m_lastError;
};

/** One processor; every question reads the kernel's files again. */
class DOVREL_EXPORT UNIXSystemInformation::UNIXCPUInfo : public SystemInformation::CPUInfo {
public:
    /** @param index the N of the kernel's label "cpuN" and of /sys/devices/system/cpu/cpuN. */
    explicit UNIXCPUInfo(unsigned int index);
    ~UNIXCPUInfo() override;

    /** One line: `0 running at 1200 / 2400 MHz usage: 12.5%`. Holds the caller as `getCurrentUsage`
     * does. */
    dovrel::string toString() const override;

    /** /sys/devices/system/cpu/cpuN/cpufreq/bios_limit, in whole MHz (the kernel's
     * admin-guide/pm/cpufreq). */
    unsigned int getMaxSpeedInMHZ() const override;

    /** /sys/devices/system/cpu/cpuN/cpufreq/scaling_cur_freq, in whole MHz. */
    unsigned int getCurrentSpeedInMHZ() const override;

    /**
     * Load in percent: samples the counters every second until the busy counter has moved, 101
     * times at most.
     *
     * @return 0 where /proc/stat cannot be read or the processor stayed idle, not-a-number where
     * neither counter moved at all.
     */
    float getCurrentUsage() const override;

    void destroy() override;
    CPUInfo* clone() const override;

    /**
     * This processor's counters since boot, in clock ticks modulo 2^32 (proc(5), /proc/stat).
     *
     * Busy is user + nice + system + iowait + irq + softirq; waiting for a disk counts as busy on
     * purpose.
     *
     * @return false where /proc/stat cannot be opened; true otherwise, with both outputs untouched
     * where the file has no line for this processor.
     */
    bool readCounters(unsigned int& idle, unsigned int& busy) const;

private:
    unsigned int m_index;
};

}
