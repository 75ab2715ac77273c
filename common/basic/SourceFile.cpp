#include "common/basic/SourceFile.h"

#include "common/basic/retry.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <locale>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace dovrel {

namespace {

using Clock = std::chrono::steady_clock;

/** More than the time that the kernel gives the holder of a lease, 45 s by default. */
constexpr auto LONGEST_LEASE = std::chrono::seconds(60);

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

int openAtOnce(char const* path)
{
    return retryInterrupted(
        [path] { return ::open(path, O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK); });
}

/**
 * Opens a file for reading, past the lease of another process, a file server perhaps; fcntl(2).
 *
 * The first open makes the kernel ask the holder for the lease, and take it after some time. An
 * open that waits for that could wait for ever: for the writer of a FIFO that took the file's
 * place.
 */
int openPastLease(char const* path)
{
    auto const end = Clock::now() + LONGEST_LEASE;
    int descriptor = openAtOnce(path);
    while (descriptor < 0 && errno == EWOULDBLOCK && isRegular(path) && Clock::now() < end) {
        constexpr int ROUND_MS = 10;
        ::poll(nullptr, 0, ROUND_MS);
        descriptor = openAtOnce(path);
    }
    return descriptor;
}

bool isRegular(int descriptor)
{
    struct stat status;
    return ::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
}

/** Opens a regular file and no other: opening a device may have effects, a tape rewinds or a
 * watchdog starts. */
int openRegular(char const* path)
{
    // Opens nothing, but keeps hold of the file that the path leads to at this moment.
    int const found = retryInterrupted([path] { return ::open(path, O_PATH | O_CLOEXEC); });
    if (found < 0)
        return -1;
    int descriptor = -1;
    errno = EINVAL;
    if (isRegular(found)) {
        char name[32];
        std::snprintf(name, sizeof name, "/proc/self/fd/%d", found);
        descriptor = openPastLease(name);
        if (descriptor < 0 && errno == ENOENT) // There is no /proc.
            descriptor = openPastLease(path);
    }
    int const error = errno;
    ::close(found);
    errno = error;
    return descriptor;
}

}

// cppcheck-suppress uninitMemberVar ; the buffer is written before it is read
SourceFileBuffer::SourceFileBuffer(char const* path, SourceKind kind)
    : m_descriptor(kind == SourceKind::regular ? openRegular(path) : openPastLease(path))
{
    // Without /proc the path may lead to another file since it was looked at.
    if (m_descriptor >= 0 && kind == SourceKind::regular && !isRegular(m_descriptor)) {
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
    ssize_t const got = retryInterrupted([&] { return ::read(m_descriptor, out, count); });
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
