#include "app/ProgressLine.h"

#include "app/write/names.h"
#include "app/write/standard_streams.h"

#include <chrono>
#include <unistd.h>

namespace app {

namespace {

constexpr auto SHOWN_AFTER = std::chrono::milliseconds(1500);

/** Blanks in place of an escape sequence: every terminal understands them. */
void draw(std::string const& text, size_t over)
{
    std::string const rest(over > text.size() ? over - text.size() : 0, ' ');
    (void)writeWhole(STDERR_FILENO, "\r" + text + rest + (text.empty() ? "\r" : ""));
}

}

ProgressLine::ProgressLine(bool wanted)
{
    if (wanted && isatty(STDERR_FILENO) == 1)
        m_thread = std::thread(&ProgressLine::run, this);
}

ProgressLine::~ProgressLine()
{
    {
        std::lock_guard const lock(m_mutex);
        m_ended = true;
    }
    m_changed.notify_all();
    if (m_thread.joinable())
        m_thread.join();
}

void ProgressLine::show(Subject subject)
{
    {
        std::lock_guard const lock(m_mutex);
        m_text = "reading the " + subjectText(subject) + " ...";
    }
    m_changed.notify_all();
}

void ProgressLine::run()
{
    std::unique_lock lock(m_mutex);
    if (m_changed.wait_for(lock, SHOWN_AFTER, [this] { return m_ended; }))
        return;
    std::string drawn;
    while (!m_ended) {
        draw(m_text, drawn.size());
        drawn = m_text;
        m_changed.wait(lock, [&] { return m_ended || m_text != drawn; });
    }
    draw("", drawn.size());
}

}
