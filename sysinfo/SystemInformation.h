#pragma once

#include "common/basic/Cloneable.h"
#include "common/basic/export.h"
#include "common/basic/macaddress.h"
#include "common/basic/value_ptr.h"
#include "common/basic/wide_string.h"
#include "common/platform/Mutex.h"

#include <cstdint>
#include <string>
#include <vector>

namespace dovrel {
class ip_address;
}

/**
 * What the machine consists of.
 *
 * Errors: a query returns `bool`, writes the cause to the trace where it knows one, and leaves the
 * records found until then in the caller's list. Ownership: records belong to the caller through
 * their `value_ptr`; they share nothing and may outlive the object that made them. Threads: an
 * object and its records belong to one thread at a time; different objects are independent. Every
 * query reads its sources afresh.
 *
 * The order of the virtual operations is part of the binary interface.
 */
namespace sysinfo {

/** Reserved first base of the service object. */
class DOVREL_EXPORT SystemInformation_Precursor { };

class DOVREL_EXPORT SystemInformation : public SystemInformation_Precursor,
                                        public dovrel::Cloneable<SystemInformation> {
public:
    /** What the machine runs under. `HYPERVISOR_OTHER` stands for any that is not known by name. */
    enum HypervisorType {
        HYPERVISOR_NONE = 0,
        HYPERVISOR_VMWARE = 1,
        HYPERVISOR_HYPERV = 2,
        HYPERVISOR_XEN = 3,
        HYPERVISOR_KVM = 4,
        HYPERVISOR_QEMU = 5,
        HYPERVISOR_VIRTUALBOX = 6,
        HYPERVISOR_PARALLELS = 7,
        HYPERVISOR_OTHER = 8,
        HYPERVISOR_BHYVE = 9,
        HYPERVISOR_AMAZON = 10,
        HYPERVISOR_AZURE = 11
    };

    class Info;
    class DiskInfo;
    class PhysicalDiskInfo;
    class CPUInfo;
    class NetworkInfo;
    class CloneInfo;

    /** Room for a host's own wrapper of a list query: a word of its own, the records, and a lock
     * for both. */
    template <class Record> struct ListCache {
        uint32_t word = 0;
        std::vector<dovrel::value_ptr<Record>> records;
        dovrel::Mutex mutex;
    };

    /** Room for a host's own wrapper of the memory query. */
    struct MemoryCache {
        uint32_t words[5] = {};
        dovrel::Mutex mutex;
    };

    /**
     * Installed and free memory.
     *
     * @param totalKiB total memory in KiB. @param freeKiB free memory in KiB.
     * @return false where the kernel's figures cannot be read.
     */
    virtual bool getMemoryInfo(uint64_t& totalKiB, uint64_t& freeKiB) const = 0;

    /**
     * The state of the recovery that the host product's engine is running.
     *
     * @param unavailable set to false exactly when a record is returned.
     * @return the record, or null.
     */
    virtual dovrel::value_ptr<CloneInfo> getCloneInfo(bool& unavailable) const = 0;

    /** Appends the physical disks in the kernel's order, USB storage left out. */
    virtual bool getPhysicalDisksInternal(
        std::vector<dovrel::value_ptr<PhysicalDiskInfo>>& disks) const = 0;

    /** Appends the mounted filesystems of block devices in ascending order of their mount points.
     */
    virtual bool getDisksInternal(std::vector<dovrel::value_ptr<DiskInfo>>& disks) const = 0;

    /** @return the text of the last error; empty in a new object. */
    virtual dovrel::string getLastError() const = 0;

    /**
     * Appends one record per logical processor, numbered densely from 0.
     *
     * @return false, with @p processors untouched, where /proc/stat cannot be opened.
     */
    virtual bool getCPUsInternal(std::vector<dovrel::value_ptr<CPUInfo>>& processors) const = 0;

    /** Appends the network adapters in the order in which the system's tool lists them. */
    virtual bool getNetworksInternal(
        std::vector<dovrel::value_ptr<NetworkInfo>>& adapters) const = 0;

    /** System vendor, product name, product version, and the hypervisor that the machine runs
     * under. */
    virtual bool getSystemInfo(std::string& vendor, std::string& product, std::string& version,
        HypervisorType& hypervisor) const = 0;

    /** @return a new service object for the running platform. @throws std::bad_alloc */
    static dovrel::value_ptr<SystemInformation> create();

    /**
     * Storage for the host's own wrappers of the queries. Made when the library is loaded, in this
     * order, and destroyed in the reverse order when it is unloaded. The library itself neither
     * reads nor fills them.
     */
    static ListCache<PhysicalDiskInfo> m_diskCache;
    static ListCache<DiskInfo> m_fsCache;
    static ListCache<CPUInfo> m_cpuCache;
    static ListCache<NetworkInfo> m_netCache;
    static MemoryCache m_memCache;
};

/** A fact that can tell itself in one line. */
class DOVREL_EXPORT SystemInformation::Info {
public:
    virtual ~Info() = default;
    virtual dovrel::string toString() const = 0;

protected:
    Info() = default;
    Info(Info const&) = default;
    Info& operator=(Info const&) = default;
};

/** A mounted filesystem. */
class DOVREL_EXPORT SystemInformation::DiskInfo : public Info, public dovrel::Cloneable<DiskInfo> {
public:
    /** @return the mount point. */
    virtual dovrel::string getDiskName() const = 0;
    virtual std::vector<dovrel::value_ptr<PhysicalDiskInfo>> getParentDisks() const = 0;
    virtual uint64_t getDiskSizeInBytes() const = 0;
    virtual uint64_t getDiskFreeInBytes() const = 0;
};

/** A physical disk. */
class DOVREL_EXPORT SystemInformation::PhysicalDiskInfo
    : public Info,
      public dovrel::Cloneable<PhysicalDiskInfo> {
public:
    /** @return the kernel's name of the disk, without "/dev/". */
    virtual dovrel::string getDiskID() const = 0;
    virtual unsigned int getDiskNumberOfPartitions() const = 0;
    virtual uint64_t getDiskTotalSizeInBytes() const = 0;
    virtual dovrel::string getDiskCaption() const = 0;
};

/** A logical processor. */
class DOVREL_EXPORT SystemInformation::CPUInfo : public Info, public dovrel::Cloneable<CPUInfo> {
public:
    /** @return the highest speed in MHz, 0 where the kernel does not tell it. */
    virtual unsigned int getMaxSpeedInMHZ() const = 0;

    /** @return the present speed in MHz, 0 where the kernel does not tell it. */
    virtual unsigned int getCurrentSpeedInMHZ() const = 0;

    /** Samples the load. Holds the caller for one second at least. @return percent, 0 to 100. */
    virtual float getCurrentUsage() const = 0;
};

/** A network adapter. */
class DOVREL_EXPORT SystemInformation::NetworkInfo : public Info,
                                                     public dovrel::Cloneable<NetworkInfo> {
public:
    virtual dovrel::string getHostname() const = 0;
    virtual dovrel::string getName() const = 0;
    virtual dovrel::macaddress_cpp getMACAddr() const = 0;
    virtual std::vector<dovrel::string> getNetmasks() const = 0;
    virtual std::vector<dovrel::ip_address> getIPAddrs() const = 0;
    virtual std::vector<dovrel::ip_address> getDNSAddrs() const = 0;
    virtual std::vector<dovrel::ip_address> getGatewayAddrs() const = 0;
};

/** A snapshot of a running recovery. Times are seconds since the epoch, sizes MB of 1,048,576
 * bytes. */
class DOVREL_EXPORT SystemInformation::CloneInfo : public Info,
                                                   public dovrel::Cloneable<CloneInfo> {
public:
    virtual unsigned int getOperationID() const = 0;
    virtual unsigned int getFailedOperationID() const = 0;
    /** @return percent. */
    virtual unsigned int getOperationProgress() const = 0;
    virtual unsigned int getTotalFiles() const = 0;
    virtual unsigned int getTotalMBytes() const = 0;
    virtual unsigned int getFilesDone() const = 0;
    virtual unsigned int getMBytesDone() const = 0;
    virtual long getRecoverStartTime() const = 0;
    virtual long getRecoverEndTime() const = 0;
    virtual long getRestoreStartTime() const = 0;
    virtual long getRestoreEndTime() const = 0;
    /** @return whole MB per second. */
    virtual double getThroughput() const = 0;
    virtual dovrel::string getLastError() const = 0;
};

}
