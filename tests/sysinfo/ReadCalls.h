#pragma once

#include "common/basic/noncopyable.h"

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <string>

namespace testkit {

/**
 * Says how reading one file goes, while it lives; one at a time, and for one thread.
 *
 * The program defines `read`, which does what the C library's does with every other file.
 */
class ReadCalls : dovrel::noncopyable_::noncopyable {
public:
    explicit ReadCalls(std::string path);
    ~ReadCalls();

    /** Makes each read give one byte, after a signal interrupted it once. */
    void giveSingleBytesBetweenSignals() { m_isSlow = true; }

    /** Makes reading fail once @p bytes were read. */
    void failBehind(size_t bytes, int code);

    /** @return how many reads were interrupted or have failed. */
    unsigned failures() const { return m_failures; }

    // What the function does; `false` sends it to the C library for all it asks.
    bool isFile(int fd) const;
    ssize_t answer(int fd, void* buffer, size_t size);

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
