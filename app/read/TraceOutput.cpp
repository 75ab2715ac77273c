#include "app/read/TraceOutput.h"

#include <algorithm>
#include <utility>

namespace app {

namespace {

constexpr unsigned FAILURE_LEVEL = 1;
constexpr unsigned RESULT_LEVEL = 3;

}

TraceOutput::TraceOutput(unsigned shownLevel, Show show)
    : m_shownLevel(shownLevel), m_show(std::move(show))
{
    dovrel::trace::setSink(&TraceOutput::receive, this);
    dovrel::trace::setDetailLevel(std::max(shownLevel, FAILURE_LEVEL));
}

TraceOutput::~TraceOutput()
{
    dovrel::trace::setDetailLevel(0);
    dovrel::trace::setSink(nullptr, nullptr);
}

std::string TraceOutput::takeFailure()
{
    return std::exchange(m_failure, {});
}

void TraceOutput::keepResults()
{
    m_keepsResults = true;
    dovrel::trace::setDetailLevel(std::max(m_shownLevel, RESULT_LEVEL));
}

void TraceOutput::receive(
    void* context, unsigned level, char const* /*scope*/, dovrel::string const& line)
{
    TraceOutput& self = *static_cast<TraceOutput*>(context);
    std::string text = static_cast<char const*>(line);
    text.erase(text.find_last_not_of('\n') + 1);
    if (level <= self.m_shownLevel)
        self.m_show(level, text);
    if (self.m_keepsResults && level <= RESULT_LEVEL)
        self.m_results.push_back(text);
    if (level == FAILURE_LEVEL)
        self.m_failure = std::move(text);
}

}
