#pragma once

#include "common/platform/trace.h"

#include <mutex>
#include <string>
#include <vector>

/** The host's side of the trace: sets level and sink, keeps what arrives, switches off at its end.
 */
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

    /** For when no thread traces any more. */
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
