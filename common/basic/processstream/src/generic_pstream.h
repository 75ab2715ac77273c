#pragma once

#include "common/basic/export.h"
#include "common/basic/noncopyable.h"

#include <cstddef>
#include <ios>
#include <iostream>
#include <istream>
#include <streambuf>
#include <string>
#include <vector>

namespace dovrel {

struct ExitLook;
class UnixCommand;

}

class pipestreambuf;

/** One direction of talk with a child, or both. */
class DOVREL_EXPORT Pipe {
public:
    virtual ~Pipe();

    /** @return the bytes read, 0 where nothing is there yet, -1 at the end of the data. */
    virtual int read(char* buf, unsigned len) = 0;

    /** @return the bytes written. */
    virtual int write(char const* buf, unsigned len) = 0;
};

/** A child process. All failures are `dovrel::ProcessException`s. */
class DOVREL_EXPORT Command {
public:
    Command(Command const&) = delete;
    Command& operator=(Command const&) = delete;

    /**
     * Looks once, without waiting.
     *
     * @return the exit status, 0 to 255.
     * @throws dovrel::ProcessException `REASON_NOT_EXITED` while it runs and for ever where a
     * signal has ended it, `REASON_EXIT_STATUS` where there is no such child any more.
     */
    virtual int uncachedExitCode() = 0;

    virtual ~Command();

    virtual Pipe& stdInOut() = 0;
    virtual Pipe& stdErr() = 0;

    /**
     * The exit status, remembered from the first look that found one.
     *
     * Looks, and sleeps @p stepMs (0 counts as 1) after each look that found the child running.
     * Ends when no more than a step is left of @p totalMs: `exitCode(10, 10)` looks once and sleeps
     * once. Calls `uncachedExitCode` for each look; of a `dovrel::UnixCommand` itself it reads the
     * same state without an exception, so that only the result needs memory.
     *
     * @throws dovrel::ProcessException `REASON_NOT_EXITED` if the time is used up, else the
     * exception of the look.
     */
    int exitCode(unsigned totalMs, unsigned stepMs);

protected:
    Command() = default;

private:
    friend class dovrel::UnixCommand;
    friend class pipestreambuf;

    [[gnu::visibility("hidden")]] dovrel::ExitLook look();
    [[gnu::visibility("hidden")]] dovrel::ExitLook pollExit(unsigned totalMs, unsigned stepMs);

    bool m_cached = false;
    int m_cachedCode = 0;
};

/**
 * The stream buffer over one pipe of a child; it never waits longer than its time-out for data.
 *
 * The time-out is counted in rounds of 10 ms that each take about 20: an empty round looks for the
 * child's exit, which sleeps 10 ms, and sleeps 10 ms more. The data ends where the pipe says so,
 * where the time is used up, or at the first empty read after the child's exit.
 *
 * Failures to read and to write leave as `dovrel::ProcessException`, which a stream turns into its
 * bad state; from `sync` they leave as -1, with the same effect.
 */
class DOVREL_EXPORT pipestreambuf : public std::streambuf, dovrel::nonassignable_::nonassignable {
public:
    static constexpr unsigned BUFFER_SIZE = 256;

    /** Both must outlive the buffer. */
    pipestreambuf(Command& command, Pipe& pipe, std::ios_base::openmode mode);
    pipestreambuf(pipestreambuf const&) = delete;
    pipestreambuf& operator=(pipestreambuf const&) = delete;
    ~pipestreambuf() override;

    /** @return the former time-out in milliseconds; a new buffer has 100. */
    unsigned setTimeout(unsigned ms);

    /**
     * The waiting character, or the first of the next piece of at most 255 bytes.
     *
     * Kept: a waiting newline counts as none, and what waits behind it is lost, so that a caller
     * who stops at a line's end waits for the next data.
     */
    int_type timed_underflow(size_t ms);

    /**
     * One empty round of waiting.
     *
     * @param remainingMs the budget, 10 less afterwards; 0 where the child has ended.
     * @return whether another read is worth while.
     */
    bool wait(unsigned& remainingMs);

    /**
     * Writes what was put, within one time-out in all.
     *
     * Kept: a partial write takes its count off the end of what is pending.
     *
     * @return whether nothing is pending any more.
     */
    bool flushInput();

    /** Moves back within what was read: only for @p dir `cur` and no further than that. @return 0,
     * or -1 where it did not move. */
    pos_type seekoff(off_type off, std::ios_base::seekdir dir,
        std::ios_base::openmode which = std::ios_base::in | std::ios_base::out) override;

    /** `flushInput` that throws nothing. Not a cancellation point. @return 0 if nothing is pending
     * any more, else -1. */
    int sync() override;
    int_type underflow() override;
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
 * The stream over a child's terminal. Numbers have the classic locale's digits.
 *
 * Flushes after each output operation (`std::unitbuf`), so that the child gets the output at once;
 * while an exception unwinds the stack the C++ library does not flush.
 * A failed flush sets `badbit`. A host that has the stream throw for it, `exceptions(badbit)`,
 * first clears `unitbuf` and flushes by itself: the C++ library ends the process (std::terminate)
 * if a flush after an operation throws.
 */
class DOVREL_EXPORT pstream : public std::iostream {
public:
    /** @param buffer may still be under construction; is not touched here. */
    explicit pstream(pipestreambuf* buffer);
    ~pstream() override;
};

}

/**
 * A child with its streams: reads and writes its standard input and output as a stream, and has its
 * error output beside it.
 *
 * @tparam Child constructed from a command line, `dovrel::UnixCommand`.
 */
template <class Child, class Reserved = void> class pstream_wrapper : public dovrel::pstream {
public:
    /** @throws dovrel::ProcessException where the child cannot be started. */
    explicit pstream_wrapper(std::string const& command)
        : dovrel::pstream(&m_outBuf), m_command(command),
          m_outBuf(m_command, m_command.stdInOut(), std::ios_base::openmode()),
          m_errBuf(m_command, m_command.stdErr(), std::ios_base::openmode()), m_err(&m_errBuf)
    {
        m_err.imbue(std::locale::classic());
    }
    ~pstream_wrapper() override = default;

    Child& command() { return m_command; }
    pipestreambuf& outBuf() { return m_outBuf; }
    pipestreambuf& errBuf() { return m_errBuf; }
    std::istream& err() { return m_err; }

private:
    Child m_command;
    pipestreambuf m_outBuf;
    pipestreambuf m_errBuf;
    std::istream m_err;
};
