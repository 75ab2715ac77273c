#include "app/ProgressLine.h"

#include "app/standard_streams.h"

#include <array>
#include <cstdio>
#include <string>
#include <unistd.h>

namespace app {

namespace {

// Blanks instead of an escape sequence: any terminal understands them.
void draw(std::string const& line, size_t over) noexcept
{
    std::string const rest(over > line.size() ? over - line.size() : 0, ' ');
    (void)writeWhole(STDERR_FILENO, "\r" + line + rest + (line.empty() ? "\r" : ""));
}

}

ProgressLine::ProgressLine(bool wanted) noexcept : m_enabled(wanted && isatty(STDERR_FILENO) == 1)
{
}

ProgressLine::~ProgressLine()
{
    if (m_drawn > 0)
        draw("", m_drawn);
}

void ProgressLine::show(
    size_t done, size_t total, std::chrono::steady_clock::duration elapsed) noexcept
{
    if (!m_enabled)
        return;
    long long const seconds = std::chrono::duration_cast<std::chrono::seconds>(elapsed).count();
    std::array<char, 100> line;
    int const length = std::snprintf(
        line.data(), line.size(), "sampling %zu/%zu processors ... %lld s", done, total, seconds);
    if (length <= 0)
        return;
    draw(line.data(), m_drawn);
    m_drawn = static_cast<size_t>(length);
}

}
