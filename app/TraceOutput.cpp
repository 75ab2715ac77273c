#include "app/TraceOutput.h"

#include "app/display.h"
#include "app/standard_streams.h"

#include <algorithm>
#include <unistd.h>
#include <utility>

namespace app {

namespace {

constexpr unsigned FAILURE_LEVEL = 1;

}

TraceOutput::TraceOutput(TraceControl const& control, unsigned shownLevel)
    : m_control(control), m_shownLevel(shownLevel)
{
    if (!m_control)
        return;
    m_control.setSink(&TraceOutput::receive, this);
    listenUpTo(FAILURE_LEVEL);
}

TraceOutput::~TraceOutput()
{
    if (!m_control)
        return;
    m_control.setDetailLevel(0);
    m_control.setSink(nullptr, nullptr);
}

std::string TraceOutput::takeFailure()
{
    std::lock_guard const lock(m_mutex);
    return std::exchange(m_failure, {});
}

void TraceOutput::listenUpTo(unsigned level) const
{
    if (m_control)
        m_control.setDetailLevel(std::max(m_shownLevel, level));
}

void TraceOutput::receive(
    void* context, unsigned level, char const* /*scope*/, dovrel::string const& line)
{
    TraceOutput& self = *static_cast<TraceOutput*>(context);
    std::string text = static_cast<char const*>(line);
    text.erase(text.find_last_not_of('\n') + 1);
    text = printable(text);
    if (level <= self.m_shownLevel)
        (void)writeWhole(STDERR_FILENO, "trace " + std::to_string(level) + ": " + text + "\n");
    std::lock_guard const lock(self.m_mutex);
    if (self.m_recording && level <= self.m_recording->m_level)
        self.m_recording->m_messages.push_back({level, text});
    if (level == FAILURE_LEVEL)
        self.m_failure = std::move(text);
}

TraceOutput::Recording::Recording(TraceOutput& trace, unsigned level)
    : m_trace(trace), m_level(level)
{
    {
        std::lock_guard const lock(m_trace.m_mutex);
        m_trace.m_recording = this;
    }
    m_trace.listenUpTo(std::max(m_level, FAILURE_LEVEL));
}

TraceOutput::Recording::~Recording()
{
    m_trace.listenUpTo(FAILURE_LEVEL);
    std::lock_guard const lock(m_trace.m_mutex);
    m_trace.m_recording = nullptr;
}

std::vector<TraceMessage> TraceOutput::Recording::messages() const
{
    std::lock_guard const lock(m_trace.m_mutex);
    return m_messages;
}

}
