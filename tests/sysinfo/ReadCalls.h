#pragma once

#include "common/basic/noncopyable.h"

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <string>

namespace testkit {

/**
 * Controls read(2) of one file during its lifetime; only one may exist, for one thread.
 *
 * The program defines `read`, which calls the C library's for all other files.
 */
class ReadCalls : dovrel::noncopyable_::noncopyable {
public:
    explicit ReadCalls(std::string path);
    ~ReadCalls();

    /** Makes each read fail once with EINTR and then return one byte. */
    void giveSingleBytesBetweenSignals() { m_isSlow = true; }

    /** Makes reads fail with @p code after @p bytes bytes. */
    void failBehind(size_t bytes, int code);

    /** @return the number of failed reads, EINTR included. */
    unsigned failures() const { return m_failures; }

    // For the function.
    bool isFile(int fd) const;
    ssize_t fakeRead(int fd, void* buffer, size_t size);

private:
    ssize_t fail(int code);

    std::string m_path;
    bool m_isSlow = false;
    bool m_isInterrupted = false;
    size_t m_left = SIZE_MAX;
    int m_code = 0;
    unsigned m_failures = 0;
};

}
