#include "common/basic/processstream/src/generic_pstream.h"

#include "common/basic/processstream/src/UnixCommand.h"
#include "common/basic/processstream/src/child_status.h"
#include "common/basic/processstream/src/process_exception.h"
#include "common/platform/CancellationBlock.h"
#include "common/platform/Thread.h"

#include <algorithm>
#include <limits>
#include <locale>
#include <typeinfo>

using dovrel::ChildStatus;
using dovrel::ProcessException;
using dovrel::UnixCommand;

namespace {

constexpr unsigned ROUND_MS = 10;

}

Pipe::~Pipe() = default;

Command::~Command() = default;

// `uncachedExitCode` can report a running child only with an exception, and a further virtual
// function would change the binary interface. It is called only for a host's own class.
ChildStatus Command::checkExit()
{
    if (m_cached)
        return {ChildStatus::EXITED, m_cachedCode, 0};
    ChildStatus found{ChildStatus::RUNNING, 0, 0};
    if (typeid(*this) == typeid(UnixCommand)) {
        found = static_cast<UnixCommand*>(this)->checkChild();
    } else {
        try {
            found = {ChildStatus::EXITED, uncachedExitCode(), 0};
        } catch (ProcessException const& failure) {
            if (failure.reason() != dovrel::REASON_NOT_EXITED)
                throw;
        }
    }
    if (found.state == ChildStatus::EXITED) {
        m_cachedCode = found.value;
        m_cached = true;
    }
    return found;
}

ChildStatus Command::waitForExit(unsigned totalMs, unsigned stepMs)
{
    unsigned const step = std::max(stepMs, 1U);
    unsigned budget = totalMs;
    for (;;) {
        ChildStatus const found = checkExit();
        if (found.state != ChildStatus::RUNNING)
            return found;
        dovrel::Thread::Sleep(step);
        budget -= std::min(budget, step);
        if (budget <= step)
            return found;
    }
}

int Command::exitCode(unsigned totalMs, unsigned stepMs)
{
    ChildStatus const last = waitForExit(totalMs, stepMs);
    if (last.state == ChildStatus::RUNNING)
        throw ProcessException(dovrel::REASON_NOT_EXITED, __LINE__);
    return last.exitStatus();
}

pipestreambuf::pipestreambuf(Command& command, Pipe& pipe, std::ios_base::openmode mode)
    : m_command(command), m_pipe(pipe), m_output(BUFFER_SIZE), m_input(BUFFER_SIZE), m_pbsize(128),
      m_timeout(100), m_mode(mode)
{
    setp(m_output.data(), m_output.data() + BUFFER_SIZE - 1);
    char* const last = m_input.data() + BUFFER_SIZE - 1;
    setg(last, last, last);
}

pipestreambuf::~pipestreambuf() = default;

unsigned pipestreambuf::setTimeout(unsigned ms)
{
    unsigned const former = m_timeout;
    m_timeout = ms;
    return former;
}

// A refill always starts at the beginning of the buffer and leaves its last byte unused. No bytes
// need to be moved for the put-back area.
pipestreambuf::int_type pipestreambuf::timed_underflow(size_t ms)
{
    if (gptr() < egptr() && *gptr() != '\n')
        return traits_type::to_int_type(*gptr());

    auto remaining =
        static_cast<unsigned>(std::min<size_t>(ms, std::numeric_limits<unsigned>::max()));
    char* const base = m_input.data();
    for (;;) {
        int const count = m_pipe.read(base, BUFFER_SIZE - 1);
        if (count > 0) {
            setg(base, base, base + count);
            return traits_type::to_int_type(*base);
        }
        if (count < 0 || !wait(remaining))
            return traits_type::eof();
    }
}

bool pipestreambuf::wait(unsigned& remainingMs)
{
    if (remainingMs < ROUND_MS)
        return false;
    bool isRunning = false;
    try {
        isRunning = m_command.checkExit().state == ChildStatus::RUNNING;
    } catch (ProcessException const&) {
        // A host's own class reports that the child no longer exists.
    }
    if (!isRunning) {
        remainingMs = 0;
        return true;
    }
    // Kept: a round subtracts 10 ms but sleeps 20 ms.
    dovrel::Thread::Sleep(ROUND_MS);
    dovrel::Thread::Sleep(ROUND_MS);
    remainingMs -= ROUND_MS;
    return true;
}

bool pipestreambuf::flushInput()
{
    unsigned remaining = m_timeout;
    while (pptr() > pbase()) {
        auto const pending = static_cast<int>(pptr() - pbase());
        int const written = m_pipe.write(pbase(), static_cast<unsigned>(pending));
        if (written < 0 || written > pending)
            break;
        pbump(-written);
        if (pptr() > pbase() && !wait(remaining))
            return false;
    }
    return pptr() == pbase();
}

pipestreambuf::pos_type pipestreambuf::seekoff(
    off_type off, std::ios_base::seekdir dir, std::ios_base::openmode which)
{
    bool const outputAlone = which == std::ios_base::out;
    if (dir != std::ios_base::cur || outputAlone || off > 0 || off < eback() - gptr())
        return pos_type(off_type(-1));
    gbump(static_cast<int>(off));
    return pos_type(off_type(0));
}

// A stream with `unitbuf` calls this from a destructor. An exception, or the unwinding of a
// cancelled thread, would end the process there.
int pipestreambuf::sync()
{
    dovrel::CancellationBlock const block;
    try {
        return flushInput() ? 0 : -1;
    } catch (...) {
        return -1;
    }
}

pipestreambuf::int_type pipestreambuf::underflow()
{
    return timed_underflow(m_timeout);
}

pipestreambuf::int_type pipestreambuf::overflow(int_type c)
{
    if (traits_type::eq_int_type(c, traits_type::eof()))
        return traits_type::eof();
    // The buffer has one byte more than the put area, for the character that did not fit. If it
    // cannot be sent, it is removed again: the pending output must not exceed the put area.
    auto const removeExcess = [this] {
        if (pptr() > epptr())
            pbump(-1);
    };
    *pptr() = traits_type::to_char_type(c);
    pbump(1);
    bool sent = false;
    try {
        sent = flushInput();
    } catch (...) {
        removeExcess();
        throw;
    }
    if (!sent)
        removeExcess();
    return sent ? c : traits_type::eof();
}

namespace dovrel {

pstream::pstream(pipestreambuf* buffer) : std::iostream(nullptr)
{
    imbue(std::locale::classic()); // Before rdbuf: imbue calls pubimbue of a buffer.
    rdbuf(buffer);
    setf(std::ios_base::unitbuf);
}

pstream::~pstream() = default;

}
