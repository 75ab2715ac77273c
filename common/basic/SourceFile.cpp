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

// cppcheck-suppress uninitMemberVar ; the buffer is written before it is read
SourceFileBuffer::SourceFileBuffer(char const* path, SourceKind kind)
{
    do
        m_descriptor = ::open(path, O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
    while (m_descriptor < 0 && errno == EINTR);
    // What is looked at is the file that was opened: by its name it may be another by now.
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
