#pragma once

#include "common/basic/export.h"
#include "common/basic/noncopyable.h"

#include <cstddef>
#include <ios>
#include <istream>
#include <streambuf>
#include <string>
#include <vector>

namespace dovrel {

struct ChildStatus;
class UnixCommand;

}

class pipestreambuf;

/** A connection to a child, in one direction or both. */
class DOVREL_EXPORT Pipe {
public:
    virtual ~Pipe();

    /** @return the number of bytes read; 0 if none are available yet, -1 at the end of the data. */
    virtual int read(char* buf, unsigned len) = 0;

    /** @return the number of bytes written. */
    virtual int write(char const* buf, unsigned len) = 0;
};

/** A child process. Reports every failure with a `dovrel::ProcessException`. */
class DOVREL_EXPORT Command {
public:
    Command(Command const&) = delete;
    Command& operator=(Command const&) = delete;

    /**
     * Checks the child once, without waiting; waitpid(2).
     *
     * @return the exit status, 0 to 255.
     * @throws dovrel::ProcessException `REASON_NOT_EXITED` if the child is still running, and
     * always if a signal has ended it; `REASON_EXIT_STATUS` if the child no longer exists.
     */
    virtual int uncachedExitCode() = 0;

    virtual ~Command();

    /** @return the pipe to its standard input and output. */
    virtual Pipe& stdInOut() = 0;

    /** @return the pipe to its standard error. */
    virtual Pipe& stdErr() = 0;

    /**
     * Waits for the child to exit.
     *
     * Calls `uncachedExitCode`, and sleeps @p stepMs (0 counts as 1) after each call that finds the
     * child running. Stops when at most one step of @p totalMs is left: `exitCode(10, 10)` checks
     * once and sleeps once. For an object whose class is `dovrel::UnixCommand`, it checks the child
     * without an exception, so that only throwing the final one needs memory.
     *
     * @return the exit status, 0 to 255. Later calls return the same value without a check.
     * @throws dovrel::ProcessException `REASON_NOT_EXITED` after the time-out, else the exception
     * of `uncachedExitCode`.
     */
    int exitCode(unsigned totalMs, unsigned stepMs);

protected:
    Command() = default;

private:
    friend class dovrel::UnixCommand;
    friend class pipestreambuf;

    [[gnu::visibility("hidden")]] dovrel::ChildStatus checkExit();
    [[gnu::visibility("hidden")]] dovrel::ChildStatus waitForExit(
        unsigned totalMs, unsigned stepMs);

    bool m_cached = false;
    int m_cachedCode = 0;
};

/**
 * The stream buffer over one pipe of a child, with a time-out for reads.
 *
 * A wait takes about twice its nominal time-out: each round subtracts 10 ms but sleeps 20 ms, 10 of
 * them in the check for the child's exit. The data ends when the pipe reports its end, when the
 * time-out passes, or at the first empty read after the child's exit.
 *
 * Read and write failures throw `dovrel::ProcessException`, which a stream turns into `badbit`.
 * `sync` returns -1 instead, with the same effect.
 */
class DOVREL_EXPORT pipestreambuf : public std::streambuf, dovrel::nonassignable_::nonassignable {
public:
    /** The size of the input buffer in bytes. */
    static constexpr unsigned BUFFER_SIZE = 256;

    /** @p command and @p pipe must outlive the buffer. */
    pipestreambuf(Command& command, Pipe& pipe, std::ios_base::openmode mode);
    pipestreambuf(pipestreambuf const&) = delete;
    pipestreambuf& operator=(pipestreambuf const&) = delete;
    ~pipestreambuf() override;

    /** @return the former time-out in milliseconds; the initial one is 100. */
    unsigned setTimeout(unsigned ms);

    /**
     * @return the next character, without taking it; end-of-file if there is none within @p ms.
     * Reads at most 255 bytes when the buffer is empty.
     *
     * Kept: if the next buffered character is a newline, the call reads new data, which overwrites
     * the newline and all that follows it. A caller that stops at the end of a line thus waits for
     * new data.
     */
    int_type timed_underflow(size_t ms);

    /**
     * Waits one round after an empty read.
     *
     * @param remainingMs the remaining time-out; reduced by 10, or set to 0 if the child has ended.
     * @return whether the caller should read again.
     */
    bool wait(unsigned& remainingMs);

    /**
     * Writes the pending output. One time-out limits the whole call.
     *
     * Kept: after a partial write the bytes written are removed from the end of the pending output,
     * not from its beginning.
     *
     * @return whether all output is written.
     */
    bool flushInput();

    /** Moves the read position back within the buffered input; supports only @p dir `cur`. @return
     * 0, or -1 for any other move. */
    pos_type seekoff(off_type off, std::ios_base::seekdir dir,
        std::ios_base::openmode which = std::ios_base::in | std::ios_base::out) override;

    /** Calls `flushInput`. Throws nothing and is not a cancellation point. @return 0 if all output
     * is written, else -1. */
    int sync() override;

    /** Calls `timed_underflow` with the time-out of `setTimeout`. */
    int_type underflow() override;

    /** Appends @p c to the pending output and writes that. @return end-of-file if it could not be
     * written. */
    int_type overflow(int_type c = traits_type::eof()) override;

private:
    Command& m_command;
    Pipe& m_pipe;
    std::vector<char> m_output;
    std::vector<char> m_input;
    [[maybe_unused]] unsigned m_pbsize;
    unsigned m_timeout;
    [[maybe_unused]] std::ios_base::openmode m_mode;
};

namespace dovrel {

/**
 * The stream over a child's terminal. Reads and writes numbers with the classic locale.
 *
 * Flushes after each output operation (`std::unitbuf`), so that the child gets the output at once.
 * The C++ library does not flush while an exception unwinds the stack. A failed flush sets
 * `badbit`. Before a host calls `exceptions(badbit)`, it must clear `unitbuf` and from then on call
 * `flush` itself: if the flush after an operation throws, the C++ library calls std::terminate.
 */
class DOVREL_EXPORT pstream : public std::iostream {
public:
    /** @param buffer may be unconstructed yet; the constructor does not access it. */
    explicit pstream(pipestreambuf* buffer);
    ~pstream() override;
};

}

/**
 * A child and its streams: this stream reads its standard output and writes its standard input;
 * `err` reads its standard error.
 *
 * @tparam Child a `Command` that is constructed from a command line: `dovrel::UnixCommand`.
 */
template <class Child, class Reserved = void> class pstream_wrapper : public dovrel::pstream {
public:
    /** @throws dovrel::ProcessException if the child cannot be started. */
    explicit pstream_wrapper(std::string const& command)
        : dovrel::pstream(&m_outBuf), m_command(command),
          m_outBuf(m_command, m_command.stdInOut(), std::ios_base::openmode()),
          m_errBuf(m_command, m_command.stdErr(), std::ios_base::openmode()), m_err(&m_errBuf)
    {
        m_err.imbue(std::locale::classic());
    }
    ~pstream_wrapper() override = default;

    /** @return the child. */
    Child& command() { return m_command; }

    /** @return the buffer over its standard input and output. */
    pipestreambuf& outBuf() { return m_outBuf; }

    /** @return the buffer over its standard error. */
    pipestreambuf& errBuf() { return m_errBuf; }

    /** @return the stream that reads its standard error. */
    std::istream& err() { return m_err; }

private:
    Child m_command;
    pipestreambuf m_outBuf;
    pipestreambuf m_errBuf;
    std::istream m_err;
};
