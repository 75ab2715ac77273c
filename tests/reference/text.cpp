#include "tests/reference/text.h"

namespace reference {

namespace {

bool isBlank(char c)
{
    return c == ' ' || (c >= '\t' && c <= '\r');
}

}

std::vector<std::string> split(std::string const& text, std::string const& separators)
{
    std::vector<std::string> parts(1);
    for (char const c : text)
        if (separators.find(c) != std::string::npos)
            parts.emplace_back();
        else
            parts.back() += c;
    return parts;
}

std::vector<std::string> lines(std::string const& text)
{
    std::vector<std::string> all = split(text, "\n");
    if (all.back().empty())
        all.pop_back();
    return all;
}

bool Fields::word(std::string& out)
{
    out.clear();
    skipBlanks();
    while (m_at < m_text.size() && !isBlank(m_text[m_at]))
        out += m_text[m_at++];
    return !out.empty();
}

bool Fields::number(uint64_t& out)
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

void Fields::skipBlanks()
{
    while (m_at < m_text.size() && isBlank(m_text[m_at]))
        ++m_at;
}

}
