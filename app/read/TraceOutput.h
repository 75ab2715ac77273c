#pragma once

#include <common/platform/trace.h>

#include <functional>
#include <string>
#include <vector>

namespace app {

/**
 * Receives the library's trace, and keeps the latest failure: a query itself only returns that it
 * failed. One object at a time.
 */
class TraceOutput {
public:
    using Show = std::function<void(unsigned level, std::string const& message)>;

    /** @param show receives each message up to @p shownLevel, without its newline. */
    TraceOutput(unsigned shownLevel, Show show);
    TraceOutput(TraceOutput const&) = delete;
    TraceOutput& operator=(TraceOutput const&) = delete;
    ~TraceOutput();

    /** @return whether messages are shown. */
    bool isShown() const { return m_shownLevel > 0; }

    /** @return the latest message of level 1 since the last call, empty where there was none. */
    std::string takeFailure();

    /** Keeps the messages of the levels 1 to 3 from now on. */
    void keepResults();

    /** @return the messages that were kept, from the first to the last. */
    std::vector<std::string> const& results() const { return m_results; }

private:
    static void receive(
        void* context, unsigned level, char const* scope, dovrel::string const& line);

    unsigned const m_shownLevel;
    Show const m_show;
    std::string m_failure;
    bool m_keepsResults = false;
    std::vector<std::string> m_results;
};

}
