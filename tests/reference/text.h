#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

/**
 * Reference parsers: a second, independent parser for each text that the library reads.
 *
 * The tests, the captures and the fuzz harnesses compare the library with them. They share no code
 * with the library, take a whole text where the library reads a stream, and accept any bytes.
 * Speed does not matter here.
 */
namespace reference {

/** @return the parts of @p text between any two of @p separators; an empty text has one. */
std::vector<std::string> split(std::string const& text, std::string const& separators);

/** @return the lines without their newlines. The last line may have none. */
std::vector<std::string> lines(std::string const& text);

/** Reads words and numbers as a stream of the classic locale does. */
class Fields {
public:
    /** @param text outlives this object. */
    explicit Fields(std::string const& text, size_t at = 0) : m_text(text), m_at(at) { }

    /** @return the position after the last field. */
    size_t at() const { return m_at; }

    /** @return false at the end of the text. */
    bool word(std::string& out);

    /** A negative number wraps modulo 2^64. @return false without a number of at most 64 bits. */
    bool number(uint64_t& out);

private:
    void skipBlanks();

    std::string const& m_text;
    size_t m_at;
};

}
