#pragma once

#include "common/basic/export.h"

#include <cstdio>
#include <istream>
#include <streambuf>
#include <string>

/**
 * The stream buffer that reads a shell command's standard output; popen(3).
 *
 * Kept: the buffer holds 128 bytes, and the first byte of each refill is returned sign-extended. A
 * byte 0xFF there ends the stream.
 */
template <class Char, class Traits = std::char_traits<Char>> class DOVREL_EXPORT basic_pbuf
    : public std::basic_streambuf<Char, Traits> {
public:
    /** A character, or end-of-file. */
    using int_type = typename Traits::int_type;

    /** Starts @p command. The stream is empty if that fails. */
    explicit basic_pbuf(std::string const& command);
    basic_pbuf(basic_pbuf const&) = delete;
    basic_pbuf& operator=(basic_pbuf const&) = delete;

    /** Waits until the command ends. */
    ~basic_pbuf() override;

protected:
    /** Reads up to 128 bytes. @return the first one, sign-extended; end-of-file after the last. */
    int_type underflow() override;

private:
    std::string m_command;
    Char m_buffer[128];

protected:
    std::FILE* m_stream; ///< Null if the command could not be started.
};

/**
 * Input stream that reads a shell command's standard output. A read blocks until the command writes
 * or ends; there is no time-out. The stream ignores the command's exit status and reads numbers
 * with the classic locale.
 */
template <class Char, class Traits = std::char_traits<Char>> class DOVREL_EXPORT basic_pistream
    : public std::basic_istream<Char, Traits> {
public:
    /** Starts @p command with `/bin/sh`. The stream is empty if that fails. */
    explicit basic_pistream(std::string const& command);
    ~basic_pistream() override;

private:
    basic_pbuf<Char, Traits> m_buffer;
};

/** The stream of bytes. */
using pistream = basic_pistream<char>;

extern template class DOVREL_EXPORT basic_pbuf<char>;
extern template class DOVREL_EXPORT basic_pistream<char>;
