#include "app/write/JsonWriter.h"

#include <array>
#include <charconv>
#include <cmath>
#include <utf8proc.h>

namespace app {

namespace {

constexpr unsigned INDENT = 2;
constexpr char REPLACEMENT[] = "\xEF\xBF\xBD"; // U+FFFD

/** @return whether a terminal may obey the character. U+009B begins a sequence as ESC [ does. */
bool isControl(utf8proc_int32_t code)
{
    return code < 0x20 || (code >= 0x7F && code < 0xA0);
}

std::string escaped(utf8proc_int32_t code)
{
    constexpr char DIGITS[] = "0123456789abcdef";
    return std::string("\\u00") + DIGITS[code >> 4] + DIGITS[code & 0xF];
}

}

void JsonWriter::key(std::string const& name)
{
    separate();
    addString(name);
    m_text += m_form == INDENTED ? ": " : ":";
    m_hasKey = true;
}

void JsonWriter::value(double value)
{
    if (!std::isfinite(value)) {
        null();
        return;
    }
    std::array<char, 32> digits; // The shortest form of a double has at most 24.
    auto const result = std::to_chars(digits.data(), digits.data() + digits.size(), value);
    std::string text(digits.data(), result.ptr);
    // Readers with types take a number without a point for an integer.
    if (text.find_first_of(".e") == std::string::npos)
        text += ".0";
    literal(text);
}

void JsonWriter::value(std::string const& text)
{
    separate();
    addString(text);
}

void JsonWriter::begin(char bracket)
{
    separate();
    m_text += bracket;
    ++m_depth;
    m_isEmpty = true;
}

void JsonWriter::end(char bracket)
{
    --m_depth;
    if (!m_isEmpty)
        addLine();
    m_text += bracket;
    m_isEmpty = false;
}

void JsonWriter::literal(std::string const& text)
{
    separate();
    m_text += text;
}

/** Writes what stands between an element and the one before. */
void JsonWriter::separate()
{
    if (!m_hasKey && m_depth > 0) {
        m_text += m_isEmpty ? "" : ",";
        addLine();
    }
    m_hasKey = false;
    m_isEmpty = false;
}

void JsonWriter::addLine()
{
    if (m_form == INDENTED)
        m_text += "\n" + std::string(size_t{INDENT} * m_depth, ' ');
}

void JsonWriter::addString(std::string const& text)
{
    m_text += '"';
    for (size_t position = 0; position < text.size();) {
        auto const* const bytes = reinterpret_cast<utf8proc_uint8_t const*>(&text[position]);
        utf8proc_int32_t code = 0;
        utf8proc_ssize_t const count =
            utf8proc_iterate(bytes, static_cast<utf8proc_ssize_t>(text.size() - position), &code);
        size_t const length = count > 0 ? static_cast<size_t>(count) : 1;
        if (count <= 0)
            m_text += REPLACEMENT;
        else if (code == '"' || code == '\\')
            m_text += {'\\', text[position]};
        else if (isControl(code))
            m_text += escaped(code);
        else
            m_text.append(text, position, length);
        position += length;
    }
    m_text += '"';
}

}
