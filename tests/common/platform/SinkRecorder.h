#pragma once

#include "common/platform/trace.h"

#include <mutex>
#include <string>
#include <vector>

/** Records the trace: sets level and sink, stores all lines, and switches the trace off in the
 * destructor. */
class SinkRecorder {
public:
    struct Line {
        unsigned level;
        std::string scope;
        std::wstring text;

        friend bool operator==(Line const&, Line const&) = default;
    };

    explicit SinkRecorder(unsigned detailLevel)
    {
        dovrel::trace::setSink(receive, this);
        dovrel::trace::setDetailLevel(detailLevel);
    }
    SinkRecorder(SinkRecorder const&) = delete;
    SinkRecorder& operator=(SinkRecorder const&) = delete;
    ~SinkRecorder()
    {
        dovrel::trace::setDetailLevel(0);
        dovrel::trace::setSink(nullptr, nullptr);
    }

    /** Must not be called while a thread may still trace. */
    std::vector<Line> const& lines() const { return m_lines; }

private:
    static void receive(
        void* context, unsigned level, char const* scope, dovrel::string const& line)
    {
        auto* const self = static_cast<SinkRecorder*>(context);
        std::lock_guard const lock(self->m_mutex);
        self->m_lines.push_back({level, scope, std::wstring(line.c_str(), line.length())});
    }

    std::mutex m_mutex;
    std::vector<Line> m_lines;
};
