#pragma once

#include <istream>
#include <streambuf>
#include <sys/types.h>

namespace dovrel {

/** The files that are opened: any, or regular ones alone, through links too. Where /proc is not
 * mounted, a file that takes the place of a regular one at that very moment is opened and closed
 * unread. */
enum class SourceKind { any, regular };

/** Reads a file's bytes as they are; a read that fails ends the text. */
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
 * One of the kernel's text files, or another that is small, opened for reading.
 *
 * Unlike std::ifstream its descriptor is close-on-exec from birth, so that a child which another
 * thread of the host starts meanwhile does not inherit it; a terminal under that name does not
 * become the host's; a FIFO that nobody writes to does not hold the caller; a read that a signal
 * interrupts goes on; and numbers are read with the classic locale. Where another process has a
 * lease on a regular file (fcntl(2)), the constructor waits until the holder gives it up or the
 * kernel takes it, which is after the seconds in /proc/sys/fs/lease-break-time, 45 by default, and
 * gives up after 60. False where the file cannot be
 * opened; `errno` contains the reason.
 */
class SourceFile : public std::istream {
public:
    explicit SourceFile(char const* path, SourceKind kind = SourceKind::any);

    /** @return the `errno` of the read that failed and so ended the text; 0 where none did. */
    int readError() const { return m_buffer.readError(); }

private:
    SourceFileBuffer m_buffer;
};

}
