#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

/** Takes words and numbers off a text as a stream of the classic locale would, by hand. */
class NaiveFields {
public:
    explicit NaiveFields(std::string const& text, size_t at = 0) : m_text(text), m_at(at) { }

    size_t at() const { return m_at; }

    /** @return false at the end of the text. */
    bool word(std::string& out)
    {
        out.clear();
        skipBlanks();
        while (m_at < m_text.size() && !isBlank(m_text[m_at]))
            out += m_text[m_at++];
        return !out.empty();
    }

    /** A negative number is one modulo 2^64. @return false where there is none or it is too large.
     */
    bool number(uint64_t& out)
    {
        skipBlanks();
        bool const negative = m_at < m_text.size() && m_text[m_at] == '-';
        if (m_at < m_text.size() && (m_text[m_at] == '-' || m_text[m_at] == '+'))
            ++m_at;
        bool found = false;
        bool tooLarge = false;
        uint64_t value = 0;
        for (; m_at < m_text.size() && m_text[m_at] >= '0' && m_text[m_at] <= '9'; ++m_at) {
            auto const digit = static_cast<uint64_t>(m_text[m_at] - '0');
            found = true;
            tooLarge = tooLarge || value > (UINT64_MAX - digit) / 10;
            value = value * 10 + digit;
        }
        out = negative ? 0 - value : value;
        return found && !tooLarge;
    }

private:
    static bool isBlank(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

    void skipBlanks()
    {
        while (m_at < m_text.size() && isBlank(m_text[m_at]))
            ++m_at;
    }

    std::string const& m_text;
    size_t m_at;
};
