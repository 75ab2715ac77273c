#pragma once

#include <ostream>
#include <string>
#include <vector>

namespace app {

/**
 * @return the text as content or attribute value of HTML and XML, in UTF-8.
 *
 * U+FFFD stands for each byte that is no UTF-8, for control characters, and for those that change
 * the direction of the text behind them: names come from the machine.
 */
std::string escapedHtml(std::string const& text);

/** Writes markup that is well-formed as HTML and as XML: each element that is opened is closed. */
class Html {
public:
    struct Attribute {
        char const* name;
        std::string value;
    };

    using Attributes = std::vector<Attribute>;

    /** An open element; closed with the object. */
    class Element {
    public:
        Element(Html& html, char const* tag) : m_html(html), m_tag(tag) { }
        Element(Element const&) = delete;
        Element& operator=(Element const&) = delete;
        ~Element();

    private:
        Html& m_html;
        char const* m_tag;
    };

    /** @param out must outlive the object. */
    explicit Html(std::ostream& out) : m_out(out) { }

    /** @param tag must outlive the element. */
    [[nodiscard]] Element open(char const* tag, Attributes const& attributes = {});

    /** Writes an element without content. */
    void empty(char const* tag, Attributes const& attributes);

    /** Writes an element with text alone. */
    void element(char const* tag, std::string const& text, Attributes const& attributes = {});

    void text(std::string const& text);

    /** Writes text without escaping it. */
    void raw(std::string const& markup) { m_out << markup; }

private:
    void writeStart(char const* tag, Attributes const& attributes, char const* end);

    std::ostream& m_out;
};

}
