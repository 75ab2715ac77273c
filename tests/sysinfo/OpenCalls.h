#pragma once

#include "common/basic/noncopyable.h"

#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace testkit {

/**
 * Says how opening one file goes, while it lives; one at a time, and for one thread.
 *
 * The program defines `open`, which does what the C library's does with every other file.
 */
class OpenCalls : dovrel::noncopyable_::noncopyable {
public:
    explicit OpenCalls(std::string path);
    ~OpenCalls();

    /** Makes so many opens that are not to wait fail, as those of a file under another process's
     * lease. */
    void refuseWithoutWait(int code, unsigned times = 1)
    {
        m_refusal = code;
        m_refusals = times;
    }

    /** Makes so many opens fail with EINTR. */
    void interrupt(unsigned times) { m_interrupts = times; }

    /** Called before the file is opened. */
    void before(std::function<void()> handler) { m_before = std::move(handler); }

    /** @return the flags of each open of the file; O_PATH opens nothing and does not count. */
    std::vector<int> const& flags() const { return m_flags; }

    // What the function does. `false` sends it to the C library.
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
