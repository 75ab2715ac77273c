#include "common/basic/processstream/src/generic_pstream.h"

#include "common/basic/processstream/src/UnixCommand.h"
#include "common/basic/processstream/src/exit_look.h"
#include "common/basic/processstream/src/process_exception.h"
#include "common/platform/Thread.h"

#include <algorithm>
#include <limits>
#include <locale>
#include <pthread.h>
#include <typeinfo>

using dovrel::ExitLook;
using dovrel::ProcessException;
using dovrel::UnixCommand;

namespace {

constexpr unsigned ROUND_MS = 10;

}

Pipe::~Pipe() = default;

Command::~Command() = default;

// `uncachedExitCode` has only exceptions to report a running child with, and another virtual
// function would move the slots of hosts. A class that a host derives is looked at through it.
ExitLook Command::look()
{
    if (m_cached)
        return {ExitLook::EXITED, m_cachedCode, 0};
    ExitLook found{ExitLook::RUNNING, 0, 0};
    if (typeid(*this) == typeid(UnixCommand)) {
        found = static_cast<UnixCommand*>(this)->lookAtChild();
    } else {
        try {
            found = {ExitLook::EXITED, uncachedExitCode(), 0};
        } catch (ProcessException const& failure) {
            if (failure.reason() != dovrel::REASON_NOT_EXITED)
                throw;
        }
    }
    if (found.state == ExitLook::EXITED) {
        m_cachedCode = found.value;
        m_cached = true;
    }
    return found;
}

ExitLook Command::pollExit(unsigned totalMs, unsigned stepMs)
{
    unsigned const step = std::max(stepMs, 1U);
    unsigned budget = totalMs;
    for (;;) {
        ExitLook const found = look();
        if (found.state != ExitLook::RUNNING)
            return found;
        dovrel::Thread::Sleep(step);
        budget -= std::min(budget, step);
        if (budget <= step)
            return found;
    }
}

int Command::exitCode(unsigned totalMs, unsigned stepMs)
{
    ExitLook const last = pollExit(totalMs, stepMs);
    if (last.state == ExitLook::RUNNING)
        throw ProcessException(dovrel::REASON_NOT_EXITED, __LINE__);
    return last.status();
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

// A refill stays one byte short of the buffer's end, so that it may always begin at the buffer's
// beginning and nothing is ever moved there to be put back.
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
        isRunning = m_command.look().state == ExitLook::RUNNING;
    } catch (ProcessException const&) {
        // A host's own command has lost its child.
    }
    if (!isRunning) {
        remainingMs = 0;
        return true;
    }
    // Kept: a round of 10 ms sleeps twice as long.
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

// A stream that flushes after each operation does so in a destructor, which ends the process where
// an exception leaves it: a failure is a result here, and a cancelled thread goes on to the end.
int pipestreambuf::sync()
{
    int cancellation = 0;
    ::pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &cancellation);
    bool isFlushed = false;
    try {
        isFlushed = flushInput();
    } catch (...) {
    }
    ::pthread_setcancelstate(cancellation, nullptr);
    return isFlushed ? 0 : -1;
}

pipestreambuf::int_type pipestreambuf::underflow()
{
    return timed_underflow(m_timeout);
}

pipestreambuf::int_type pipestreambuf::overflow(int_type c)
{
    if (traits_type::eq_int_type(c, traits_type::eof()))
        return traits_type::eof();
    // The buffer has one byte more than the put area, for the character that did not fit. Where it
    // cannot be sent it is given back: nothing may be pending beyond the area.
    auto const giveBack = [this] {
        if (pptr() > epptr())
            pbump(-1);
    };
    *pptr() = traits_type::to_char_type(c);
    pbump(1);
    bool sent = false;
    try {
        sent = flushInput();
    } catch (...) {
        giveBack();
        throw;
    }
    if (!sent)
        giveBack();
    return sent ? c : traits_type::eof();
}

namespace dovrel {

pstream::pstream(pipestreambuf* buffer) : std::iostream(nullptr)
{
    imbue(std::locale::classic()); // Before there is a buffer, as it would be told.
    rdbuf(buffer);
    setf(std::ios_base::unitbuf);
}

pstream::~pstream() = default;

}
