#pragma once

#include "common/basic/processstream/src/process_exception.h"

namespace dovrel {

/** The message that a failed child sends to its parent. It is composed without allocation, which is
 * not allowed between fork and exec, signal-safety(7). */
class FailureText {
public:
    FailureText(reason_type reason, unsigned line, int code) noexcept;

    char const* text() const noexcept { return m_text; }
    size_t length() const noexcept { return m_length; }

private:
    void append(uint32_t number) noexcept;

    char m_text[ProcessException::SERIALIZED_SIZE];
    size_t m_length = 0;
};

}
