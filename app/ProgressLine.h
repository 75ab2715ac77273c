#pragma once

#include <chrono>
#include <cstddef>

namespace app {

/** One line on standard error that is drawn over itself while the program waits; nothing at all
 * where standard error is no terminal. */
class ProgressLine {
public:
    /** @param wanted false keeps it silent on a terminal too. */
    explicit ProgressLine(bool wanted) noexcept;
    ProgressLine(ProgressLine const&) = delete;
    ProgressLine& operator=(ProgressLine const&) = delete;

    /** Leaves an empty line with the cursor at its beginning. */
    ~ProgressLine();

    /** Draws "sampling 2/64 processors ... 3 s". */
    void show(size_t done, size_t total, std::chrono::steady_clock::duration elapsed) noexcept;

private:
    bool const m_enabled;
    size_t m_drawn = 0; // Columns that stand there.
};

}
