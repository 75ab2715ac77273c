#pragma once

#include "common/basic/export.h"

#include <cstddef>
#include <cstdint>
#include <exception>
#include <string>

namespace dovrel {

/** Why starting or watching a child failed. The values are part of the binary interface. */
enum reason_type : uint32_t {
    REASON_PSEUDO_TERMINAL = 0,
    REASON_PIPE = 1, ///< A pipe, a socket or an operation on a descriptor.
    REASON_FORK = 2,
    REASON_NOT_EXITED = 3, ///< Also for a child that a signal ended.
    REASON_SECURITY_DESCRIPTOR = 4, ///< Not raised on this platform.
    REASON_CONSOLE = 5, ///< Not raised on this platform.
    REASON_EXIT_STATUS = 6,
};

/** The number of reasons. */
inline constexpr unsigned REASONS = 7;

/** The beginning of each message, indexed by reason. */
DOVREL_EXPORT extern char const* const ERRORS[REASONS];

/**
 * The exception of the child processes: a reason, a source line and an `errno`(3) value.
 *
 * A child that fails before its exec sends the failure to its parent as a string; see `serialize`.
 */
class DOVREL_EXPORT ProcessException : public std::exception {
public:
    /** Size in bytes of the parent's buffer; the string of `serialize` is shorter. */
    static constexpr size_t SERIALIZED_SIZE = 80;

    /**
     * Takes its code from `errno`.
     *
     * @param line the source line that throws, 0 for none.
     */
    ProcessException(reason_type reason, unsigned line);
    ProcessException(ProcessException const&) = default;
    ProcessException& operator=(ProcessException const&) = default;
    ~ProcessException() override;

    /** @return for example `Failed to create pipe: 24 at line 214`: the reason's text, the code as
     * a number, and the line unless it is 0. */
    char const* what() const noexcept override;

    /** Sets the code and composes the message again. */
    void initCode(int code);

    /** @return reason, line and code as unsigned decimal numbers with one space between them, for
     * example `1 152 9`. */
    std::string serialize() const;

    /**
     * @return the exception whose `serialize` returned @p text.
     *
     * Reads three unsigned 32-bit numbers with `>>` of a stream with the classic locale: `-9`
     * wraps, a number that is too large becomes 4294967295, and after an unreadable number the rest
     * are 0. The message of a reason outside `ERRORS` starts with the code.
     */
    static ProcessException deserialize(std::string const& text);

    /** @return why it failed. */
    reason_type reason() const noexcept { return m_reason; }

    /** @return the `errno`(3) value; 0 for none. */
    int code() const noexcept { return m_code; }

    /** @return the source line that threw; 0 for none. */
    unsigned line() const noexcept { return m_line; }

private:
    reason_type m_reason;
    int m_code;
    std::string m_message;
    unsigned m_line;
};

}
