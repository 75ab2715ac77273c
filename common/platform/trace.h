#pragma once

#include "common/basic/export.h"
#include "common/basic/noncopyable.h"
#include "common/basic/wide_string.h"

#include <cstddef>
#include <ostream>
#include <string>
#include <type_traits>

/** 1 failures, 2 unexpected input, 3 results, 4 successful external commands, 5 parsing detail. */
using tracelevel_t = unsigned;

/** The trace facility's record of one function: its signature text, made on the function's first
 * traced call. */
class hashedfunction;

namespace dovrel::trace {

/**
 * Receives each line that is written.
 *
 * Called on the thread that traces, possibly on several at once, with no lock held. What it throws
 * is dropped: a trace never changes the outcome of a query.
 *
 * @param context the pointer that was given with the sink.
 * @param level the message's level.
 * @param scope the signature text of the function that writes.
 * @param line the whole text with its newline.
 */
using Sink = void (*)(void* context, unsigned level, char const* scope, string const& line);

/** Messages up to this level are written; 0, the default, writes none. Safe to call from any
 * thread. */
DOVREL_EXPORT void setDetailLevel(unsigned level);

/**
 * Sets where lines go; null, the default, drops them. Safe to call from any thread. A call of the
 * former sink that is under way may still end after this returns.
 */
DOVREL_EXPORT void setSink(Sink sink, void* context);

/** One argument of a message: a value and the way to write it. Refers to the value, which must
 * outlive it. */
class Argument {
public:
    template <class T> explicit Argument(T const& value)
        : m_value(&value), m_insert([](std::wostream& out, void const* v) {
              insert(out, *static_cast<T const*>(v));
          })
    {
    }

    void insertInto(std::wostream& out) const { m_insert(out, m_value); }

private:
    template <class T> static void insert(std::wostream& out, T const& value)
    {
        // Narrow text goes through the locale's conversion: a wide stream would widen byte by byte.
        if constexpr (std::is_convertible_v<T const&,
                          char const*> || std::is_same_v<T, std::string>)
            out << string(value);
        else
            out << value;
    }

    void const* m_value;
    void (*m_insert)(std::wostream&, void const*);
};

}

/**
 * A trace scope: opened at the beginning of a function, closed by its destructor.
 *
 * Costs one load where nothing is traced. A scope may be open in several threads at once, each
 * thread with an object of its own.
 */
class DOVREL_EXPORT traceobject : dovrel::noncopyable_::noncopyable {
public:
    /**
     * @param function the calling function's static record, null before its first traced call.
     * @param signature the function's full signature; must stay valid as long as the library is
     * loaded.
     */
    traceobject(hashedfunction const*& function, char const* signature);
    // NOLINTNEXTLINE(performance-trivially-destructible): hosts are compiled against this symbol.
    ~traceobject();

    /** @return whether a message of this level is to be composed and written. */
    bool admits(tracelevel_t level) const noexcept { return m_detail > level; }

    /** Sets the level of the messages that follow. */
    void setLevel(tracelevel_t level) noexcept { m_level = level; }

    /** Hands a composed line to the host's sink, with a newline added where it does not end in one.
     */
    void logtosplit(dovrel::string& line);

    /**
     * Composes and writes one message, or does nothing where its level is off.
     *
     * @param format text in which each '%' and the letter behind it mark the place of the next
     * argument; the letter means nothing, each argument is written by its own stream insertion.
     * "%%" is a percent sign.
     */
    template <class... Arguments>
    void write(tracelevel_t level, char const* format, Arguments const&... arguments)
    {
        if (!admits(level))
            return;
        dovrel::trace::Argument const list[] = {
            dovrel::trace::Argument(arguments)..., dovrel::trace::Argument(format)};
        compose(level, format, list, sizeof...(arguments));
    }

private:
    void compose(tracelevel_t level, char const* format, dovrel::trace::Argument const* arguments,
        size_t count);

    tracelevel_t m_detail; // One above the host's setting, so that "exceeds" is "at least".
    tracelevel_t m_level = 0;
    hashedfunction const* m_function = nullptr;
};

/** Opens the scope `trace` of the enclosing function. */
#define TRACE_SCOPE(SIGNATURE)                                                                     \
    static hashedfunction const* traceFunction = nullptr;                                          \
    traceobject trace(traceFunction, SIGNATURE)
