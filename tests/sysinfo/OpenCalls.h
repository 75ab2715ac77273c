#pragma once

#include "common/basic/noncopyable.h"

#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace testkit {

/**
 * Controls open(2) of one file during its lifetime; only one may exist, for one thread.
 *
 * The program defines `open`, which calls the C library's for all other files.
 */
class OpenCalls : dovrel::noncopyable_::noncopyable {
public:
    explicit OpenCalls(std::string path);
    ~OpenCalls();

    /** Makes the next opens with O_NONBLOCK fail, as on a file that another process has leased. */
    void refuseWithoutWait(int code, unsigned times = 1)
    {
        m_refusal = code;
        m_refusals = times;
    }

    /** Makes the next opens fail with EINTR. */
    void interrupt(unsigned times) { m_interrupts = times; }

    /** Sets a function that is called before each open. */
    void before(std::function<void()> handler) { m_before = std::move(handler); }

    /** @return the flags of each open of the file, without those with O_PATH. */
    std::vector<int> const& flags() const { return m_flags; }

    // For the function; `false` passes the call to the C library.
    bool isFile(char const* path) const { return path == m_path; }
    bool fails(int flags);

private:
    std::string m_path;
    int m_refusal = 0;
    unsigned m_refusals = 0;
    unsigned m_interrupts = 0;
    std::function<void()> m_before;
    std::vector<int> m_flags;
};

}
