#pragma once

#include <algorithm>
#include <stdexcept>
#include <streambuf>
#include <string>
#include <utility>

namespace testkit {

/**
 * Returns a text in pieces of one size, as a pipe does. Only the present piece is buffered, and a
 * seek goes back to its beginning at most.
 */
class PiecewiseBuffer : public std::streambuf {
public:
    enum End { ENDS, THROWS };

    /** @param end what a read after the text does: report the end, or throw. */
    PiecewiseBuffer(std::string text, size_t pieceSize, End end = ENDS)
        : m_text(std::move(text)), m_pieceSize(pieceSize), m_end(end)
    {
    }

private:
    int_type underflow() override
    {
        if (m_at == m_text.size()) {
            if (m_end == THROWS)
                throw std::runtime_error("read failed");
            return traits_type::eof();
        }
        size_t const count = std::min(m_pieceSize, m_text.size() - m_at);
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
    size_t m_pieceSize;
    End m_end;
    size_t m_at = 0;
};

}
