#include "app/write/html_text.h"

#include <utf8proc.h>

namespace app {

namespace {

constexpr char const* REPLACEMENT = "\xEF\xBF\xBD"; // U+FFFD

/** Whether a character may stand on a page: XML has no others, and a name must not reorder the text
 * behind it (Unicode's bidirectional formatting). */
bool isShown(utf8proc_int32_t code)
{
    bool const control = code < 0x20 || (code >= 0x7F && code <= 0x9F);
    bool const direction = code == 0x061C || code == 0x200E || code == 0x200F
        || (code >= 0x202A && code <= 0x202E) || (code >= 0x2066 && code <= 0x2069);
    bool const noCharacter = (code & 0xFFFE) == 0xFFFE;
    return !control && !direction && !noCharacter;
}

std::string escaped(char c)
{
    switch (c) {
    case '&':
        return "&amp;";
    case '<':
        return "&lt;";
    case '>':
        return "&gt;";
    case '"':
        return "&quot;";
    case '\'':
        return "&#39;";
    default:
        return std::string(1, c);
    }
}

}

std::string escapedHtml(std::string const& text)
{
    std::string markup;
    for (size_t position = 0; position < text.size();) {
        utf8proc_int32_t code = 0;
        auto const bytes = utf8proc_iterate(
            reinterpret_cast<utf8proc_uint8_t const*>(text.data() + position), // Bytes either way.
            static_cast<utf8proc_ssize_t>(text.size() - position), &code);
        if (bytes == 1 && isShown(code))
            markup += escaped(text[position]);
        else if (bytes > 1 && isShown(code))
            markup.append(text, position, static_cast<size_t>(bytes));
        else
            markup += REPLACEMENT;
        position += bytes > 0 ? static_cast<size_t>(bytes) : 1;
    }
    return markup;
}

Html::Element::~Element()
{
    m_html.raw(std::string("</") + m_tag + ">");
    // Blanks between these mean nothing, and a page of one line is hard to search.
    for (char const* const block : {"body", "caption", "div", "dl", "figure", "g", "h2", "head",
             "header", "li", "nav", "ol", "p", "section", "svg", "table", "thead", "tr", "ul"})
        if (std::string(m_tag) == block)
            m_html.raw("\n");
}

Html::Element Html::open(char const* tag, Attributes const& attributes)
{
    writeStart(tag, attributes, ">");
    return Element(*this, tag);
}

void Html::empty(char const* tag, Attributes const& attributes)
{
    writeStart(tag, attributes, "/>");
}

void Html::element(char const* tag, std::string const& content, Attributes const& attributes)
{
    auto const element = open(tag, attributes);
    text(content);
}

void Html::text(std::string const& text)
{
    m_out << escapedHtml(text);
}

void Html::writeStart(char const* tag, Attributes const& attributes, char const* end)
{
    m_out << '<' << tag;
    for (Attribute const& attribute : attributes)
        m_out << ' ' << attribute.name << "=\"" << escapedHtml(attribute.value) << '"';
    m_out << end;
}

}
