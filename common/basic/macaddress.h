#pragma once

#include "common/basic/export.h"

#include <array>
#include <cstdint>
#include <istream>
#include <ostream>

namespace dovrel {

/**
 * A link-layer address of eight bytes. A six-byte Ethernet address (IEEE EUI-48) is followed by two
 * zero bytes. All bytes are zero by default.
 */
class macaddress_cpp {
public:
    /** The number of bytes. */
    static constexpr unsigned SIZE = 8;

    /** The number of characters of the text form, without a terminator. */
    static constexpr unsigned TEXT_LENGTH = SIZE * 3 - 1;

    /** @return the byte @p index, which must be below `SIZE`. */
    uint8_t& operator[](unsigned index) { return m_bytes[index]; }

    /** @return the same. */
    uint8_t operator[](unsigned index) const { return m_bytes[index]; }

    friend bool operator==(macaddress_cpp const& a, macaddress_cpp const& b)
    {
        return a.m_bytes == b.m_bytes;
    }
    friend bool operator!=(macaddress_cpp const& a, macaddress_cpp const& b) { return !(a == b); }

    /** Writes the text form of `operator<<`, `TEXT_LENGTH` characters without a terminator. */
    template <class Char> void writeText(Char* out) const noexcept
    {
        static constexpr Char DIGITS[] = {
            '0', '1', '2', '3', '4', '5', '6', '7', '8', '9', 'a', 'b', 'c', 'd', 'e', 'f'};
        for (unsigned i = 0; i < SIZE; ++i) {
            if (i > 0)
                *out++ = ':';
            *out++ = DIGITS[m_bytes[i] >> 4];
            *out++ = DIGITS[m_bytes[i] & 0x0F];
        }
    }

private:
    std::array<uint8_t, SIZE> m_bytes{};
};

/**
 * Writes all eight bytes as pairs of lower-case hexadecimal digits, separated by ':', for example
 * `00:1a:2b:3c:4d:5e:00:00`. Ignores the stream's flags, fill and width.
 */
template <class Char>
std::basic_ostream<Char>& operator<<(std::basic_ostream<Char>& out, macaddress_cpp const& address);
template <> DOVREL_EXPORT std::wostream& operator<< <wchar_t>(
    std::wostream& out, macaddress_cpp const& address);

template <> inline std::ostream& operator<< <char>(std::ostream& out, macaddress_cpp const& address)
{
    char text[macaddress_cpp::TEXT_LENGTH];
    address.writeText(text);
    return out.write(text, macaddress_cpp::TEXT_LENGTH);
}

/**
 * Reads six or eight hexadecimal bytes, separated by ':' or '-' in any mixture.
 *
 * The stream reads each byte as a hexadecimal number, of which the low eight bits count, and then
 * one more character. Reading ends when that character is missing or not a separator. After six
 * bytes the last two become zero. The stream is good after six or eight bytes. After any other
 * number (also five bytes and a separator) it is failed, and the bytes read so far are stored. The
 * stream's flags do not change.
 */
template <class Char>
std::basic_istream<Char>& operator>>(std::basic_istream<Char>& in, macaddress_cpp& address);
template <>
DOVREL_EXPORT std::wistream& operator>><wchar_t>(std::wistream& in, macaddress_cpp& address);

}
