#include "tests/support/CapturedTrace.h"

#include <algorithm>
#include <ostream>

namespace testkit {

std::ostream& operator<<(std::ostream& out, TraceLine const& line)
{
    return out << line.level << " [" << line.scope << "] " << line.line;
}

CapturedTrace::CapturedTrace(unsigned detailLevel)
{
    dovrel::trace::setSink(&CapturedTrace::collect, this);
    dovrel::trace::setDetailLevel(detailLevel);
}

CapturedTrace::~CapturedTrace()
{
    dovrel::trace::setDetailLevel(0);
    dovrel::trace::setSink(nullptr, nullptr);
}

void CapturedTrace::collect(
    void* context, unsigned level, char const* scope, dovrel::string const& line)
{
    auto& self = *static_cast<CapturedTrace*>(context);
    std::lock_guard<std::mutex> lock(self.m_mutex);
    self.m_lines.push_back({level, scope, static_cast<char const*>(line)});
}

std::vector<TraceLine> CapturedTrace::lines() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_lines;
}

bool CapturedTrace::contains(unsigned level, std::string_view text) const
{
    std::vector<TraceLine> const all = lines();
    return std::any_of(all.begin(), all.end(), [&](TraceLine const& line) {
        return line.level == level && line.line.find(text) != std::string::npos;
    });
}

std::string CapturedTrace::text(unsigned level) const
{
    std::string text;
    for (TraceLine const& line : lines())
        if (line.level == level)
            text += line.line;
    return text;
}

}
