#pragma once

#include "common/basic/export.h"
#include "common/basic/noncopyable.h"
#include "common/basic/wide_string.h"

#include <cstddef>
#include <ostream>
#include <string>
#include <type_traits>

/** Level of a message: 1 failures, 2 unexpected input, 3 results, 4 successful external commands, 5
 * parsing detail. */
using tracelevel_t = unsigned;

/** The record of one traced function, created at its first traced call: its signature. */
class hashedfunction;

namespace dovrel::trace {

/**
 * Callback that receives each line.
 *
 * The library calls it on the thread that traces, possibly on several threads at once, and holds no
 * lock. Exceptions from it are ignored: a trace never changes the result of a query.
 *
 * @param context the pointer that was passed to `setSink`.
 * @param level the level of the message.
 * @param scope the signature of the function that writes the message.
 * @param line the whole message with its newline.
 */
using Sink = void (*)(void* context, unsigned level, char const* scope, string const& line);

/** Sets the highest level of the messages to write; 0, the default, writes none. Any thread may
 * call it at any time. */
DOVREL_EXPORT void setDetailLevel(unsigned level);

/**
 * Sets the callback that receives the lines; null, the default, drops them. Any thread may call it
 * at any time. A call of the former sink may still be running when this returns.
 */
DOVREL_EXPORT void setSink(Sink sink, void* context);

/** One argument of a message: a pointer to a value and a function that writes it. The value must
 * outlive the object. */
class Argument {
public:
    /** Stores the address of @p value. */
    template <class T> explicit Argument(T const& value)
        : m_value(&value), m_insert([](std::wostream& out, void const* v) {
              insert(out, *static_cast<T const*>(v));
          })
    {
    }

    /** Writes the value to @p out. */
    void insertInto(std::wostream& out) const { m_insert(out, m_value); }

private:
    template <class T> static void insert(std::wostream& out, T const& value)
    {
        // Converts a narrow string by the locale; a wide stream would widen it byte by byte.
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
 * The trace scope of a function call; opened at the beginning of the function.
 *
 * Costs one load while the trace is off. Several threads may be in the scope of one function at
 * once, each with its own object.
 */
class DOVREL_EXPORT traceobject : dovrel::noncopyable_::noncopyable {
public:
    /**
     * @param function the static pointer to the function's record; null before its first traced
     * call.
     * @param signature the function's full signature; must stay valid until the library is
     * unloaded.
     */
    traceobject(hashedfunction const*& function, char const* signature);
    // NOLINTNEXTLINE(performance-trivially-destructible): hosts are compiled against this symbol.
    ~traceobject();

    /** @return whether messages of this level are written. */
    bool admits(tracelevel_t level) const noexcept { return m_detail > level; }

    /** Sets the level of the messages that follow. */
    void setLevel(tracelevel_t level) noexcept { m_level = level; }

    /** Passes a composed line to the host's sink; first appends a newline unless the line ends in
     * one. */
    void logtosplit(dovrel::string& line);

    /**
     * Composes and writes one message if its level is on.
     *
     * @param format string in which each '%' and the letter after it are a placeholder for the next
     * argument. The letter has no meaning: each argument is written by its `operator<<`. "%%" is a
     * percent sign.
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

    tracelevel_t m_detail; // The host's setting plus one; see `admits`.
    tracelevel_t m_level = 0;
    hashedfunction const* m_function = nullptr;
};

/** Opens the scope `trace` of the enclosing function. */
#define DOVREL_TRACE_SCOPE(SIGNATURE)                                                              \
    static hashedfunction const* traceFunction = nullptr;                                          \
    traceobject trace(traceFunction, SIGNATURE)
