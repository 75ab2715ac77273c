#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <string_view>
#include <system_error>

/** A file in memory, memfd_create(2), that exists as long as this object. */
class MemoryFile {
public:
    explicit MemoryFile(std::string_view text) : m_descriptor(::memfd_create("text", MFD_CLOEXEC))
    {
        if (m_descriptor < 0)
            throw std::system_error(errno, std::generic_category(), "memfd_create");
        while (!text.empty()) {
            ssize_t const written = ::write(m_descriptor, text.data(), text.size());
            if (written < 0) {
                int const error = errno;
                ::close(m_descriptor);
                throw std::system_error(error, std::generic_category(), "write");
            }
            text.remove_prefix(static_cast<size_t>(written));
        }
    }
    MemoryFile(MemoryFile const&) = delete;
    MemoryFile& operator=(MemoryFile const&) = delete;
    ~MemoryFile() { ::close(m_descriptor); }

    std::string path() const { return "/proc/self/fd/" + std::to_string(m_descriptor); }

private:
    int m_descriptor;
};
