#pragma once

#include "sysinfo/UNIXSystemInformation.h"

namespace sysinfo {

/** What Linux tells: the one concrete service class. */
class DOVREL_EXPORT LinuxSystemInformation : public UNIXSystemInformation {
public:
    class LinuxPhysicalDiskInfo;

    LinuxSystemInformation() = default;
    LinuxSystemInformation(LinuxSystemInformation const&) = default;
    LinuxSystemInformation& operator=(LinuxSystemInformation const&) = default;
    ~LinuxSystemInformation() override;

    SystemInformation* clone() const override;
    void destroy() override;

    /**
     * The kernel's figures, the total raised to the sum of the memory modules that `dmidecode`
     * lists where that is more, dmidecode(8). Starts a child process on every call.
     *
     * Where the tool is missing, or its sum is not larger, the kernel's total stands; its exit
     * status does not matter. Kept: the tool's output is read in pieces of at most 255 bytes; a
     * module whose size line straddles two of them is left out, and so is all that follows a pause
     * of a fifth of a second, so the sum may be short.
     *
     * @return whether the kernel reports both figures, whatever the modules are.
     * @throws dovrel::ProcessException where the tool cannot be started; has not ended a tenth of a
     * second after its output ended or paused; or left no exit status: its shell was ended by a
     * signal, the host ignores SIGCHLD, or the host has reaped it by waiting for all children. A
     * trace line of level 1 names the tool and the reason. The outputs are set as far as they were
     * known.
     */
    bool getMemoryInfo(uint64_t& totalKiB, uint64_t& freeKiB) const override;

    /**
     * The whole disks of /proc/partitions (proc(5)) in its order, without USB storage.
     *
     * @return false, with @p disks untouched, where the file cannot be opened.
     */
    bool getPhysicalDisksInternal(
        std::vector<dovrel::value_ptr<PhysicalDiskInfo>>& disks) const override;

    /**
     * The adapters in the order of `ifconfig -a`, ifconfig(8), an alias as an adapter of its own.
     *
     * Kept: the name servers of resolv.conf(5) stand at the last adapter alone, and gateways are
     * looked for, route(8), but only traced.
     *
     * @return false, with @p adapters untouched, where `ifconfig`, `route` or `cat` is missing.
     * @throws std::out_of_range where a line of the tools ends before its fixed columns; the
     * adapters but the last are in the list by then. Its message names the tool, the line and the
     * column that is missing, and so does a trace line of level 1.
     */
    bool getNetworksInternal(std::vector<dovrel::value_ptr<NetworkInfo>>& adapters) const override;
};

/** A physical disk. */
class DOVREL_EXPORT LinuxSystemInformation::LinuxPhysicalDiskInfo
    : public SystemInformation::PhysicalDiskInfo {
public:
    /**
     * Reads the device's sector size and looks for its persistent name in /dev/disk/by-id.
     *
     * Takes one stat(2) for each name in that folder, up to the disk's own. Kept: a name before it
     * that leads nowhere ends the search, and the disk has no caption. Not a cancellation point.
     *
     * @param name the kernel's name, without "/dev/".
     * @param blocks the disk's figure in /proc/partitions.
     */
    LinuxPhysicalDiskInfo(dovrel::string const& name, uint64_t blocks, unsigned int partitions);
    ~LinuxPhysicalDiskInfo() override;

    /** One line, with a blank at its end: `sda (DISK_MODEL_1) 512000 bytes in  2 partitions `. */
    dovrel::string toString() const override;

    dovrel::string getDiskID() const override { return m_name; }
    unsigned int getDiskNumberOfPartitions() const override { return m_partitions; }

    /** Kept: blocks times logical sector size (`BLKSSZGET`), though the blocks are of 1,024 bytes:
     * half the size of a disk with sectors of 512 bytes, four times that of one with 4,096. 0 where
     * the device did not tell its sectors. */
    uint64_t getDiskTotalSizeInBytes() const override { return m_blocks * m_sectorSize; }

    /** @return the persistent name without its bus, `MODEL_SERIAL`; empty where there is none. */
    dovrel::string getDiskCaption() const override { return m_caption; }

    void destroy() override;
    PhysicalDiskInfo* clone() const override;

private:
    dovrel::string m_name;
    uint64_t m_blocks;
    uint64_t m_sectorSize;
    dovrel::string m_caption;
    unsigned int m_partitions;
};

}
