#pragma once

#include "common/basic/noncopyable.h"

#include <sys/statvfs.h>

#include <map>
#include <string>
#include <vector>

namespace testkit {

/**
 * Answers the calls by which disks and filesystems are asked, while it lives; one at a time.
 *
 * The program defines `ioctl`, `statvfs`, `open`, `fstatat` and `realpath`, which do what the C
 * library's do where nothing else is said here: an ordinary file of the machine is no block device,
 * after all.
 */
class DiskCalls : dovrel::noncopyable_::noncopyable {
public:
    DiskCalls();
    ~DiskCalls();

    /** Makes the file @p device tell a sector size; `BLKSSZGET`. */
    void sectorSize(std::string const& device, int bytes) { m_sectorSizes[device] = bytes; }

    /** Makes the file @p device tell its SCSI bus. */
    void bus(std::string const& device, int number) { m_buses[device] = number; }

    /** Makes statvfs(3) tell this of @p mountPoint. */
    void filesystem(std::string const& mountPoint, struct statvfs const& status);

    /** Makes statvfs(3) of @p mountPoint fail so often with EINTR. */
    void interruptAsking(std::string const& mountPoint, unsigned times)
    {
        m_interruptsOfAsking[mountPoint] = times;
    }

    /** Makes opening @p path fail so often with EINTR. */
    void interruptOpening(std::string const& path, unsigned times) { m_interrupts[path] = times; }

    /** Forgets what was asked so far, by the test itself perhaps. */
    void forget();

    struct Opened {
        std::string path;
        int flags;
    };
    /** All that was opened, or tried to be. */
    std::vector<Opened> const& opened() const { return m_opened; }

    unsigned realpaths() const { return m_realpaths; }

    /** How often fstatat(2) was called for an entry of an open folder. */
    unsigned entriesLookedAt() const { return m_entriesLookedAt; }

    /** The paths that statvfs(3) was asked for. */
    std::vector<std::string> const& filesystemsAsked() const { return m_filesystemsAsked; }

    // What the functions do. `false` sends them to the C library.
    bool answerIoctl(int fd, unsigned long request, void* out);
    bool answerStatvfs(char const* path, struct statvfs* out);
    bool isInterrupted(char const* path, int flags);
    bool isAskingInterrupted(char const* path);
    void countEntry() { ++m_entriesLookedAt; }
    void countRealpath() { ++m_realpaths; }

private:
    std::map<std::string, int> m_sectorSizes;
    std::map<std::string, int> m_buses;
    std::map<std::string, struct statvfs> m_filesystems;
    std::map<std::string, unsigned> m_interrupts;
    std::vector<Opened> m_opened;
    std::vector<std::string> m_filesystemsAsked;
    std::map<std::string, unsigned> m_interruptsOfAsking;
    unsigned m_realpaths = 0;
    unsigned m_entriesLookedAt = 0;
};

/** @return a filesystem of so many blocks. */
struct statvfs filesystemOf(
    unsigned long long blocks, unsigned long long freeBlocks, unsigned long blockSize);

}
