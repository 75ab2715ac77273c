#pragma once

#include "common/basic/Cloneable.h"
#include "common/basic/export.h"
#include "common/basic/ip_address.h"
#include "common/basic/macaddress.h"
#include "common/basic/value_ptr.h"
#include "common/basic/wide_string.h"
#include "common/platform/Mutex.h"

#include <cstdint>
#include <string>
#include <vector>

/**
 * The system information interface: one service object, and one record class for each kind of fact.
 *
 * **Errors.** A query returns `bool`. `false` means that a source could not be read; the list then
 * contains the records that were found before. The cause is in the trace
 * (`common/platform/trace.h`, level 1). It is not in `getLastError()`: queries are `const` and set
 * no error text. Some queries throw. Each operation lists its exceptions, and a trace message of
 * level 1 precedes each of them. Every operation that allocates memory may throw `std::bad_alloc`.
 *
 * **Ownership.** Records belong to the caller through their `value_ptr`. They share no state and
 * may outlive the service object. An appended element is never null.
 *
 * **Freshness.** Every query reads its sources on every call. Nothing is cached.
 *
 * **Threads.** An object and its records belong to one thread at a time. Different objects are
 * independent. The library starts no thread. A query takes a lock only if the trace is on. Queries,
 * getters and constructors of records are no cancellation points: if a thread is cancelled in one
 * (pthread_cancel(3)), the operation completes, for a load after up to 101 seconds. The thread ends
 * at its next cancellation point, or on return if its cancellation type is asynchronous.
 *
 * **Leases.** If another process holds a lease on a source file (fcntl(2)), a query waits until the
 * holder releases the lease or the kernel breaks it. The kernel does so after the number of seconds
 * in /proc/sys/fs/lease-break-time, 45 by default. A file counts as unreadable after 60 seconds.
 *
 * **Sizes.** At most 64 MiB of a file are read. A query that needs all of a larger file counts it
 * as unreadable. The output of a tool has a bound, too: 16 MiB for `dmidecode`, 1 GiB of the lines
 * of `route` that have the adapter's name, 64 MiB for the others and for one line. The operations
 * state what follows. No real source is as large. So a file that never ends neither takes the
 * host's memory nor holds the query, and output that never ends does not take the host's memory.
 *
 * **Time.** Each operation states the longest time that it can hold its caller, apart from leases,
 * and the reason. A host with less patience makes its queries in a child process, docs/README.md.
 *
 * **Tools.** `getMemoryInfo` runs `dmidecode`. `getDisksInternal` runs `pvdisplay` if a
 * device-mapper node is mounted. `getNetworksInternal` and `getSystemInfo` run `ifconfig`, `route`,
 * `grep` and `cat`. `/bin/sh` runs the tools, as the host's user and with the host's environment.
 * Their error messages go to the host's standard error, except for those of `dmidecode`.
 *
 * The library sets LANG to C for `dmidecode` and the network tools. LC_ALL and LC_MESSAGES override
 * that: the output is then translated, and the library cannot read it. A host should remove these
 * variables and LANGUAGE from its environment before the first query.
 *
 * `pvdisplay` and the network tools have no time-out: a tool that neither writes nor ends blocks
 * its caller for ever. So does one that writes beyond its bound and does not end when it cannot
 * write any more (SIGPIPE, or `EPIPE` where the host ignores that signal), and `route` while it
 * writes no line with the adapter's name.
 *
 * The order of the virtual operations is part of the binary interface, docs/abi.md.
 *
 * A page for each query has the reasons and the corners; docs/README.md leads there.
 */
namespace sysinfo {

/** The empty first base of the service object. */
class DOVREL_EXPORT SystemInformation_Precursor { };

/** The service object: one operation for each query. The records are nested classes. */
class DOVREL_EXPORT SystemInformation : public SystemInformation_Precursor,
                                        public dovrel::Cloneable<SystemInformation> {
public:
    /** The machine's hypervisor. `HYPERVISOR_OTHER`: one that has no value here. */
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

    /** Storage for a host's wrapper of a list query. The host defines the meaning of `word`. */
    template <class Record> struct ListCache {
        uint32_t word = 0; ///< For the host, for example a time.
        std::vector<dovrel::value_ptr<Record>> records; ///< For the host.
        dovrel::Mutex mutex; ///< For the host: guards the other members.
    };

    /** Storage for a host's wrapper of the memory query. The host defines the meaning of `words`.
     */
    struct MemoryCache {
        uint32_t words[5] = {}; ///< For the host.
        dovrel::Mutex mutex; ///< For the host: guards the words.
    };

    /**
     * Total and free memory in KiB.
     *
     * Total is the larger of the kernel's "MemTotal:" in /proc/meminfo (proc(5)) and the sum of the
     * installed modules in the output of dmidecode(8), which needs root. Free is the kernel's
     * "MemFree:". A sum may lack a module, see docs/queries/memory.md.
     *
     * Starts a child process on every call and takes some 20 ms more than the tool; at most about
     * 64 seconds, because a tool that writes without end is given up after 60 seconds or 16 MiB. A
     * tool that hangs is given up after 1.3 seconds.
     *
     * @param totalKiB, freeKiB set if the figure was found, otherwise unchanged.
     * @return false if /proc/meminfo cannot be opened or lacks one of the figures, even if the
     * modules gave a total.
     * @throws dovrel::ProcessException if the tool cannot be started; if it has not ended a tenth
     * of a second after its output ended or paused; if it is given up; or if it left no exit
     * status, because a signal ended its shell, the host ignores SIGCHLD, or the host has reaped
     * it.
     * @see docs/queries/memory.md
     */
    virtual bool getMemoryInfo(uint64_t& totalKiB, uint64_t& freeKiB) const = 0;

    /**
     * The progress of the recovery that the host product's engine is running.
     *
     * Reads the engine's files /etc/dovrel/status.ini, /etc/dovrel/DRAnswer.ini and /tmp/percent.
     *
     * Takes the time of reading three small files. Has no limit if their filesystem
     * hangs; /tmp/percent may be a link to any other.
     *
     * @param unavailable false if a record is returned, otherwise true.
     * @return the record; null if status.ini cannot be read or has no "Status".
     * @see docs/queries/recovery.md
     */
    virtual dovrel::value_ptr<CloneInfo> getCloneInfo(bool& unavailable) const = 0;

    /**
     * Appends one record per physical disk, in the order of /proc/partitions (proc(5)). USB storage
     * is left out.
     *
     * Lists names that do not end in a digit: `sda` and `vda`, but neither `nvme0n1` nor `mmcblk0`.
     * Leaves out a disk if the next disk's name begins with its name (`sda` before `sdaa`).
     *
     * Opens every disk and reads /dev/disk/by-id once. Has no limit: open(2) and ioctl(2) wait
     * while the kernel resets a disk.
     *
     * @return false, with @p disks unchanged, if /proc/partitions cannot be opened or is larger
     * than 64 MiB.
     * @see docs/queries/physical-disks.md
     */
    virtual bool getPhysicalDisksInternal(
        std::vector<dovrel::value_ptr<PhysicalDiskInfo>>& disks) const = 0;

    /**
     * Appends one record per mount point of a device under /dev, in ascending byte order of the
     * mount points.
     *
     * Reads /proc/mounts (proc(5)), calls `getPhysicalDisksInternal` of this object, and calls
     * statvfs(3) for each mount point. Has no limit: it waits for a filesystem or a `pvdisplay`
     * that hangs, and as `getPhysicalDisksInternal` does.
     *
     * The parent disk of a filesystem on the partition `sda1` is `sda`. A filesystem on a
     * device-mapper node has no parent disk with the output of today's `pvdisplay -c`, see
     * `getRootDevices`.
     *
     * @return false, with @p disks unchanged, if /proc/mounts or the physical disks cannot be read.
     * @throws boost::filesystem::filesystem_error if a device-mapper node is mounted and
     * /dev/mapper cannot be read, contains a dangling link, or has 2^17 names before the node's.
     * The list then contains the records of the mount points before.
     * @see docs/queries/mounted-disks.md
     */
    virtual bool getDisksInternal(std::vector<dovrel::value_ptr<DiskInfo>>& disks) const = 0;

    /** @return the last error text; empty in a new object. No query sets it. It is for hosts that
     * derive a class of their own. */
    virtual dovrel::string getLastError() const = 0;

    /**
     * Appends one record per logical processor, numbered from 0 without gaps.
     *
     * Counts the "cpuN" words of /proc/stat, proc(5). If processors are offline, the number of a
     * record may differ from the kernel's. Takes one read of that file, some milliseconds.
     *
     * @return false, with @p processors unchanged, if /proc/stat cannot be opened or is larger than
     * 64 MiB.
     * @see docs/queries/processors.md
     */
    virtual bool getCPUsInternal(std::vector<dovrel::value_ptr<CPUInfo>>& processors) const = 0;

    /**
     * Appends one record per network adapter, in the order of ifconfig(8) -a.
     *
     * An alias (`eth0:1`) is a separate record with the name of its adapter. The last record
     * contains the machine's name servers (resolv.conf(5)), the others have none. Gateways
     * (route(8)) are written to the trace and not stored.
     *
     * Takes the time of the tools, without a limit: a tool may hang. `route` runs once per adapter,
     * except for the last.
     *
     * @return false, with @p adapters unchanged, if `ifconfig`, `route` or `cat` is in none of
     * /bin, /sbin, /usr/sbin and /usr/bin, or if `ifconfig` prints more than 64 MiB. False, with
     * all adapters but the last, if `cat` prints more than 64 MiB or `route` more than 1 GiB of the
     * adapter's lines. True even if a tool prints nothing.
     * @throws std::out_of_range if a line of `route -n` or of /etc/resolv.conf ends before the
     * column that is read. Its message and the trace contain the tool, the line and the column. The
     * list then contains the adapters except the last.
     * @see docs/queries/networks.md
     */
    virtual bool getNetworksInternal(
        std::vector<dovrel::value_ptr<NetworkInfo>>& adapters) const = 0;

    /**
     * The machine's system vendor, product name, product version and hypervisor.
     *
     * Calls `getsysinfo` (`common/platform/getsysinfo.h`), which reads the firmware's tables and
     * the processor's hypervisor leaves, and `getNetworksInternal` of this object. The hypervisor
     * is `HYPERVISOR_AZURE` if the MAC address of the first adapter begins with 00:0d:3a. Takes as
     * long as `getNetworksInternal`, without a limit.
     *
     * @return false if `getsysinfo` failed. The outputs are set in any case. A failure to list the
     * adapters is ignored.
     * @throws std::out_of_range as `getNetworksInternal` does. The outputs are set.
     * @see docs/queries/system.md
     */
    virtual bool getSystemInfo(std::string& vendor, std::string& product, std::string& version,
        HypervisorType& hypervisor) const = 0;

    /** @return a new service object for the running platform, at once: it reads nothing.
     * @throws std::bad_alloc */
    static dovrel::value_ptr<SystemInformation> create();

    /**
     * Storage for the host's wrappers of the queries. No query reads or fills these caches. Loading
     * the library constructs them in this order; unloading it destroys them in the reverse order.
     */
    /** @{ */
    static ListCache<PhysicalDiskInfo> m_diskCache;
    static ListCache<DiskInfo> m_fsCache;
    static ListCache<CPUInfo> m_cpuCache;
    static ListCache<NetworkInfo> m_netCache;
    static MemoryCache m_memCache;
    /** @} */
};

/** A record with a one-line description. */
class DOVREL_EXPORT SystemInformation::Info {
public:
    virtual ~Info() = default;

    /** @return the record as one line of text. May take as long as the getters that it calls. */
    virtual dovrel::string toString() const = 0;

protected:
    Info() = default;
    Info(Info const&) = default;
    Info& operator=(Info const&) = default;
};

/** A mounted filesystem. */
class DOVREL_EXPORT SystemInformation::DiskInfo : public Info, public dovrel::Cloneable<DiskInfo> {
public:
    /** @return the mount point from /proc/mounts (proc(5)), with octal escapes for blanks and
     * backslashes. */
    virtual dovrel::string getDiskName() const = 0;

    /** @return copies of the records of the disks beneath the filesystem; empty if none was found.
     */
    virtual std::vector<dovrel::value_ptr<PhysicalDiskInfo>> getParentDisks() const = 0;

    /** @return total bytes at the time when the record was made, statvfs(3); 0 if statvfs failed.
     * Wrong for 2^32 blocks and more, as only the low 32 bits of their number count. */
    virtual uint64_t getDiskSizeInBytes() const = 0;

    /** @return the bytes that are free for the superuser; 0 if statvfs(3) fails. Calls statvfs on
     * every call and waits as long as the filesystem does. */
    virtual uint64_t getDiskFreeInBytes() const = 0;
};

/** A physical disk. */
class DOVREL_EXPORT SystemInformation::PhysicalDiskInfo
    : public Info,
      public dovrel::Cloneable<PhysicalDiskInfo> {
public:
    /** @return the disk's kernel name, without "/dev/". */
    virtual dovrel::string getDiskID() const = 0;

    /** @return the number of the disk's partitions in /proc/partitions, proc(5). */
    virtual unsigned int getDiskNumberOfPartitions() const = 0;

    /**
     * The disk's number of 1,024-byte blocks in /proc/partitions times its logical sector size.
     *
     * This is not the size in bytes, despite the name: it is half of it on a disk with sectors of
     * 512 bytes, and four times as much on one with 4,096. Divide by the sector size and multiply
     * by 1,024 for bytes.
     *
     * @return 0 if the device could not be opened, for example without the privilege.
     */
    virtual uint64_t getDiskTotalSizeInBytes() const = 0;

    /** @return the disk's model and serial number from its name in /dev/disk/by-id, without the
     * bus; empty if the disk has no name there. */
    virtual dovrel::string getDiskCaption() const = 0;
};

/** A logical processor. Every getter reads the kernel's files on every call. */
class DOVREL_EXPORT SystemInformation::CPUInfo : public Info, public dovrel::Cloneable<CPUInfo> {
public:
    /** @return the highest clock speed in MHz that the firmware allows; 0 if it sets no limit or
     * the kernel does not report it, as on most machines. Takes one read of a kernel's file. */
    virtual unsigned int getMaxSpeedInMHZ() const = 0;

    /** @return the current clock speed in MHz; 0 if the kernel does not report it. Takes one read
     * of a kernel's file, in which some drivers measure for some milliseconds. */
    virtual unsigned int getCurrentSpeedInMHZ() const = 0;

    /**
     * The load in percent.
     *
     * Samples the counters of /proc/stat (proc(5)) every second until the busy counter has moved.
     * Takes one second on a busy processor and up to 101 seconds on an idle one, and the time of
     * up to 102 reads of that file. Signals do not shorten it.
     *
     * @return 0 if /proc/stat cannot be read or the processor stayed idle; not-a-number if no
     * counter moved; a value outside 0 to 100 if a counter went back or the processor went offline
     * between the samples.
     */
    virtual float getCurrentUsage() const = 0;
};

/** A network adapter. */
class DOVREL_EXPORT SystemInformation::NetworkInfo : public Info,
                                                     public dovrel::Cloneable<NetworkInfo> {
public:
    /** @return the machine's host name, gethostname(2); the same in every record. */
    virtual dovrel::string getHostname() const = 0;

    /** @return the adapter's name up to the first colon. */
    virtual dovrel::string getName() const = 0;

    /** @return the MAC address; all zero if the adapter has none. */
    virtual dovrel::macaddress_cpp getMACAddr() const = 0;

    /** @return the netmasks of the IPv4 addresses in dotted form, in the order of the addresses. */
    virtual std::vector<dovrel::string> getNetmasks() const = 0;

    /** @return the IPv4 and IPv6 addresses in the order of ifconfig(8). An address that cannot be
     * parsed is invalid, such as each IPv6 address of net-tools before 2.0. */
    virtual std::vector<dovrel::ip_address> getIPAddrs() const = 0;

    /** @return the machine's name servers in the last record of a list; empty in all others. */
    virtual std::vector<dovrel::ip_address> getDNSAddrs() const = 0;

    /** @return always empty: gateways are written to the trace (level 5) and not stored. */
    virtual std::vector<dovrel::ip_address> getGatewayAddrs() const = 0;
};

/** A snapshot of a recovery. Times are seconds since the epoch. Sizes are MB of 1,048,576 bytes.
 * Figures beyond 32 bits wrap. A time that the engine has not written is below 0, except for the
 * restore's end, and for its start in a record with an operation below 5000. */
class DOVREL_EXPORT SystemInformation::CloneInfo : public Info,
                                                   public dovrel::Cloneable<CloneInfo> {
public:
    /** @return the engine's operation: 1000 idle, 5000 restore, 5500 the final synchronisation of a
     * restore. In a record with an operation below 5000 the restore's end is the time of the query,
     * and all other figures except the two recover times are 0. */
    virtual unsigned int getOperationID() const = 0;

    /** @return always 0. */
    virtual unsigned int getFailedOperationID() const = 0;

    /** @return percent: the engine's own figure, otherwise computed from bytes and files in equal
     * parts. May exceed 100. It is 100 if the engine has written no counters. */
    virtual unsigned int getOperationProgress() const = 0;

    /** @return the number of files; 1 if the engine's figure is 0, 2^32 - 1 if it has written none.
     */
    virtual unsigned int getTotalFiles() const = 0;

    /** @return the size in MB; 0 if the engine has written none. */
    virtual unsigned int getTotalMBytes() const = 0;

    /** @return the number of files; 2^32 - 1 if the engine has written none. */
    virtual unsigned int getFilesDone() const = 0;

    /** @return the size in MB; 0 if the engine has written none. */
    virtual unsigned int getMBytesDone() const = 0;

    /** @return the start of the recovery. */
    virtual long getRecoverStartTime() const = 0;

    /** @return the end of the recovery. */
    virtual long getRecoverEndTime() const = 0;

    /** @return the start of the restore. */
    virtual long getRestoreStartTime() const = 0;

    /** @return the end of the restore; the time of the query if it has not ended. */
    virtual long getRestoreEndTime() const = 0;

    /** @return the restore's average in whole MB per second. */
    virtual double getThroughput() const = 0;

    /** @return always empty. */
    virtual dovrel::string getLastError() const = 0;
};

}
