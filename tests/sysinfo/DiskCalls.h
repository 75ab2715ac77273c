#pragma once

#include "common/basic/noncopyable.h"

#include <sys/statvfs.h>

#include <map>
#include <string>
#include <vector>

namespace testkit {

/**
 * Replaces the system calls for disks and filesystems during its lifetime; only one may exist.
 *
 * The program defines `ioctl`, `statvfs`, `open`, `fstatat` and `realpath`. They call the C library
 * unless a function here sets a result. So ordinary files can stand for block devices.
 */
class DiskCalls : dovrel::noncopyable_::noncopyable {
public:
    DiskCalls();
    ~DiskCalls();

    /** Sets the sector size of the file @p device (ioctl `BLKSSZGET`). */
    void sectorSize(std::string const& device, int bytes) { m_sectorSizes[device] = bytes; }

    /** Sets the SCSI bus number of the file @p device. */
    void bus(std::string const& device, int number) { m_buses[device] = number; }

    /** Sets the result of statvfs(3) for @p mountPoint. */
    void filesystem(std::string const& mountPoint, struct statvfs const& status);

    /** Makes the next calls of statvfs(3) for @p mountPoint fail with EINTR. */
    void interruptStatvfs(std::string const& mountPoint, unsigned times)
    {
        m_interruptsOfStatvfs[mountPoint] = times;
    }

    /** Makes the next opens of @p path fail with EINTR. */
    void interruptOpening(std::string const& path, unsigned times) { m_interrupts[path] = times; }

    /** Clears the recorded calls. */
    void forget();

    struct Opened {
        std::string path;
        int flags;
    };
    /** @return the calls of open(2), failed ones included. */
    std::vector<Opened> const& opened() const { return m_opened; }

    unsigned realpaths() const { return m_realpaths; }

    /** @return the number of fstatat(2) calls for entries of an open folder. */
    unsigned entriesLookedAt() const { return m_entriesLookedAt; }

    /** @return the paths of the statvfs(3) calls. */
    std::vector<std::string> const& statvfsPaths() const { return m_statvfsPaths; }

    // For the functions; `false` passes the call to the C library.
    bool fakeIoctl(int fd, unsigned long request, void* out);
    bool fakeStatvfs(char const* path, struct statvfs* out);
    bool isOpenInterrupted(char const* path, int flags);
    bool isStatvfsInterrupted(char const* path);
    void countEntry() { ++m_entriesLookedAt; }
    void countRealpath() { ++m_realpaths; }

private:
    std::map<std::string, int> m_sectorSizes;
    std::map<std::string, int> m_buses;
    std::map<std::string, struct statvfs> m_filesystems;
    std::map<std::string, unsigned> m_interrupts;
    std::vector<Opened> m_opened;
    std::vector<std::string> m_statvfsPaths;
    std::map<std::string, unsigned> m_interruptsOfStatvfs;
    unsigned m_realpaths = 0;
    unsigned m_entriesLookedAt = 0;
};

/** @return a filesystem of that many blocks, for `DiskCalls::filesystem`. */
struct statvfs filesystemOf(
    unsigned long long blocks, unsigned long long freeBlocks, unsigned long blockSize);

}
