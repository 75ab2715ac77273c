#pragma once

#include <istream>
#include <streambuf>
#include <sys/types.h>

namespace sysinfo {

/** Reads a file's bytes as they are; a read that fails ends the text. */
class SourceFileBuffer : public std::streambuf {
public:
    explicit SourceFileBuffer(char const* path);
    SourceFileBuffer(SourceFileBuffer const&) = delete;
    SourceFileBuffer& operator=(SourceFileBuffer const&) = delete;
    ~SourceFileBuffer() override;

    bool isOpen() const { return m_descriptor >= 0; }

protected:
    int_type underflow() override;
    std::streamsize xsgetn(char* out, std::streamsize count) override;

private:
    ssize_t readSome(char* out, size_t count) const;

    int m_descriptor;
    char m_buffer[1024];
};

/**
 * One of the kernel's text files, or another that is small, opened for reading.
 *
 * Unlike std::ifstream its descriptor is close-on-exec from birth, so that a child which another
 * thread of the host starts meanwhile does not inherit it; a terminal under that name does not
 * become the host's; a read that a signal interrupts goes on; and numbers are read with the classic
 * locale. False where the file cannot be opened.
 */
class SourceFile : public std::istream {
public:
    explicit SourceFile(char const* path);

private:
    SourceFileBuffer m_buffer;
};

}
