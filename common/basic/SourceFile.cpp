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

/** Longer than the kernel waits for the holder of a lease, by default 45 s. */
constexpr auto LEASE_TIMEOUT = std::chrono::seconds(60);

/** @return false, with `errno` set, if the path does not lead to a regular file. */
bool isRegular(char const* path)
{
    struct stat status;
    if (::stat(path, &status) != 0)
        return false;
    if (!S_ISREG(status.st_mode))
        errno = EINVAL;
    return S_ISREG(status.st_mode);
}

int openWithoutBlocking(char const* path)
{
    return retryInterrupted(
        [path] { return ::open(path, O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK); });
}

/**
 * Opens a file for reading. Waits if another process, such as a file server, has a lease on it;
 * fcntl(2).
 *
 * The first open makes the kernel break the lease, which takes some time. An open that blocks
 * meanwhile could block for ever, if a FIFO without a writer replaced the file.
 */
int openBreakingLease(char const* path)
{
    auto const end = Clock::now() + LEASE_TIMEOUT;
    int descriptor = openWithoutBlocking(path);
    while (descriptor < 0 && errno == EWOULDBLOCK && isRegular(path) && Clock::now() < end) {
        constexpr int ROUND_MS = 10;
        ::poll(nullptr, 0, ROUND_MS);
        descriptor = openWithoutBlocking(path);
    }
    return descriptor;
}

bool isRegular(int descriptor)
{
    struct stat status;
    return ::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
}

/** Opens only a regular file. Opening a device may have side effects: a tape rewinds, a watchdog
 * starts. */
int openRegular(char const* path)
{
    // O_PATH refers to the file without opening it.
    int const reference = retryInterrupted([path] { return ::open(path, O_PATH | O_CLOEXEC); });
    if (reference < 0)
        return -1;
    int descriptor = -1;
    errno = EINVAL;
    if (isRegular(reference)) {
        char name[32];
        std::snprintf(name, sizeof name, "/proc/self/fd/%d", reference);
        descriptor = openBreakingLease(name);
        if (descriptor < 0 && errno == ENOENT) { // /proc is not mounted.
            descriptor = openBreakingLease(path);
            // Another file may have replaced the checked one.
            if (descriptor >= 0 && !isRegular(descriptor)) {
                ::close(std::exchange(descriptor, -1));
                errno = EINVAL;
            }
        }
    }
    int const error = errno;
    ::close(reference);
    errno = error;
    return descriptor;
}

}

// cppcheck-suppress uninitMemberVar ; the buffer is written before it is read
SourceFileBuffer::SourceFileBuffer(char const* path, SourceKind kind)
    : m_descriptor(kind == SourceKind::regular ? openRegular(path) : openBreakingLease(path))
{
}

SourceFileBuffer::~SourceFileBuffer()
{
    if (m_descriptor >= 0)
        ::close(m_descriptor);
}

ssize_t SourceFileBuffer::readSome(char* out, size_t count)
{
    if (m_readError != 0)
        return -1; // The data has ended.
    ssize_t got = retryInterrupted([&] { return ::read(m_descriptor, out, count); });
    m_size += static_cast<size_t>(std::max<ssize_t>(got, 0));
    if (m_size > LARGEST_SIZE) {
        errno = EFBIG;
        got = -1;
    }
    if (got < 0)
        m_readError = errno;
    return got;
}

void SourceFileBuffer::readAhead()
{
    constexpr size_t PAGE = 4096;
    m_rest.assign(gptr(), egptr());
    size_t length = m_rest.size();
    for (ssize_t got = 1; got > 0; length += static_cast<size_t>(std::max<ssize_t>(got, 0))) {
        if (length == m_rest.size())
            m_rest.resize(std::clamp(2 * length, PAGE, LARGEST_SIZE + PAGE));
        got = readSome(m_rest.data() + length, m_rest.size() - length);
    }
    setg(m_rest.data(), m_rest.data(), m_rest.data() + length);
}

SourceFileBuffer::int_type SourceFileBuffer::underflow()
{
    ssize_t const got = readSome(m_buffer, sizeof m_buffer);
    if (got <= 0)
        return traits_type::eof();
    setg(m_buffer, m_buffer, m_buffer + got);
    return traits_type::to_int_type(m_buffer[0]);
}

// Reads large blocks directly into @p out, without a copy through the buffer.
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
    if (getloc() != std::locale::classic()) // Usually the same; imbue looks up three facets.
        imbue(std::locale::classic());
    // Nothing else sets it: a failed read is the end of the data.
    exceptions(std::ios_base::badbit);
    if (!m_buffer.isOpen())
        setstate(std::ios_base::failbit);
}

}
