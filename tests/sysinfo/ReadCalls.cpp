#include "tests/sysinfo/ReadCalls.h"

#include <dlfcn.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace testkit {

namespace {

ReadCalls* current = nullptr;

/** Calls the C library's read, or a sanitizer's wrapper of it. */
ssize_t realRead(int fd, void* buffer, size_t size)
{
    using Read = ssize_t (*)(int, void*, size_t);
    static auto const real = reinterpret_cast<Read>(::dlsym(RTLD_NEXT, "read"));
    if (!real)
        std::abort();
    return real(fd, buffer, size);
}

}

ReadCalls::ReadCalls(std::string path) : m_path(std::move(path))
{
    current = this;
}

ReadCalls::~ReadCalls()
{
    current = nullptr;
}

void ReadCalls::failBehind(size_t bytes, int code)
{
    m_left = bytes;
    m_code = code;
}

void ReadCalls::repeat(std::string const& text)
{
    while (m_repeated.size() < 8192)
        m_repeated += text;
}

bool ReadCalls::isFile(int fd) const
{
    struct stat open { };
    struct stat named { };
    return ::fstat(fd, &open) == 0 && ::stat(m_path.c_str(), &named) == 0
        && open.st_dev == named.st_dev && open.st_ino == named.st_ino;
}

ssize_t ReadCalls::fakeRead(int fd, void* buffer, size_t size)
{
    if (++m_reads == 2 && m_beforeSecond)
        m_beforeSecond();
    if (!m_repeated.empty())
        return giveRepeated(static_cast<char*>(buffer), size);
    if (m_isSlow) {
        m_isInterrupted = !m_isInterrupted;
        if (m_isInterrupted)
            return fail(EINTR);
    }
    if (m_left == 0)
        return fail(m_code);
    ssize_t const got = realRead(fd, buffer, m_isSlow ? 1 : std::min(size, m_left));
    m_left -= static_cast<size_t>(std::max<ssize_t>(got, 0));
    return got;
}

ssize_t ReadCalls::giveRepeated(char* buffer, size_t size)
{
    for (size_t done = 0; done < size;) {
        size_t const piece = std::min(size - done, m_repeated.size() - m_at);
        std::memcpy(buffer + done, m_repeated.data() + m_at, piece);
        m_at = (m_at + piece) % m_repeated.size();
        done += piece;
    }
    return static_cast<ssize_t>(size);
}

ssize_t ReadCalls::fail(int code)
{
    ++m_failures;
    errno = code;
    return -1;
}

}

extern "C" __attribute__((visibility("default"))) ssize_t read(int fd, void* buffer, size_t size)
{
    if (testkit::current && testkit::current->isFile(fd))
        return testkit::current->fakeRead(fd, buffer, size);
    return testkit::realRead(fd, buffer, size);
}
