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
    std::string line; // With its newline.
};

std::ostream& operator<<(std::ostream& out, TraceLine const& line);

/** Collects what the library traces while it lives; one at a time. Lines may come from several
 * threads. */
class CapturedTrace : dovrel::noncopyable_::noncopyable {
public:
    /** @param detailLevel messages up to this level are collected; 5 is everything. */
    explicit CapturedTrace(unsigned detailLevel = 5);

    /** Switches the trace off again: level 0, no sink. */
    ~CapturedTrace();

    std::vector<TraceLine> lines() const;

    /** @return whether a line of exactly this level contains @p text. */
    bool contains(unsigned level, std::string_view text) const;

    /** @return the lines of this level, one after the other. */
    std::string text(unsigned level) const;

private:
    static void collect(
        void* context, unsigned level, char const* scope, dovrel::string const& line);

    mutable std::mutex m_mutex;
    std::vector<TraceLine> m_lines;
};

}
