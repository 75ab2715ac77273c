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
    m_control.setDetailLevel(std::max(m_shownLevel, FAILURE_LEVEL));
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

void TraceOutput::receive(
    void* context, unsigned level, char const* /*scope*/, dovrel::string const& line)
{
    TraceOutput& self = *static_cast<TraceOutput*>(context);
    std::string text = static_cast<char const*>(line);
    text.erase(text.find_last_not_of('\n') + 1);
    text = printable(text);
    if (level <= self.m_shownLevel)
        (void)writeWhole(STDERR_FILENO, "trace " + std::to_string(level) + ": " + text + "\n");
    if (level == FAILURE_LEVEL) {
        std::lock_guard const lock(self.m_mutex);
        self.m_failure = std::move(text);
    }
}

}
