#include "app/write/Exposition.h"

#include <array>
#include <charconv>
#include <cmath>
#include <utf8proc.h>

namespace app {

namespace {

constexpr char const* REPLACEMENT = "\xEF\xBF\xBD"; // U+FFFD

/** The units that a name may end in; of two that fit, the longer one stands first. */
constexpr std::array UNITS = {"bytes_per_second", "bytes", "seconds", "hertz", "ratio"};

std::string unitOf(std::string const& name)
{
    for (char const* const unit : UNITS)
        if (name.ends_with(std::string("_") + unit))
            return unit;
    return {};
}

/** Control characters, and -1, which stands for a byte that is no UTF-8. */
bool isReplaced(utf8proc_int32_t code)
{
    return code < ' ' || (code >= 0x7F && code < 0xA0);
}

/**
 * The text of a label in UTF-8, with the format's three escapes.
 *
 * Bytes that are no UTF-8 are replaced. So are control characters: the format cannot escape them,
 * a terminal obeys them, and some readers take a zero character for the end.
 */
std::string escaped(std::string const& text)
{
    auto const* const bytes = reinterpret_cast<utf8proc_uint8_t const*>(text.data());
    std::string label;
    for (size_t position = 0; position < text.size();) {
        utf8proc_int32_t code = -1;
        auto const length = utf8proc_iterate(
            bytes + position, static_cast<utf8proc_ssize_t>(text.size() - position), &code);
        size_t const step = length > 0 ? static_cast<size_t>(length) : 1;
        if (code == '\n')
            label += "\\n";
        else if (code == '"' || code == '\\')
            label += {'\\', static_cast<char>(code)};
        else if (isReplaced(code))
            label += REPLACEMENT;
        else
            label.append(text, position, step);
        position += step;
    }
    return label;
}

}

void Exposition::family(char const* name, char const* help)
{
    m_name = name;
    m_help = help;
    m_written.clear();
}

void Exposition::writeFraction(Labels const& labels, std::optional<double> value)
{
    if (!value || !std::isfinite(*value))
        return;
    // The shortest text that reads back as the same number; a point in every locale.
    std::array<char, 32> digits;
    auto const result = std::to_chars(digits.data(), digits.data() + digits.size(), *value);
    write(labels, std::string(digits.data(), result.ptr));
}

void Exposition::end()
{
    m_out << "# EOF\n";
}

void Exposition::write(Labels const& labels, std::string const& value)
{
    std::string set;
    for (auto const& [name, text] : labels)
        if (text && !text->empty())
            set += (set.empty() ? "" : ",") + std::string(name) + "=\"" + escaped(*text) + "\"";
    bool const first = m_written.empty();
    if (!m_written.insert(set).second)
        return;
    if (first) {
        m_out << "# TYPE " << m_name << " gauge\n";
        if (std::string const unit = unitOf(m_name); !unit.empty())
            m_out << "# UNIT " << m_name << " " << unit << '\n';
        m_out << "# HELP " << m_name << " " << m_help << '\n';
    }
    m_out << m_name;
    if (!set.empty())
        m_out << "{" << set << "}";
    m_out << " " << value << '\n';
}

}
