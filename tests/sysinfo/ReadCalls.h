#pragma once

#include "common/basic/noncopyable.h"

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <utility>

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

    /** Makes the file endless: it contains @p text again and again. */
    void repeat(std::string const& text);

    /** Sets a function that is called before the second read. */
    void beforeSecondRead(std::function<void()> handler) { m_beforeSecond = std::move(handler); }

    /** @return the number of failed reads, EINTR included. */
    unsigned failures() const { return m_failures; }

    // For the function.
    bool isFile(int fd) const;
    ssize_t fakeRead(int fd, void* buffer, size_t size);

private:
    ssize_t fail(int code);
    ssize_t giveRepeated(char* buffer, size_t size);

    std::string m_path;
    bool m_isSlow = false;
    bool m_isInterrupted = false;
    size_t m_left = SIZE_MAX;
    int m_code = 0;
    unsigned m_failures = 0;
    std::string m_repeated;
    size_t m_at = 0;
    unsigned m_reads = 0;
    std::function<void()> m_beforeSecond;
};

}
