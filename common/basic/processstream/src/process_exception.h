#pragma once

#include "common/basic/export.h"

#include <cstddef>
#include <cstdint>
#include <exception>
#include <string>

namespace dovrel {

/** Why starting or watching a child failed. The values are those that hosts know. */
enum reason_type : uint32_t {
    REASON_PSEUDO_TERMINAL = 0,
    REASON_PIPE = 1, ///< A pipe, a socket or an operation on a descriptor.
    REASON_FORK = 2,
    REASON_NOT_EXITED = 3, ///< Also a child that a signal ended.
    REASON_SECURITY_DESCRIPTOR = 4, ///< Not raised on this platform.
    REASON_CONSOLE = 5, ///< Not raised on this platform.
    REASON_EXIT_STATUS = 6,
};

inline constexpr unsigned REASONS = 7;

/** How a message begins, by reason. */
DOVREL_EXPORT extern char const* const ERRORS[REASONS];

/**
 * The one exception of the child processes: the reason, the source line and the `errno`(3).
 *
 * A child that fails before its exec sends its failure to the parent as a short text, see
 * `serialize`.
 */
class DOVREL_EXPORT ProcessException : public std::exception {
public:
    /** The text between child and parent is shorter than this, in bytes. */
    static constexpr size_t SERIALIZED_SIZE = 80;

    /**
     * Captures `errno` as its code.
     *
     * @param line the source line that raises the failure, 0 for none.
     */
    ProcessException(reason_type reason, unsigned line);
    ProcessException(ProcessException const&) = default;
    ProcessException& operator=(ProcessException const&) = default;
    ~ProcessException() override;

    /** `Failed to create pipe: 24 at line 214`: the reason's text, the bare code, and the line
     * where there is one. */
    char const* what() const noexcept override;

    /** Replaces the code and the message with it. */
    void initCode(int code);

    /** @return reason, line and code in unsigned decimal, a space between them: `1 152 9`. */
    std::string serialize() const;

    /**
     * The record that `serialize` wrote as @p text.
     *
     * Reads three unsigned 32-bit numbers as `>>` of a stream with the classic locale reads them:
     * `-9` wraps, a number that is too large is 4294967295, and numbers behind one that cannot be
     * read are 0. A reason outside the table renders without its text.
     */
    static ProcessException deserialize(std::string const& text);

    reason_type reason() const noexcept { return m_reason; }
    int code() const noexcept { return m_code; }
    unsigned line() const noexcept { return m_line; }

private:
    reason_type m_reason;
    int m_code;
    std::string m_message;
    unsigned m_line;
};

}
