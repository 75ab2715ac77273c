#pragma once

#include "common/basic/export.h"

#include <array>
#include <cstdint>
#include <istream>
#include <ostream>

namespace dovrel {

/**
 * A link-layer address of eight bytes; the six-byte addresses of Ethernet (IEEE EUI-48) are held
 * with two zero bytes behind them. Zero throughout by default.
 */
class macaddress_cpp {
public:
    static constexpr unsigned SIZE = 8;

    uint8_t& operator[](unsigned index) { return m_bytes[index]; }
    uint8_t operator[](unsigned index) const { return m_bytes[index]; }

    friend bool operator==(macaddress_cpp const& a, macaddress_cpp const& b)
    {
        return a.m_bytes == b.m_bytes;
    }
    friend bool operator!=(macaddress_cpp const& a, macaddress_cpp const& b) { return !(a == b); }

private:
    std::array<uint8_t, SIZE> m_bytes{};
};

/**
 * Writes all eight bytes as lower-case hexadecimal pairs joined by ':', whatever the stream's
 * flags, fill and width are: `00:1a:2b:3c:4d:5e:00:00`. To wide and to narrow streams.
 */
template <class Char>
std::basic_ostream<Char>& operator<<(std::basic_ostream<Char>& out, macaddress_cpp const& address);
template <> DOVREL_EXPORT std::wostream& operator<< <wchar_t>(
    std::wostream& out, macaddress_cpp const& address);

template <> inline std::ostream& operator<< <char>(std::ostream& out, macaddress_cpp const& address)
{
    char text[macaddress_cpp::SIZE * 3];
    char* at = text;
    for (unsigned i = 0; i < macaddress_cpp::SIZE; ++i) {
        *at++ = "0123456789abcdef"[address[i] >> 4];
        *at++ = "0123456789abcdef"[address[i] & 0x0F];
        *at++ = ':';
    }
    return out.write(text, sizeof text - 1);
}

/**
 * Reads six or eight hexadecimal bytes with ':' or '-' (mixed at will) between them.
 *
 * Each byte is one hexadecimal number as the stream reads it, of which the low eight bits are kept;
 * one character is read behind each. Six bytes followed by the end or by anything but a separator
 * set the last two to zero. The stream is good after six or eight bytes and failed after any other
 * count (five bytes and a trailing separator included); the bytes read until then are stored. The
 * stream's flags are left as they were.
 */
template <class Char>
std::basic_istream<Char>& operator>>(std::basic_istream<Char>& in, macaddress_cpp& address);
template <>
DOVREL_EXPORT std::wistream& operator>><wchar_t>(std::wistream& in, macaddress_cpp& address);

}
