#include "tests/page/Page.h"

#include <cctype>
#include <regex>
#include <stdexcept>

namespace page {

namespace {

class Parser {
public:
    explicit Parser(std::string const& markup) : m_markup(markup) { }

    std::unique_ptr<Element> parse()
    {
        expect("<!DOCTYPE html>\n");
        auto root = element(nullptr);
        if (m_markup.find_first_not_of('\n', m_place) != std::string::npos)
            fail("something behind the root element");
        return root;
    }

private:
    [[noreturn]] void fail(std::string const& what) const
    {
        size_t const from = m_place < 40 ? 0 : m_place - 40;
        throw std::runtime_error(
            what + " at " + std::to_string(m_place) + ": " + m_markup.substr(from, 80));
    }

    bool take(std::string const& text)
    {
        if (m_markup.compare(m_place, text.size(), text) != 0)
            return false;
        m_place += text.size();
        return true;
    }

    void expect(std::string const& text)
    {
        if (!take(text))
            fail("no '" + text + "'");
    }

    char next()
    {
        if (m_place >= m_markup.size())
            fail("end of the page");
        return m_markup[m_place];
    }

    std::string name()
    {
        std::string text;
        for (; std::isalnum(static_cast<unsigned char>(next())) || next() == '-'; ++m_place)
            text += next();
        if (text.empty())
            fail("no name");
        return text;
    }

    /** Reads a character, or the one that a reference stands for. */
    std::string character()
    {
        if (next() == '<')
            fail("a bare <");
        if (next() != '&') {
            auto const c = static_cast<unsigned char>(next());
            if ((c < 0x20 && c != '\n') || c == 0x7F)
                fail("a control character");
            ++m_place;
            return std::string(1, static_cast<char>(c));
        }
        for (auto const& [reference, c] : {std::pair("&amp;", "&"), {"&lt;", "<"}, {"&gt;", ">"},
                 {"&quot;", "\""}, {"&#39;", "'"}})
            if (take(reference))
                return c;
        fail("an unknown reference");
    }

    std::unique_ptr<Element> element(Element const* parent)
    {
        auto element = std::make_unique<Element>();
        element->parent = parent;
        expect("<");
        element->tag = name();
        while (take(" ")) {
            std::string const key = name();
            expect("=\"");
            std::string value;
            while (next() != '"')
                value += character();
            expect("\"");
            if (!element->attributes.emplace(key, value).second)
                fail("a second attribute " + key);
        }
        if (take("/>"))
            return element;
        expect(">");
        content(*element);
        expect("</" + element->tag + ">");
        return element;
    }

    void content(Element& element)
    {
        while (m_markup.compare(m_place, 2, "</") != 0) {
            if (next() == '<') {
                element.children.push_back(this->element(&element));
                element.text += element.children.back()->text;
            } else {
                element.text += character();
            }
        }
    }

    std::string const& m_markup;
    size_t m_place = 0;
};

void collect(Element const& element, std::string const& tag, std::vector<Element const*>& found)
{
    if (tag.empty() || element.tag == tag)
        found.push_back(&element);
    for (auto const& child : element.children)
        collect(*child, tag, found);
}

/** "disks.0.name" as JSON's own pointer, "/disks/0/name". */
std::string pointerOf(std::string const& key)
{
    return "/" + std::regex_replace(key, std::regex("\\."), "/");
}

/** @return the bytes at a place that a page shows as U+FFFD, or that are one; 0 for others. */
size_t hiddenAt(std::string const& text, size_t place)
{
    auto const byte = static_cast<unsigned char>(text[place]);
    if (byte < 0x20 || byte == 0x7F)
        return 1;
    if (text.compare(place, 3, "\xEF\xBF\xBD") == 0)
        return 3;
    bool const control = byte == 0xC2 && place + 1 < text.size()
        && static_cast<unsigned char>(text[place + 1]) < 0xA0;
    return control ? 2 : 0;
}

/** @return the text with one '?' for each row of characters that a page does not show, which JSON
 * has. */
std::string comparable(std::string const& text)
{
    std::string shown;
    bool wasHidden = false;
    for (size_t place = 0; place < text.size();) {
        size_t const hidden = hiddenAt(text, place);
        if (hidden == 0)
            shown += text[place];
        else if (!wasHidden)
            shown += '?';
        wasHidden = hidden > 0;
        place += wasHidden ? hidden : 1;
    }
    return shown;
}

bool isSame(std::string const& shown, testkit::Json const& value)
{
    if (value.is_number_float())
        return std::stod(shown) == value.get<double>();
    return comparable(shown)
        == comparable(value.is_string() ? value.get<std::string>() : value.dump());
}

}

std::string Element::attribute(std::string const& name) const
{
    auto const found = attributes.find(name);
    return found == attributes.end() ? "" : found->second;
}

Page::Page(std::string const& markup) : m_root(Parser(markup).parse())
{
}

std::vector<Element const*> Page::all(std::string const& tag) const
{
    std::vector<Element const*> found;
    collect(*m_root, tag, found);
    return found;
}

Element const& Page::withId(std::string const& id) const
{
    Element const* found = nullptr;
    for (Element const* const element : all())
        if (element->attribute("id") == id) {
            if (found)
                throw std::runtime_error("two elements have the id " + id);
            found = element;
        }
    if (!found)
        throw std::runtime_error("no element has the id " + id);
    return *found;
}

std::vector<std::string> differencesFromJson(Page const& page, testkit::Json const& document)
{
    std::vector<std::string> lines;
    size_t facts = 0;
    for (Element const* const element : page.all()) {
        std::string const key = element->attribute("data-key");
        if (key.empty())
            continue;
        ++facts;
        bool const isKnown = element->attributes.count("value") != 0;
        std::string const shown = element->attribute("value");
        auto const pointer = pointerOf(key);
        if (!document.hasPointer(pointer))
            lines.push_back(key + " is not in JSON");
        else if (isKnown == document.atPointer(pointer).is_null())
            lines.push_back(key + " is unknown in one of the two");
        else if (isKnown && !isSame(shown, document.atPointer(pointer)))
            lines.push_back(
                key + " is " + shown + ", in JSON " + document.atPointer(pointer).dump());
    }
    if (facts == 0)
        lines.emplace_back("the page has no facts");
    return lines;
}

}
