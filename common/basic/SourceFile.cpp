#include "common/basic/SourceFile.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <locale>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace dovrel {

namespace {

/** @return false with `errno` set where the path leads to no regular file. */
bool isRegular(char const* path)
{
    struct stat status;
    if (::stat(path, &status) != 0)
        return false;
    if (!S_ISREG(status.st_mode))
        errno = EINVAL;
    return S_ISREG(status.st_mode);
}

int openForReading(char const* path, int flags)
{
    int descriptor = -1;
    do
        descriptor = ::open(path, O_RDONLY | O_CLOEXEC | O_NOCTTY | flags);
    while (descriptor < 0 && errno == EINTR);
    return descriptor;
}

}

// cppcheck-suppress uninitMemberVar ; the buffer is written before it is read
SourceFileBuffer::SourceFileBuffer(char const* path, SourceKind kind)
{
    // Opening a device may have effects: a tape rewinds, a watchdog starts.
    if (kind == SourceKind::regular && !isRegular(path))
        return;
    m_descriptor = openForReading(path, O_NONBLOCK);
    // Another process, a file server perhaps, has a lease on the file; fcntl(2). An open that waits
    // makes the kernel take the lease away.
    if (m_descriptor < 0 && errno == EWOULDBLOCK && isRegular(path))
        m_descriptor = openForReading(path, 0);
    // The path may lead to another file since it was looked at.
    struct stat status;
    if (m_descriptor >= 0 && kind == SourceKind::regular
        && (::fstat(m_descriptor, &status) != 0 || !S_ISREG(status.st_mode))) {
        ::close(std::exchange(m_descriptor, -1));
        errno = EINVAL;
    }
}

SourceFileBuffer::~SourceFileBuffer()
{
    if (m_descriptor >= 0)
        ::close(m_descriptor);
}

ssize_t SourceFileBuffer::readSome(char* out, size_t count)
{
    ssize_t got = -1;
    do
        got = ::read(m_descriptor, out, count);
    while (got < 0 && errno == EINTR);
    if (got < 0 && m_readError == 0)
        m_readError = errno;
    return got;
}

SourceFileBuffer::int_type SourceFileBuffer::underflow()
{
    ssize_t const got = readSome(m_buffer, sizeof m_buffer);
    if (got <= 0)
        return traits_type::eof();
    setg(m_buffer, m_buffer, m_buffer + got);
    return traits_type::to_int_type(m_buffer[0]);
}

// Large pieces go straight to the reader, without a copy through the buffer.
std::streamsize SourceFileBuffer::xsgetn(char* out, std::streamsize count)
{
    std::streamsize const buffered = std::min<std::streamsize>(count, egptr() - gptr());
    if (buffered > 0) {
        std::memcpy(out, gptr(), static_cast<size_t>(buffered));
        gbump(static_cast<int>(buffered));
    }
    std::streamsize done = buffered;
    while (done < count) {
        ssize_t const got = readSome(out + done, static_cast<size_t>(count - done));
        if (got <= 0)
            break;
        done += got;
    }
    return done;
}

SourceFile::SourceFile(char const* path, SourceKind kind)
    : std::istream(nullptr), m_buffer(path, kind)
{
    rdbuf(&m_buffer);
    imbue(std::locale::classic());
    if (!m_buffer.isOpen())
        setstate(std::ios_base::failbit);
}

}
