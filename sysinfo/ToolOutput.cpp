#include "sysinfo/ToolOutput.h"

#include <cerrno>
#include <cstring>
#include <locale>
#include <new>
#include <utility>

namespace sysinfo {

ToolOutput::Buffer::Buffer(std::string const& command, size_t largest)
    : basic_pbuf<char>(command), m_message("Too much output of: " + command), m_left(largest)
{
    // Of popen(3). After a success it is that of an allocation which found another way.
    if (!m_stream && errno == ENOMEM)
        throw std::bad_alloc();
}

ToolOutput::Buffer::int_type ToolOutput::Buffer::underflow()
{
    int_type const next = basic_pbuf<char>::underflow();
    if (traits_type::eq_int_type(next, traits_type::eof()))
        return next;
    auto const count = static_cast<size_t>(egptr() - gptr());
    auto const* const newline = static_cast<char const*>(::memrchr(gptr(), '\n', count));
    m_line = newline ? static_cast<size_t>(egptr() - newline) - 1 : m_line + count;
    if (count > m_left || m_line > LARGEST_TEXT)
        throw TooLarge(m_message);
    m_left -= count;
    return next;
}

ToolOutput::ToolOutput(std::string const& command, size_t largest)
    : std::istream(nullptr), m_buffer((errno = 0, command), largest)
{
    imbue(std::locale::classic());
    rdbuf(&m_buffer);
    exceptions(std::ios_base::badbit); // Passes exceptions of the buffer to the caller.
}

std::istringstream readOutput(std::string const& command)
{
    ToolOutput output(command, ToolOutput::LARGEST_TEXT);
    std::string text;
    char piece[4096];
    do {
        output.read(piece, sizeof piece);
        text.append(piece, static_cast<size_t>(output.gcount()));
    } while (output);
    std::istringstream lines(std::move(text));
    lines.imbue(std::locale::classic()); // Not the host's: it widens the newline that ends a line.
    lines.exceptions(std::ios_base::badbit);
    return lines;
}

}
