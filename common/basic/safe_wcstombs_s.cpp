#include "common/basic/wide_string.h"

#include <algorithm>
#include <cstring>
#include <cwchar>

namespace dovrel {

namespace {

constexpr unsigned UNKNOWN_LENGTH = 0xFFFFFFFF;
constexpr auto FAILED = static_cast<size_t>(-1);

/** The state of a conversion: the rest of the source and of the destination. */
class Conversion {
public:
    Conversion(char* dest, unsigned destSize, wchar_t const* src, unsigned count)
        : m_dest(dest), m_room(destSize), m_src(src), m_count(count),
          m_end(src + wcsnlen(src, count))
    {
        m_piece[0] = '?';
    }

    /** @return the number of bytes needed or written, including the terminator. */
    unsigned run()
    {
        unsigned bytes = 0;
        for (;;) {
            size_t converted = 0;
            unsigned const attempted = convertLongestHalf(converted);
            if (attempted == 0 && converted == FAILED) {
                replaceOne();
                bytes += 1;
                continue;
            }
            bytes += static_cast<unsigned>(converted);
            if (attempted == m_count || converted + 1 == m_room)
                return bytes + 1;
            advance(attempted, static_cast<unsigned>(converted));
        }
    }

private:
    /**
     * Tries to convert the rest of the source, and halves the number of characters until an attempt
     * contains no bad character.
     *
     * @return the number of characters of that attempt; 0, with @p converted FAILED, if the next
     * character is bad.
     */
    unsigned convertLongestHalf(size_t& converted)
    {
        unsigned attempt = m_count;
        while ((converted = convert(attempt)) == FAILED) {
            if (attempt == UNKNOWN_LENGTH)
                attempt = std::min(static_cast<unsigned>(m_end - m_src), m_room / 2);
            attempt /= 2;
            if (attempt == 0)
                return 0;
        }
        return attempt;
    }

    /**
     * Converts the next @p count characters from an initial state, with the result of one call of
     * wcsnrtombs(3). Makes several calls for short pieces, which keep the state. A single call
     * would measure its whole source first, which makes repeated attempts on a long text slow.
     */
    size_t convert(unsigned count)
    {
        // A count above the length of the text includes the terminator.
        wchar_t const* const end =
            m_src + std::min<size_t>(count, static_cast<size_t>(m_end - m_src) + 1);
        // A former attempt from the same start failed at this character.
        if (m_src <= m_knownBad && m_knownBad < end)
            return FAILED;
        std::mbstate_t state{};
        size_t bytes = 0;
        size_t piece = SMALLEST_PIECE;
        for (wchar_t const* at = m_src; at != end; piece = std::min(piece * 2, LARGEST_PIECE)) {
            size_t const characters = std::min(piece, static_cast<size_t>(end - at));
            size_t const room = m_dest ? std::min(PIECE_ROOM, m_room - bytes) : PIECE_ROOM;
            wchar_t const* next = at;
            size_t const got = wcsnrtombs(m_piece + 1, &next, characters, room, &state);
            if (got == FAILED) {
                m_knownBad = next;
                return FAILED;
            }
            if (m_dest)
                std::memcpy(m_dest + bytes, m_piece + 1, next ? got : got + 1);
            bool const isFull = next != at + characters && m_dest && room == m_room - bytes;
            bytes += got;
            if (!next || isFull)
                break;
            at = next;
        }
        return bytes;
    }

    void replaceOne()
    {
        bool const unknown = m_count == UNKNOWN_LENGTH;
        if (m_dest && m_room > 0)
            *m_dest = '?';
        advance(1, 1);
        if (unknown)
            m_count = UNKNOWN_LENGTH;
    }

    void advance(unsigned characters, unsigned bytes)
    {
        m_src += characters;
        m_count -= characters;
        if (m_dest)
            m_dest += bytes;
        m_room -= std::min(m_room, bytes);
        m_knownBad = nullptr; // The state at that character may differ for the new start.
    }

    static constexpr size_t PIECE_ROOM = 1024;
    static constexpr size_t SMALLEST_PIECE = 32;
    static constexpr size_t LARGEST_PIECE = 1024;

    char* m_dest;
    unsigned m_room;
    wchar_t const* m_src;
    unsigned m_count;
    wchar_t const* m_end;
    wchar_t const* m_knownBad = nullptr;

    // The first byte is never zero: when glibc writes no output, as for a character of a stateful
    // encoding, it reads the byte before the output and aborts the process if that byte is zero.
    char m_piece[1 + PIECE_ROOM];
};

}

int safe_wcstombs_s(
    unsigned* result, char* dest, unsigned destSize, wchar_t const* src, unsigned count)
{
    *result = Conversion(dest, destSize, src, count).run();
    return 0;
}

}
