#pragma once

#include "common/basic/ip_address.h"
#include "sysinfo/SystemInformation.h"

#include <set>
#include <string>
#include <vector>

namespace boost::filesystem {
class path;
}

namespace sysinfo {

/**
 * The whole disks under a device: kernel names, without "/dev/".
 *
 * A device-mapper node is looked up in /dev/mapper and its volume group in the output of
 * pvdisplay(8) -c; any other device directly under /dev is cut before its trailing digits. The
 * working directory is not used. Where the tool runs the caller waits until it ends, without a
 * limit. Not a cancellation point.
 *
 * @param device a canonical path.
 * @return empty for a device in another folder, with a trace line of level 2, and for a volume that
 * has no name in /dev/mapper or no line in the tool's output.
 * @throws boost::filesystem::filesystem_error where /dev/mapper cannot be read or a name in it
 * leads nowhere. A trace line of level 1 names the folder or the name, and the cause.
 */
DOVREL_EXPORT std::set<std::string> getRootDevices(boost::filesystem::path const& device);

/**
 * The queries that any UNIX has. Abstract: the operating system's own class adds disks, adapters
 * and `clone`.
 *
 * No operation of this class and of its records is a cancellation point: where a thread is
 * cancelled inside one (pthread_cancel(3)), the operation completes, and the thread ends at its own
 * next cancellation point, one of the asynchronous type on return.
 *
 * Each file under another process's lease (fcntl(2)) holds a query until the holder gives it up or
 * the kernel takes it, after the seconds in /proc/sys/fs/lease-break-time, 45 by default.
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
     * The kernel's "MemTotal:" and "MemFree:" in KiB; proc(5), /proc/meminfo.
     *
     * @return whether both were found; an output whose label was not is left alone.
     */
    bool getMemoryInfo(uint64_t& totalKiB, uint64_t& freeKiB) const override;

    /**
     * The state in /etc/dovrel/status.ini, which the engine writes, with the percentage of
     * /tmp/percent where there is one.
     *
     * /tmp/percent counts where it is a regular file, or a link to one, that begins with a number
     * from 0 to 100. Any other file there is not opened (without /proc: is closed unread), and a
     * read that fails counts as no percentage: the one that is computed from the counters stands.
     *
     * A status below 5000 gives a record without counters; 5000 is shown as 5500 where the operator
     * has answered "FinalSync" in /etc/dovrel/DRAnswer.ini, whatever the answer. Times are local,
     * mktime(3). The cause of a missing file is traced once, until it changes.
     */
    dovrel::value_ptr<CloneInfo> getCloneInfo(bool& unavailable) const override;

    /**
     * The mount points of block devices in /proc/mounts (proc(5)), in byte order, each with the
     * physical disks beneath it.
     *
     * The disks are those of the object's own `getPhysicalDisksInternal`; null records in its list
     * are skipped. Each mount's device is resolved anew, and `pvdisplay -c` runs once for each
     * device-mapper node. statvfs(3) of a filesystem that hangs holds the caller.
     *
     * @return false, with @p disks untouched, where /proc/mounts or the physical disks cannot be
     * read.
     * @throws boost::filesystem::filesystem_error as `getRootDevices` does.
     */
    bool getDisksInternal(std::vector<dovrel::value_ptr<DiskInfo>>& disks) const override;
    dovrel::string getLastError() const override;

    /** Counts the words of /proc/stat that begin with "cpu" and end in a digit (proc(5)). */
    bool getCPUsInternal(std::vector<dovrel::value_ptr<CPUInfo>>& processors) const override;

    /**
     * The results of `getsysinfo`, each text of at most 48 bytes; and Azure where the address of
     * the first adapter begins with 00:0d:3a.
     *
     * The adapters are those of the object's own `getNetworksInternal`. Kept: only the first one
     * counts; null records before it are skipped. Takes as long as that query.
     *
     * @return whether `getsysinfo` succeeded; the outputs are set in any case.
     * @throws what `getNetworksInternal` throws.
     */
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

    /** One line: `0 running at 1200 / 2400 MHz usage: 12.5%`. Takes 1 to 101 s, as
     * `getCurrentUsage` does. */
    dovrel::string toString() const override;

    /** /sys/devices/system/cpu/cpuN/cpufreq/bios_limit, in whole MHz (the kernel's
     * admin-guide/pm/cpufreq). */
    unsigned int getMaxSpeedInMHZ() const override;

    /** /sys/devices/system/cpu/cpuN/cpufreq/scaling_cur_freq, in whole MHz. */
    unsigned int getCurrentSpeedInMHZ() const override;

    /**
     * Load in percent: reads the counters every second until the busy counter has moved, 101 times
     * at most. Takes 1 to 101 s, whole seconds whatever signals the host has.
     *
     * Kept: differences and their sum are unsigned numbers of 32 bits. Where a counter goes back,
     * as the kernel's iowait does, or the processor goes offline in between, the result is outside
     * 0 to 100: -2.04 where iowait goes from 50 to 48 beside 100 idle ticks.
     *
     * A thread that is cancelled meanwhile (pthread_cancel(3)) ends after this operation, not
     * within.
     *
     * @return 0 where /proc/stat cannot be read or the processor stayed idle, not-a-number where
     * neither counter moved at all, minus infinity where the sum of both differences is 0.
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

/** A snapshot of a recovery. */
class DOVREL_EXPORT UNIXSystemInformation::UNIXCloneInfo : public SystemInformation::CloneInfo {
public:
    /** Times are seconds since the epoch, sizes MB of 1,048,576 bytes, @p throughput MB per second,
     * @p operationProgress percent. */
    UNIXCloneInfo(unsigned int operationID, unsigned int failedOperationID,
        unsigned int operationProgress, unsigned int totalFiles, unsigned int totalMBytes,
        unsigned int filesDone, unsigned int mbytesDone, long recoverStartTime, long recoverEndTime,
        long restoreStartTime, long restoreEndTime, double throughput, dovrel::string lastError);
    ~UNIXCloneInfo() override;

    /** One line: `Progress: 10 / 200 operation = 5000`. */
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
     * Reads the filesystem's size; statvfs(3), again where a signal interrupts it.
     *
     * @param name the mount point. @param parents the disks beneath, which are copied.
     */
    UNIXDiskInfo(dovrel::string const& name,
        std::vector<dovrel::value_ptr<PhysicalDiskInfo>> const& parents);
    ~UNIXDiskInfo() override;

    /** One line: `/boot 80000/100000 across 1 disks`, free and total bytes. */
    dovrel::string toString() const override;

    dovrel::string getDiskName() const override { return m_name; }
    std::vector<dovrel::value_ptr<PhysicalDiskInfo>> getParentDisks() const override
    {
        return m_parents;
    }

    /** @return blocks times preferred block size, 32 bits of each, as they were when the record was
     * made; 0 where the filesystem could not be asked. */
    uint64_t getDiskSizeInBytes() const override { return m_sizeInBytes; }

    /** Calls statvfs(3) on every call. @return the blocks that are free to the superuser, times the
     * preferred block size; 0 where the filesystem cannot be asked. */
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
    UNIXNetworkInfo(dovrel::string name, dovrel::string hostname, dovrel::macaddress_cpp const& mac,
        std::vector<dovrel::ip_address> ipAddrs, std::vector<dovrel::string> netmasks,
        std::vector<dovrel::ip_address> dnsAddrs);
    ~UNIXNetworkInfo() override;

    /** One line: `eth0 (00:0c:29:aa:bb:cc:00:00) [10.0.0.5,fe80::1] [255.255.255.0]`, `<invalid>`
     * for what is no address. */
    dovrel::string toString() const override;

    /** @return the machine's name; gethostname(2). */
    dovrel::string getHostname() const override { return m_hostname; }
    dovrel::string getName() const override { return m_name; }
    dovrel::macaddress_cpp getMACAddr() const override { return m_mac; }

    /** @return texts, dotted where they could be read, in the order of the addresses that have one.
     */
    std::vector<dovrel::string> getNetmasks() const override { return m_netmasks; }
    std::vector<dovrel::ip_address> getIPAddrs() const override { return m_ipAddrs; }
    std::vector<dovrel::ip_address> getDNSAddrs() const override { return m_dnsAddrs; }
    std::vector<dovrel::ip_address> getGatewayAddrs() const override { return m_gatewayAddrs; }

    NetworkInfo* clone() const override;
    void destroy() override;

    /**
     * A mask in dotted form.
     *
     * A text of hexadecimal digits alone, or one that begins with "0x", is read as a number: `24`
     * is `0.0.0.36`. Any other is returned as it is, and so is one that is no number of 32 bits.
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
