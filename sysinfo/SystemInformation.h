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
 * The system information interface: one service object and one record class per kind of fact.
 *
 * **Errors.** A query returns `bool`. `false` means that a source could not be read; the list then
 * holds the records found until then. The cause is in the trace (`common/platform/trace.h`, level
 * 1), not in `getLastError()`: queries are `const` and set no error text. Some queries throw; the
 * exceptions stand at each operation, and a message of level 1 comes before each. Every operation
 * that allocates may throw `std::bad_alloc`.
 *
 * **Ownership.** Records belong to the caller through their `value_ptr`. They share no state and
 * may outlive the service object. An appended element is never null.
 *
 * **Freshness.** Every query reads its sources on every call. Nothing is cached.
 *
 * **Threads.** An object and its records belong to one thread at a time. Different objects are
 * independent. The library starts no thread, and takes no lock in a query unless its trace is on.
 * No query and no getter is a cancellation point: pthread_cancel(3) takes effect after it has
 * returned, for a load after up to 101 seconds.
 *
 * **Leases.** Each file under another process's lease (fcntl(2)) holds a query until the holder
 * gives the lease up or the kernel takes it, which is after the seconds in
 * /proc/sys/fs/lease-break-time, 45 by default. A file counts as unreadable after 60 seconds.
 *
 * **Tools.** `getMemoryInfo` runs `dmidecode`; `getDisksInternal` runs `pvdisplay` where a
 * device-mapper node is mounted; `getNetworksInternal` and `getSystemInfo` run `ifconfig`, `route`,
 * `grep` and `cat`. They are run by `/bin/sh`, as the host's user and with the host's environment.
 * Except for those of `dmidecode`, their error messages go to the host's standard error. The
 * network tools run with `LANG=C` before the command, `dmidecode` with LANG set to C; a host that
 * has LC_ALL or LC_MESSAGES in its environment gets translated output, which the library cannot
 * read: remove these variables, and LANGUAGE with them, before the first query. `pvdisplay` and the
 * network tools have no time-out: a tool that never ends holds its caller for ever.
 *
 * **Headers.** Each record's header follows from its getters: code that uses the addresses of a
 * `NetworkInfo` includes `common/basic/ip_address.h`; code that calls `getRootDevices` includes
 * `boost/filesystem/path.hpp`.
 *
 * The order of the virtual operations is part of the binary interface.
 */
namespace sysinfo {

/** The empty first base of the service object. */
class DOVREL_EXPORT SystemInformation_Precursor { };

class DOVREL_EXPORT SystemInformation : public SystemInformation_Precursor,
                                        public dovrel::Cloneable<SystemInformation> {
public:
    /** The hypervisor that the machine runs under. `HYPERVISOR_OTHER`: one without a value here. */
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

    /** Storage for a host's wrapper of a list query. The host chooses the meaning of `word`. */
    template <class Record> struct ListCache {
        uint32_t word = 0;
        std::vector<dovrel::value_ptr<Record>> records;
        dovrel::Mutex mutex;
    };

    /** Storage for a host's wrapper of the memory query. The host chooses the meaning of `words`.
     */
    struct MemoryCache {
        uint32_t words[5] = {};
        dovrel::Mutex mutex;
    };

    /**
     * Total and free memory in KiB.
     *
     * Total is the larger of the kernel's "MemTotal:" and the sum of the installed modules that
     * dmidecode(8) lists; free is the kernel's "MemFree:", proc(5). Starts a child process
     * on every call and takes some 20 ms more than the tool itself.
     *
     * The tool may be missing, fail or need more privilege than the host has: total is the kernel's
     * figure then. The sum may be short: a module whose size line straddles two reads of at most
     * 255 bytes is left out, and so is all that follows a pause of a fifth of a second in the
     * output.
     *
     * @param totalKiB, freeKiB each is set where its figure was found, and else left as it was.
     * @return false where /proc/meminfo cannot be opened or lacks one of the two figures, even
     * where the modules gave a total.
     * @throws dovrel::ProcessException where the tool cannot be started, has not ended a tenth of a
     * second after its output ended or paused, or left no exit status: its shell was ended by a
     * signal, the host ignores SIGCHLD, or the host has reaped it by waiting for all children.
     */
    virtual bool getMemoryInfo(uint64_t& totalKiB, uint64_t& freeKiB) const = 0;

    /**
     * The progress of the recovery that the host product's engine is running.
     *
     * Read from /etc/dovrel/status.ini, /etc/dovrel/DRAnswer.ini and /tmp/percent, which the engine
     * writes.
     *
     * @param unavailable set to false exactly when a record is returned.
     * @return the record; null where status.ini cannot be read or has no "Status".
     */
    virtual dovrel::value_ptr<CloneInfo> getCloneInfo(bool& unavailable) const = 0;

    /**
     * Appends one record per physical disk, in the order of /proc/partitions, without USB storage.
     *
     * Lists the names that do not end in a digit: `sda` and `vda`, but neither `nvme0n1` nor
     * `mmcblk0`. A disk right before one whose name begins with its own is left out (`sda` before
     * `sdaa`). Opens every listed device. Reads /dev/disk/by-id once per disk.
     *
     * @return false, with @p disks untouched, where /proc/partitions cannot be opened.
     */
    virtual bool getPhysicalDisksInternal(
        std::vector<dovrel::value_ptr<PhysicalDiskInfo>>& disks) const = 0;

    /**
     * Appends one record per mount point of a device under /dev, in ascending byte order of the
     * mount points.
     *
     * Calls `getPhysicalDisksInternal` of this object, and statvfs(3) for each mount point. statvfs
     * waits as long as the filesystem does.
     *
     * A filesystem on a partition `sda1` has the parent disk `sda`. One on a device-mapper node has
     * none with the output of today's `pvdisplay -c`, see `getRootDevices`.
     *
     * @return false, with @p disks untouched, where /proc/mounts or the physical disks cannot be
     * read.
     * @throws boost::filesystem::filesystem_error where a device-mapper node is mounted and
     * /dev/mapper cannot be read or has an entry that leads nowhere. The mounts before it are in
     * the list by then.
     */
    virtual bool getDisksInternal(std::vector<dovrel::value_ptr<DiskInfo>>& disks) const = 0;

    /** @return the last error text; empty in a new object. No query of the library sets it: it is
     * for hosts that derive from the implementation. */
    virtual dovrel::string getLastError() const = 0;

    /**
     * Appends one record per logical processor, numbered from 0 without gaps.
     *
     * Counts the "cpuN" lines of /proc/stat, proc(5). Where processors are offline, a record's
     * number is not always the kernel's.
     *
     * @return false, with @p processors untouched, where /proc/stat cannot be opened.
     */
    virtual bool getCPUsInternal(std::vector<dovrel::value_ptr<CPUInfo>>& processors) const = 0;

    /**
     * Appends one record per network adapter, in the order of `ifconfig -a`.
     *
     * An alias (`eth0:1`) is a record of its own with its parent's name. The machine's name servers
     * stand in the last record only. Takes the time of the tools; `route` runs once per adapter.
     *
     * @return false, with @p adapters untouched, where `ifconfig`, `route` or `cat` is in none of
     * /bin, /sbin, /usr/sbin and /usr/bin; else true, also where a tool printed nothing.
     * @throws std::out_of_range where a line of `route -n` or of /etc/resolv.conf ends before the
     * column that is read. The adapters but the last are in the list by then.
     */
    virtual bool getNetworksInternal(
        std::vector<dovrel::value_ptr<NetworkInfo>>& adapters) const = 0;

    /**
     * The machine's identity: system vendor, product name, product version, and the hypervisor.
     *
     * The texts and the hypervisor come from `getsysinfo` (`common/platform/getsysinfo.h`), which
     * reads the firmware's tables and the processor's hypervisor leaves. Then calls
     * `getNetworksInternal` of this object: `HYPERVISOR_AZURE` where the first adapter's MAC
     * address begins with 00:0d:3a.
     *
     * @return false where `getsysinfo` failed; the outputs are set in any case. Adapters that
     * cannot be listed do not make it false.
     * @throws the exceptions of `getNetworksInternal`; the outputs are set by then.
     */
    virtual bool getSystemInfo(std::string& vendor, std::string& product, std::string& version,
        HypervisorType& hypervisor) const = 0;

    /** @return a new service object for the running platform. @throws std::bad_alloc */
    static dovrel::value_ptr<SystemInformation> create();

    /**
     * Storage for the host's wrappers of the queries. Constructed in this order when the library is
     * loaded, destroyed in the reverse order when it is unloaded. No query reads or fills them.
     */
    static ListCache<PhysicalDiskInfo> m_diskCache;
    static ListCache<DiskInfo> m_fsCache;
    static ListCache<CPUInfo> m_cpuCache;
    static ListCache<NetworkInfo> m_netCache;
    static MemoryCache m_memCache;
};

/** A record with a one-line description. */
class DOVREL_EXPORT SystemInformation::Info {
public:
    virtual ~Info() = default;

    /** @return the record as one line of text; may take as long as the getters that it shows. */
    virtual dovrel::string toString() const = 0;

protected:
    Info() = default;
    Info(Info const&) = default;
    Info& operator=(Info const&) = default;
};

/** A mounted filesystem. */
class DOVREL_EXPORT SystemInformation::DiskInfo : public Info, public dovrel::Cloneable<DiskInfo> {
public:
    /** @return the mount point as /proc/mounts has it, blanks and backslashes as octal escapes. */
    virtual dovrel::string getDiskName() const = 0;

    /** @return copies of the records of the disks beneath; empty where none was found. */
    virtual std::vector<dovrel::value_ptr<PhysicalDiskInfo>> getParentDisks() const = 0;

    /** @return total bytes when the record was made; 0 where statvfs(3) failed. Counts 2^32 blocks
     * at most: of a larger filesystem the remainder. */
    virtual uint64_t getDiskSizeInBytes() const = 0;

    /** Calls statvfs(3) on every call. @return the bytes that are free to the superuser; 0 where
     * statvfs fails. */
    virtual uint64_t getDiskFreeInBytes() const = 0;
};

/** A physical disk. */
class DOVREL_EXPORT SystemInformation::PhysicalDiskInfo
    : public Info,
      public dovrel::Cloneable<PhysicalDiskInfo> {
public:
    /** @return the kernel's name of the disk, without "/dev/". */
    virtual dovrel::string getDiskID() const = 0;

    /** @return the number of the disk's partitions in /proc/partitions. */
    virtual unsigned int getDiskNumberOfPartitions() const = 0;

    /**
     * The disk's number of 1,024-byte blocks times its logical sector size.
     *
     * Not the size in bytes, despite the name: half of it on a disk with sectors of 512 bytes, four
     * times as much on one with 4,096. Divide by the sector size and multiply by 1,024 for bytes.
     *
     * @return 0 where the device cannot be opened, for example without privilege.
     */
    virtual uint64_t getDiskTotalSizeInBytes() const = 0;

    /** @return model and serial number as /dev/disk/by-id has them, without the bus; empty where
     * the disk has no entry there. */
    virtual dovrel::string getDiskCaption() const = 0;
};

/** A logical processor. Every getter reads the kernel's files on every call. */
class DOVREL_EXPORT SystemInformation::CPUInfo : public Info, public dovrel::Cloneable<CPUInfo> {
public:
    /** @return the highest clock speed in MHz that the firmware allows; 0 where it sets no limit or
     * the kernel does not report it, as on most machines. */
    virtual unsigned int getMaxSpeedInMHZ() const = 0;

    /** @return the current clock speed in MHz; 0 where the kernel does not report it. */
    virtual unsigned int getCurrentSpeedInMHZ() const = 0;

    /**
     * Measures the load.
     *
     * Samples the kernel's counters every second until the busy counter has moved: takes one second
     * on a busy processor, and up to 101 seconds on an idle one, signals or not.
     *
     * @return percent; 0 where /proc/stat cannot be read or the processor stayed idle, not-a-number
     * where no counter moved. Outside 0 to 100 where the kernel's counters went back or the
     * processor went offline in between.
     */
    virtual float getCurrentUsage() const = 0;
};

/** A network adapter. */
class DOVREL_EXPORT SystemInformation::NetworkInfo : public Info,
                                                     public dovrel::Cloneable<NetworkInfo> {
public:
    /** @return the machine's host name, gethostname(2); the same in every record. */
    virtual dovrel::string getHostname() const = 0;

    /** @return the adapter's name up to a colon. */
    virtual dovrel::string getName() const = 0;

    /** @return the MAC address; all zero where the adapter has none. */
    virtual dovrel::macaddress_cpp getMACAddr() const = 0;

    /** @return the netmasks of the IPv4 addresses, dotted, in the addresses' order. */
    virtual std::vector<dovrel::string> getNetmasks() const = 0;

    /** @return IPv4 and IPv6 addresses in the tool's order; an invalid one for each that could not
     * be read, as IPv6 addresses of net-tools before 2.0. */
    virtual std::vector<dovrel::ip_address> getIPAddrs() const = 0;

    /** @return the machine's name servers in the last record of a list; empty in all others. */
    virtual std::vector<dovrel::ip_address> getDNSAddrs() const = 0;

    /** @return always empty: gateways are written to the trace (level 5) and not stored. */
    virtual std::vector<dovrel::ip_address> getGatewayAddrs() const = 0;
};

/** A snapshot of a recovery. Times are seconds since the epoch; sizes are MB of 1,048,576 bytes.
 * Figures beyond 32 bits wrap. */
class DOVREL_EXPORT SystemInformation::CloneInfo : public Info,
                                                   public dovrel::Cloneable<CloneInfo> {
public:
    /** @return the engine's operation: 1000 idle, 5000 restore, 5500 its final synchronisation;
     * below 5000 all figures but this and the two recover times are 0, and the restore's end is
     * now. */
    virtual unsigned int getOperationID() const = 0;

    /** @return always 0. */
    virtual unsigned int getFailedOperationID() const = 0;

    /** @return percent, of bytes and files in equal parts unless the engine gives its own figure.
     * May exceed 100; is 100 where the engine has written no counters. */
    virtual unsigned int getOperationProgress() const = 0;

    /** @return 1 where the engine's figure is 0, 2^32 - 1 where it has written none. */
    virtual unsigned int getTotalFiles() const = 0;
    virtual unsigned int getTotalMBytes() const = 0;

    /** @return 2^32 - 1 where the engine has written none. */
    virtual unsigned int getFilesDone() const = 0;
    virtual unsigned int getMBytesDone() const = 0;
    virtual long getRecoverStartTime() const = 0;
    virtual long getRecoverEndTime() const = 0;
    virtual long getRestoreStartTime() const = 0;

    /** @return the time of the query while the restore runs. */
    virtual long getRestoreEndTime() const = 0;

    /** @return the restore's average in whole MB per second. */
    virtual double getThroughput() const = 0;

    /** @return always empty. */
    virtual dovrel::string getLastError() const = 0;
};

}
