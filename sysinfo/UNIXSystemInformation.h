#pragma once

#include "sysinfo/SystemInformation.h"

#include <boost/filesystem/path.hpp>

#include <set>
#include <string>
#include <vector>

namespace sysinfo {

/**
 * The kernel names of the whole disks under a device, without "/dev/".
 *
 * For a device-mapper node: finds its name in /dev/mapper, and its volume group's devices in the
 * output of pvdisplay(8) -c. For any other device directly under /dev: its name without trailing
 * digits. Does not use the working directory.
 *
 * Not a cancellation point. If it runs `pvdisplay`, it waits until the tool ends, without a limit.
 * An output of more than 64 MiB counts as none, with a trace message of level 1.
 *
 * @param device a canonical path.
 * @return empty for a device in another folder, with a trace message of level 2, and for a
 * device-mapper node that has no name in /dev/mapper or no line in the tool's output. Kept: the
 * volume group is compared with the first field of a line, which in today's output is a device; so
 * no line matches.
 * @throws boost::filesystem::filesystem_error if /dev/mapper cannot be read, contains a dangling
 * link, or has 2^17 names before the node's. A trace message of level 1 contains the path and
 * the cause.
 * @see docs/queries/root-devices.md
 */
DOVREL_EXPORT std::set<std::string> getRootDevices(boost::filesystem::path const& device);

/**
 * The queries that are the same on every UNIX. Abstract: the class of an operating system adds the
 * disks, the adapters and `clone`.
 *
 * `SystemInformation` documents each operation and what applies to all of them: errors, threads,
 * cancellation and leases. The comments here add the details of this implementation.
 */
class DOVREL_EXPORT UNIXSystemInformation : public SystemInformation {
public:
    class UNIXCPUInfo;
    class UNIXCloneInfo;
    class UNIXDiskInfo;
    class UNIXNetworkInfo;

    UNIXSystemInformation() = default;
    UNIXSystemInformation(UNIXSystemInformation const&) = default;
    UNIXSystemInformation& operator=(UNIXSystemInformation const&) = default;
    ~UNIXSystemInformation() override;

    /**
     * Total and free memory in KiB as the kernel reports them: "MemTotal:" and "MemFree:" in
     * /proc/meminfo, proc(5). Runs no tool: takes one read of that file.
     *
     * @return false if the file cannot be opened or lacks one of the figures in its first 64 MiB.
     * An output whose figure is missing is unchanged.
     */
    bool getMemoryInfo(uint64_t& totalKiB, uint64_t& freeKiB) const override;

    /**
     * The state in /etc/dovrel/status.ini, with the percentage in /tmp/percent.
     *
     * /tmp/percent replaces the computed percentage if it is a regular file, or a link to one, and
     * begins with a number from 0 to 100. Another kind of file is not opened; without /proc it may
     * be opened and closed unread. If a read of it fails, the computed percentage stays.
     *
     * A status below 5000 gives a record without counters. Kept: status 5000 becomes 5500 if
     * /etc/dovrel/DRAnswer.ini contains any answer to "FinalSync". Times are local, mktime(3).
     * The cause of an unreadable status.ini is traced only if it differs from the previous one.
     */
    dovrel::value_ptr<CloneInfo> getCloneInfo(bool& unavailable) const override;

    /**
     * Resolves the device of each mount on every call, and runs `pvdisplay -c` once for each
     * device-mapper node, without a limit. Skips null records in the list of
     * `getPhysicalDisksInternal`.
     *
     * @throws boost::filesystem::filesystem_error as `getRootDevices` does.
     */
    bool getDisksInternal(std::vector<dovrel::value_ptr<DiskInfo>>& disks) const override;
    dovrel::string getLastError() const override;

    /** Counts the words of /proc/stat that begin with "cpu" and end in a digit, proc(5). */
    bool getCPUsInternal(std::vector<dovrel::value_ptr<CPUInfo>>& processors) const override;

    /** Each string has at most 48 bytes. Kept: only the first adapter's MAC address is compared
     * with the cloud's prefix. Null records before that adapter are skipped. */
    bool getSystemInfo(std::string& vendor, std::string& product, std::string& version,
        HypervisorType& hypervisor) const override;

protected:
    /** For derived classes. No query sets it. */
    dovrel::string m_lastError;
};

/** One processor. Every getter reads the kernel's files on every call. */
class DOVREL_EXPORT UNIXSystemInformation::UNIXCPUInfo : public SystemInformation::CPUInfo {
public:
    /** @param index the N of "cpuN" in /proc/stat and of /sys/devices/system/cpu/cpuN. */
    explicit UNIXCPUInfo(unsigned int index);
    ~UNIXCPUInfo() override;

    /** @return one line: `0 running at 1200 / 2400 MHz usage: 12.5%`. Takes as long as
     * `getCurrentUsage`. */
    dovrel::string toString() const override;

    /** @return whole MHz from /sys/devices/system/cpu/cpuN/cpufreq/bios_limit (the kernel's
     * admin-guide/pm/cpufreq); 0 if it cannot be read or does not begin with a number. */
    unsigned int getMaxSpeedInMHZ() const override;

    /** The same from /sys/devices/system/cpu/cpuN/cpufreq/scaling_cur_freq. */
    unsigned int getCurrentSpeedInMHZ() const override;

    /**
     * The load in percent between two samples of `readCounters`.
     *
     * Repeats the second sample every second until the busy counter has moved, at most 101 times.
     * So it takes 1 to 101 seconds, signals or not. A cancellation takes effect after it.
     *
     * Kept: the differences and their sum are unsigned numbers of 32 bits. If a counter goes back,
     * as the kernel's iowait does, or the processor goes offline, the result is outside 0 to 100:
     * -2.04 if iowait goes from 50 to 48 during 100 idle ticks.
     *
     * @return 0 if /proc/stat cannot be read or the processor stayed idle; not-a-number if neither
     * counter moved; minus infinity if the sum of the differences is 0 although both moved.
     */
    float getCurrentUsage() const override;

    void destroy() override;
    CPUInfo* clone() const override;

    /**
     * The processor's counters since boot in clock ticks modulo 2^32, from /proc/stat (proc(5)).
     *
     * Busy is user + nice + system + iowait + irq + softirq. Kept: waiting for a disk (iowait)
     * counts as busy.
     *
     * Takes one read of that file.
     *
     * @return false if /proc/stat cannot be opened, or has 64 MiB without a line for this
     * processor. If the file ends without one, the result is true. In both cases the outputs are
     * unchanged.
     */
    bool readCounters(unsigned int& idle, unsigned int& busy) const;

private:
    unsigned int m_index;
};

/** A snapshot of a recovery. */
class DOVREL_EXPORT UNIXSystemInformation::UNIXCloneInfo : public SystemInformation::CloneInfo {
public:
    /** Times are seconds since the epoch, sizes are MB of 1,048,576 bytes, @p throughput is in MB
     * per second, @p operationProgress in percent. */
    UNIXCloneInfo(unsigned int operationID, unsigned int failedOperationID,
        unsigned int operationProgress, unsigned int totalFiles, unsigned int totalMBytes,
        unsigned int filesDone, unsigned int mbytesDone, long recoverStartTime, long recoverEndTime,
        long restoreStartTime, long restoreEndTime, double throughput, dovrel::string lastError);
    ~UNIXCloneInfo() override;

    /** @return one line: `Progress: 10 / 200 operation = 5000`. */
    dovrel::string toString() const override;

    unsigned int getOperationID() const override { return m_operationID; }
    unsigned int getFailedOperationID() const override { return m_failedOperationID; }
    unsigned int getOperationProgress() const override { return m_operationProgress; }
    unsigned int getTotalFiles() const override { return m_totalFiles; }
    unsigned int getTotalMBytes() const override { return m_totalMBytes; }
    unsigned int getFilesDone() const override { return m_filesDone; }
    unsigned int getMBytesDone() const override { return m_mbytesDone; }
    long getRecoverStartTime() const override { return m_recoverStartTime; }
    long getRecoverEndTime() const override { return m_recoverEndTime; }
    long getRestoreStartTime() const override { return m_restoreStartTime; }
    long getRestoreEndTime() const override { return m_restoreEndTime; }
    double getThroughput() const override { return m_throughput; }
    dovrel::string getLastError() const override { return m_lastError; }

    void destroy() override;
    CloneInfo* clone() const override;

private:
    unsigned int m_operationID;
    unsigned int m_failedOperationID;
    unsigned int m_operationProgress;
    unsigned int m_totalFiles;
    unsigned int m_totalMBytes;
    unsigned int m_filesDone;
    unsigned int m_mbytesDone;
    long m_recoverStartTime;
    long m_recoverEndTime;
    long m_restoreStartTime;
    long m_restoreEndTime;
    double m_throughput;
    dovrel::string m_lastError;
};

/** A mounted filesystem. */
class DOVREL_EXPORT UNIXSystemInformation::UNIXDiskInfo : public SystemInformation::DiskInfo {
public:
    /**
     * Reads the filesystem's size. Repeats statvfs(3) if a signal interrupts it, and waits as long
     * as the filesystem does.
     *
     * @param name the mount point.
     * @param parents the disks beneath the filesystem. They are copied.
     */
    UNIXDiskInfo(dovrel::string const& name,
        std::vector<dovrel::value_ptr<PhysicalDiskInfo>> const& parents);
    ~UNIXDiskInfo() override;

    /** @return one line with the free and total bytes: `/boot 80000/100000 across 1 disks`. Calls
     * `getDiskFreeInBytes`. */
    dovrel::string toString() const override;

    dovrel::string getDiskName() const override { return m_name; }
    std::vector<dovrel::value_ptr<PhysicalDiskInfo>> getParentDisks() const override
    {
        return m_parents;
    }

    /** @return f_blocks times f_bsize of statvfs(3) at the time when the record was made; 0 if
     * statvfs failed. Kept: only the low 32 bits of each count. */
    uint64_t getDiskSizeInBytes() const override { return m_sizeInBytes; }

    /** @return f_bfree times f_bsize of statvfs(3), which it calls on every call; 0 if statvfs
     * fails. */
    uint64_t getDiskFreeInBytes() const override;

    void destroy() override;
    DiskInfo* clone() const override;

private:
    dovrel::string m_name;
    uint64_t m_sizeInBytes;
    std::vector<dovrel::value_ptr<PhysicalDiskInfo>> m_parents;
};

/** A network adapter. */
class DOVREL_EXPORT UNIXSystemInformation::UNIXNetworkInfo : public SystemInformation::NetworkInfo {
public:
    UNIXNetworkInfo();

    /** Stores the arguments. A record of this class has no gateways. */
    UNIXNetworkInfo(dovrel::string name, dovrel::string hostname, dovrel::macaddress_cpp const& mac,
        std::vector<dovrel::ip_address> ipAddrs, std::vector<dovrel::string> netmasks,
        std::vector<dovrel::ip_address> dnsAddrs);
    ~UNIXNetworkInfo() override;

    /** @return one line: `eth0 (00:0c:29:aa:bb:cc:00:00) [10.0.0.5,fe80::1] [255.255.255.0]`. An
     * invalid address is `<invalid>`. */
    dovrel::string toString() const override;

    dovrel::string getHostname() const override { return m_hostname; }
    dovrel::string getName() const override { return m_name; }
    dovrel::macaddress_cpp getMACAddr() const override { return m_mac; }

    std::vector<dovrel::string> getNetmasks() const override { return m_netmasks; }
    std::vector<dovrel::ip_address> getIPAddrs() const override { return m_ipAddrs; }
    std::vector<dovrel::ip_address> getDNSAddrs() const override { return m_dnsAddrs; }
    std::vector<dovrel::ip_address> getGatewayAddrs() const override { return m_gatewayAddrs; }

    NetworkInfo* clone() const override;
    void destroy() override;

    /**
     * Converts a netmask to dotted form.
     *
     * @param mask a hexadecimal number if it begins with "0x" or consists of hexadecimal digits
     * only. Kept: `24` is `0.0.0.36`.
     * @return @p mask unchanged if it is no such number or exceeds 32 bits.
     */
    static dovrel::string convertMask(dovrel::string const& mask);

private:
    dovrel::string m_name;
    dovrel::string m_hostname;
    dovrel::macaddress_cpp m_mac;
    std::vector<dovrel::ip_address> m_ipAddrs;
    std::vector<dovrel::string> m_netmasks;
    std::vector<dovrel::ip_address> m_dnsAddrs;
    std::vector<dovrel::ip_address> m_gatewayAddrs;
};

}
