#pragma once

#include "app/Library.h"
#include "app/TraceOutput.h"
#include "app/exit_status.h"

#include <chrono>
#include <functional>
#include <string>

namespace app {

/** What the command line asks for whatever the command is. */
struct Settings {
    std::string libraryPath; // Empty for the build that the program is linked with.
    unsigned traceLevel = 0;
    bool json = false;
    bool sampleUsage = true;
    std::chrono::steady_clock::duration maxWait = std::chrono::seconds(5);
};

/** One run of one command: what it may ask, and what it has to say. */
class Session {
public:
    Session(Library const& library, Settings const& settings)
        : m_settings(settings), m_service(library.service()),
          m_trace(library.trace(), settings.traceLevel)
    {
    }

    Settings const& settings() const noexcept { return m_settings; }
    sysinfo::SystemInformation const& service() const noexcept { return m_service; }

    /**
     * Asks the library one thing.
     *
     * @param subject what is read, for the message on standard error, as in "the processors".
     * @param silentFailure what it means where @p ask returns false and the library names no cause.
     * @return what @p ask returns, false where it throws; false has been told to the user, with the
     * cause. Outputs that @p ask had set by then stay set.
     * @throws std::bad_alloc only: that is no answer about the machine.
     */
    bool query(std::string const& subject, std::function<bool()> const& ask,
        std::string const& silentFailure = "");

    /** The library's trace up to @p level, from here to the end of what is returned. */
    TraceOutput::Recording record(unsigned level) { return {m_trace, level}; }

    /** Adds to what the program writes to standard output when the command has ended. */
    void print(std::string const& text) { m_output += text; }
    std::string const& output() const noexcept { return m_output; }

    /** Threads of this process stay inside the library: nothing of it may be freed any more. */
    void leaveThreadsBehind() noexcept { m_threadsLeftBehind = true; }
    bool threadsLeftBehind() const noexcept { return m_threadsLeftBehind; }

private:
    Settings const& m_settings;
    sysinfo::SystemInformation const& m_service;
    TraceOutput m_trace;
    std::string m_output;
    bool m_threadsLeftBehind = false;
};

}
