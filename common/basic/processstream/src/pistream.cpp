#include "common/basic/processstream/src/pistream.h"

#include <cerrno>
#include <cstring>
#include <locale>

template <class Char, class Traits> basic_pbuf<Char, Traits>::basic_pbuf(std::string const& command)
    : m_command(command)
{
    std::memset(m_buffer, 0, sizeof m_buffer);
    // "e" is close-on-exec: another child that the host starts must not keep the pipe open.
    m_stream = ::popen(m_command.c_str(), "re");
}

template <class Char, class Traits> basic_pbuf<Char, Traits>::~basic_pbuf()
{
    if (m_stream)
        ::pclose(m_stream);
}

template <class Char, class Traits>
typename basic_pbuf<Char, Traits>::int_type basic_pbuf<Char, Traits>::underflow()
{
    if (!m_stream)
        return Traits::eof();
    // No other thread uses this stream, so it needs no lock.
    auto const refill = [this] {
        return ::fread_unlocked(m_buffer, sizeof(Char), sizeof m_buffer / sizeof(Char), m_stream);
    };
    size_t count = refill();
    while (count == 0 && ::ferror_unlocked(m_stream) != 0 && errno == EINTR) {
        ::clearerr_unlocked(m_stream);
        count = refill();
    }
    this->setg(m_buffer, m_buffer, m_buffer + count);
    if (count == 0)
        return Traits::eof();
    return static_cast<signed char>(m_buffer[0]);
}

template <class Char, class Traits>
basic_pistream<Char, Traits>::basic_pistream(std::string const& command)
    : std::basic_istream<Char, Traits>(nullptr), m_buffer(command)
{
    this->imbue(std::locale::classic());
    this->rdbuf(&m_buffer);
}

template <class Char, class Traits> basic_pistream<Char, Traits>::~basic_pistream() = default;

template class basic_pbuf<char>;
template class basic_pistream<char>;
