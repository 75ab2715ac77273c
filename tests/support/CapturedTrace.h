#pragma once

#include "common/basic/noncopyable.h"
#include "common/platform/trace.h"

#include <iosfwd>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace testkit {

struct TraceLine {
    unsigned level;
    std::string scope;
    std::string line; // Includes the newline.
};

std::ostream& operator<<(std::ostream& out, TraceLine const& line);

/** Collects the library's trace messages during its lifetime. Only one object may exist. Threads
 * may trace concurrently. */
class CapturedTrace : dovrel::noncopyable_::noncopyable {
public:
    /** @param detailLevel the highest level to collect; 5 is all. */
    explicit CapturedTrace(unsigned detailLevel = 5);

    /** Switches the trace off: level 0, no sink. */
    ~CapturedTrace();

    std::vector<TraceLine> lines() const;

    /** @return whether a line of exactly this level contains @p text. */
    bool contains(unsigned level, std::string_view text) const;

    /** @return the lines of this level, concatenated. */
    std::string text(unsigned level) const;

private:
    static void collect(
        void* context, unsigned level, char const* scope, dovrel::string const& line);

    mutable std::mutex m_mutex;
    std::vector<TraceLine> m_lines;
};

}
