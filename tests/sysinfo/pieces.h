#pragma once

#include <algorithm>
#include <stdexcept>
#include <streambuf>
#include <string>
#include <utility>

namespace testkit {

/**
 * Gives a text in pieces of one size, as a pipe does: only what is left of the present piece is at
 * hand, and seeking goes back no further than to its beginning.
 */
class Pieces : public std::streambuf {
public:
    enum End { ENDS, BREAKS };

    /** @param end what comes behind the text: its end, or an exception as of a broken source. */
    Pieces(std::string text, size_t size, End end = ENDS)
        : m_text(std::move(text)), m_size(size), m_end(end)
    {
    }

private:
    int_type underflow() override
    {
        if (m_at == m_text.size()) {
            if (m_end == BREAKS)
                throw std::runtime_error("source broke");
            return traits_type::eof();
        }
        size_t const count = std::min(m_size, m_text.size() - m_at);
        setg(&m_text[m_at], &m_text[m_at], &m_text[m_at] + count);
        m_at += count;
        return traits_type::to_int_type(*gptr());
    }

    pos_type seekoff(off_type off, std::ios_base::seekdir dir, std::ios_base::openmode) override
    {
        if (dir != std::ios_base::cur || off > 0 || -off > gptr() - eback())
            return pos_type(off_type(-1));
        gbump(static_cast<int>(off));
        return pos_type(off_type(0));
    }

    std::string m_text;
    size_t m_size;
    End m_end;
    size_t m_at = 0;
};

}
