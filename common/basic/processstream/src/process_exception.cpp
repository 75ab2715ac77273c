#include "common/basic/processstream/src/process_exception.h"

#include "common/basic/processstream/src/failure_text.h"
#include "common/basic/text_cast.h"

#include <cassert>
#include <cerrno>
#include <charconv>
#include <locale>
#include <sstream>

namespace dovrel {

char const* const ERRORS[REASONS] = {
    "Failed to create pseudo-terminal: ",
    "Failed to create pipe: ",
    "Failed to fork into process: ",
    "Process has not exited: ",
    "Failed to construct security descriptor: ",
    "Failed to interact with console: ",
    "Failed to find exit status: ",
};

FailureText::FailureText(reason_type reason, unsigned line, int code) noexcept
{
    append(reason);
    m_text[m_length++] = ' ';
    append(line);
    m_text[m_length++] = ' ';
    append(static_cast<uint32_t>(code));
}

void FailureText::append(uint32_t number) noexcept
{
    char* const end = std::to_chars(m_text + m_length, m_text + sizeof m_text, number).ptr;
    m_length = static_cast<size_t>(end - m_text);
}

ProcessException::ProcessException(reason_type reason, unsigned line)
    : m_reason(reason), m_code(errno), m_line(line)
{
    initCode(m_code);
}

ProcessException::~ProcessException() = default;

char const* ProcessException::what() const noexcept
{
    return m_message.c_str();
}

void ProcessException::initCode(int code)
{
    m_code = code;
    m_message = m_reason < REASONS ? ERRORS[m_reason] : "";
    m_message += static_cast<char const*>(str_cast(code));
    if (m_line != 0) {
        m_message += " at line ";
        m_message += static_cast<char const*>(str_cast(m_line));
    }
}

std::string ProcessException::serialize() const
{
    FailureText const wire(m_reason, m_line, m_code);
    std::string result(wire.text(), wire.length());
    assert(result.size() < ProcessException::SERIALIZED_SIZE);
    return result;
}

ProcessException ProcessException::deserialize(std::string const& text)
{
    std::istringstream stream(text);
    stream.imbue(std::locale::classic());
    uint32_t reason = 0;
    uint32_t line = 0;
    uint32_t code = 0;
    stream >> reason >> line >> code;
    ProcessException exception(static_cast<reason_type>(reason), line);
    exception.initCode(static_cast<int>(code));
    return exception;
}

}
