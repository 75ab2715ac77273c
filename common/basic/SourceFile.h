#pragma once

#include <cerrno>
#include <cstddef>
#include <istream>
#include <streambuf>
#include <string>
#include <sys/types.h>

namespace dovrel {

/** The files that may be opened: any, or only regular files, also through links. Without /proc, a
 * device that replaces a regular file during the call may be opened; it is closed unread. */
enum class SourceKind { any, regular };

/** Stream buffer that reads a file without conversion. A failed read ends the data, and so does the
 * largest size. */
class SourceFileBuffer : public std::streambuf {
public:
    /**
     * The largest size of a file in bytes. A file that never ends must not take the host's memory.
     *
     * No real source is as large. 100,000 mounts, the kernel's limit (fs.mount-max), have 16 MB
     * with lines of 160 bytes, and 60 MB with lines of 600. /proc/stat has 1 MB with 8,192
     * processors and 2 MB more with a million interrupts. /proc/partitions has 4 MB with 100,000
     * partitions.
     */
    static constexpr size_t LARGEST_SIZE = size_t{64} << 20;

    SourceFileBuffer(char const* path, SourceKind kind);
    SourceFileBuffer(SourceFileBuffer const&) = delete;
    SourceFileBuffer& operator=(SourceFileBuffer const&) = delete;
    ~SourceFileBuffer() override;

    bool isOpen() const { return m_descriptor >= 0; }
    int readError() const { return m_readError; }

    /** Reads the rest of the file into memory. Later reads of the stream take it from there. */
    void readAhead();

protected:
    int_type underflow() override;
    std::streamsize xsgetn(char* out, std::streamsize count) override;

private:
    ssize_t readSome(char* out, size_t count);

    int m_descriptor = -1;
    int m_readError = 0;
    size_t m_size = 0; ///< The bytes read so far.
    std::string m_rest;
    char m_buffer[8192];
};

/**
 * Input stream that reads a small file, for example one under /proc. The stream is false if the
 * file cannot be opened; `errno` contains the reason.
 *
 * Differences from std::ifstream:
 * - The descriptor is close-on-exec (`O_CLOEXEC`): children that other threads start meanwhile do
 *   not inherit it.
 * - A terminal does not become the controlling terminal of the host (`O_NOCTTY`).
 * - A FIFO without a writer does not block (`O_NONBLOCK`).
 * - A read that a signal interrupts is repeated.
 * - Numbers are read with the classic locale.
 * - An extraction that runs out of memory throws std::bad_alloc.
 * - The data ends after `SourceFileBuffer::LARGEST_SIZE`; see `isTooLarge`.
 *
 * If another process has a lease on the file (fcntl(2)), the constructor waits until the holder
 * gives it up or the kernel breaks it, by default after 45 seconds
 * (/proc/sys/fs/lease-break-time). It fails after 60 seconds.
 */
class SourceFile : public std::istream {
public:
    explicit SourceFile(char const* path, SourceKind kind = SourceKind::any);

    /** @return the `errno` value of the read that failed; 0 if none did. */
    int readError() const { return m_buffer.readError(); }

    /** @return whether the data ended because the file is larger than the largest size. A read
     * error too, `EFBIG`. */
    bool isTooLarge() const { return readError() == EFBIG; }

    /** Reads the rest of the file into memory, so that a file that is too large is noticed before
     * its data is used. @return false if it is too large. */
    bool readAhead()
    {
        m_buffer.readAhead();
        return !isTooLarge();
    }

private:
    SourceFileBuffer m_buffer;
};

}
