#pragma once

#include "common/basic/export.h"

#include <cstdio>
#include <istream>
#include <streambuf>
#include <string>

/**
 * The stream buffer over a shell command's standard output; popen(3).
 *
 * Kept: the first byte of each refill of 128 is returned sign-extended, so that a byte 0xFF there
 * ends the stream.
 */
template <class Char, class Traits = std::char_traits<Char>> class DOVREL_EXPORT basic_pbuf
    : public std::basic_streambuf<Char, Traits> {
public:
    using int_type = typename Traits::int_type;

    /** Starts @p command. Where that fails the stream is empty. */
    explicit basic_pbuf(std::string const& command);
    basic_pbuf(basic_pbuf const&) = delete;
    basic_pbuf& operator=(basic_pbuf const&) = delete;

    /** Waits for the command's end. */
    ~basic_pbuf() override;

protected:
    int_type underflow() override;

private:
    std::string m_command;
    Char m_buffer[128];
    std::FILE* m_stream;
};

/**
 * What a shell command writes to its standard output, as a stream without a time-out. Its exit
 * status is not looked at. Numbers have the classic locale's digits.
 */
template <class Char, class Traits = std::char_traits<Char>> class DOVREL_EXPORT basic_pistream
    : public std::basic_istream<Char, Traits> {
public:
    explicit basic_pistream(std::string const& command);
    ~basic_pistream() override;

private:
    basic_pbuf<Char, Traits> m_buffer;
};

using pistream = basic_pistream<char>;

extern template class DOVREL_EXPORT basic_pbuf<char>;
extern template class DOVREL_EXPORT basic_pistream<char>;
