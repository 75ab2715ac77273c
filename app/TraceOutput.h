#pragma once

#include <common/platform/trace.h>

#include <mutex>
#include <string>
#include <vector>

namespace app {

/** The two functions by which a host governs a library's trace; null where the library has none. */
struct TraceControl {
    void (*setDetailLevel)(unsigned level) = nullptr;
    void (*setSink)(dovrel::trace::Sink sink, void* context) = nullptr;

    explicit operator bool() const noexcept { return setDetailLevel && setSink; }
};

/** One message, without its newline. */
struct TraceMessage {
    unsigned level;
    std::string text;
};

/**
 * Listens to the library's trace.
 *
 * Shows it on standard error as far as it is wanted, one line "trace LEVEL: TEXT" a message, and
 * remembers the latest failure, because a query itself tells only that it failed. Messages may
 * arrive on several threads at once.
 */
class TraceOutput {
public:
    /** @param shownLevel messages up to this level are shown, none with 0. */
    TraceOutput(TraceControl const& control, unsigned shownLevel);
    TraceOutput(TraceOutput const&) = delete;
    TraceOutput& operator=(TraceOutput const&) = delete;

    /** No thread may be inside the library any more. */
    ~TraceOutput();

    /** @return the text of the latest failure since the last call, empty where there was none. */
    std::string takeFailure();

    /** Keeps the messages up to a level while it exists; one at a time. Shows no more than before.
     */
    class Recording {
    public:
        Recording(TraceOutput& trace, unsigned level);
        Recording(Recording const&) = delete;
        Recording& operator=(Recording const&) = delete;
        ~Recording();

        std::vector<TraceMessage> messages() const;

    private:
        friend class TraceOutput;

        TraceOutput& m_trace;
        unsigned const m_level;
        std::vector<TraceMessage> m_messages; // Guarded by the mutex of the trace.
    };

private:
    void listenUpTo(unsigned level) const;
    static void receive(
        void* context, unsigned level, char const* scope, dovrel::string const& line);

    TraceControl const m_control;
    unsigned const m_shownLevel;
    std::mutex m_mutex;
    std::string m_failure;
    Recording* m_recording = nullptr;
};

}
