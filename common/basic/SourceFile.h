#pragma once

#include <istream>
#include <streambuf>
#include <sys/types.h>

namespace dovrel {

/** The files that may be opened: any, or only regular files, also through links. Without /proc, a
 * device that replaces a regular file during the call may be opened; it is closed unread. */
enum class SourceKind { any, regular };

/** Stream buffer that reads a file without conversion. A failed read ends the data. */
class SourceFileBuffer : public std::streambuf {
public:
    SourceFileBuffer(char const* path, SourceKind kind);
    SourceFileBuffer(SourceFileBuffer const&) = delete;
    SourceFileBuffer& operator=(SourceFileBuffer const&) = delete;
    ~SourceFileBuffer() override;

    bool isOpen() const { return m_descriptor >= 0; }
    int readError() const { return m_readError; }

protected:
    int_type underflow() override;
    std::streamsize xsgetn(char* out, std::streamsize count) override;

private:
    ssize_t readSome(char* out, size_t count);

    int m_descriptor = -1;
    int m_readError = 0;
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

private:
    SourceFileBuffer m_buffer;
};

}
