#pragma once

#include "sysinfo/UNIXSystemInformation.h"

namespace sysinfo {

class PersistentNames;

/** The queries on Linux: the only concrete service class. `SystemInformation` documents each
 * operation. The comments here add the details of this implementation. */
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
     * Calls `UNIXSystemInformation::getMemoryInfo` and then runs `dmidecode` on every call.
     *
     * Kept: the tool's output is read in pieces of at most 255 bytes. A module whose size line is
     * cut by the end of a piece does not count. A pause of a fifth of a second ends the output.
     *
     * Kept: the tool has a tenth of a second to end after its output.
     *
     * A tool that is still writing after 60 seconds, or has written 16 MiB, is given up: the query
     * throws as for one that hangs. With two seconds for the start and one for the end, it holds
     * its caller for at most about 64 seconds.
     *
     * @throws dovrel::ProcessException see `SystemInformation::getMemoryInfo`. A trace message of
     * level 1 contains the reason. The outputs are as `UNIXSystemInformation::getMemoryInfo` leaves
     * them.
     */
    bool getMemoryInfo(uint64_t& totalKiB, uint64_t& freeKiB) const override;

    bool getPhysicalDisksInternal(
        std::vector<dovrel::value_ptr<PhysicalDiskInfo>>& disks) const override;

    /** Kept: an alias is a separate adapter, gateways are only traced, and only the last adapter
     * has the name servers. */
    bool getNetworksInternal(std::vector<dovrel::value_ptr<NetworkInfo>>& adapters) const override;
};

/** A physical disk. */
class DOVREL_EXPORT LinuxSystemInformation::LinuxPhysicalDiskInfo
    : public SystemInformation::PhysicalDiskInfo {
public:
    /**
     * Reads the device's sector size (ioctl `BLKSSZGET`) and its name in /dev/disk/by-id.
     *
     * Calls stat(2) once for each name in that folder up to the disk's own, at most 2^18 times; a
     * list of disks calls it once for each name. Has no time-out: it waits while the kernel resets
     * the disk. Kept: a dangling link before that name ends the search, and the disk has no
     * caption. Not a cancellation point.
     *
     * @param name the disk's kernel name, without "/dev/".
     * @param blocks the disk's number of 1,024-byte blocks in /proc/partitions.
     */
    LinuxPhysicalDiskInfo(dovrel::string const& name, uint64_t blocks, unsigned int partitions);
    ~LinuxPhysicalDiskInfo() override;

    /** @return one line with a blank at its end: `sda (DISK_MODEL_1) 512000 bytes in  2 partitions
     * `.
     */
    dovrel::string toString() const override;

    dovrel::string getDiskID() const override { return m_name; }
    unsigned int getDiskNumberOfPartitions() const override { return m_partitions; }

    /** @return the number of blocks times the logical sector size; 0 if the sector size could not
     * be read. Kept: a block has 1,024 bytes, so this is not the disk's size in bytes. */
    uint64_t getDiskTotalSizeInBytes() const override { return m_blocks * m_sectorSize; }

    /** @return `MODEL_SERIAL` for the name `ata-MODEL_SERIAL` in /dev/disk/by-id; empty if the disk
     * has none. */
    dovrel::string getDiskCaption() const override { return m_caption; }

    void destroy() override;
    PhysicalDiskInfo* clone() const override;

private:
    friend class LinuxSystemInformation;

    // For a list: no host calls these. The path is that of the device.
    DOVREL_HIDDEN LinuxPhysicalDiskInfo(dovrel::string const& name, dovrel::string const& path,
        uint64_t blocks, unsigned int partitions, PersistentNames& names);
    DOVREL_HIDDEN void readDevice(dovrel::string const& path, PersistentNames& names);

    dovrel::string m_name;
    uint64_t m_blocks;
    uint64_t m_sectorSize;
    dovrel::string m_caption;
    unsigned int m_partitions;
};

}
