#include "app/write/JsonWriter.h"

#include <nlohmann/json.hpp>

#include <vector>

namespace app {

namespace {

using Json = nlohmann::ordered_json;

/**
 * @return the text with DEL and the controls U+0080 to U+009F escaped, which the library writes as
 *         they are. They occur in strings only, and 0xC2 is a first byte only.
 */
std::string withoutControls(std::string const& text)
{
    constexpr unsigned char DELETE = 0x7F;
    constexpr unsigned char FIRST_BYTE = 0xC2; // Of U+0080 to U+00BF.
    constexpr unsigned char FIRST_PRINTABLE = 0xA0;
    std::string escaped;
    escaped.reserve(text.size());
    unsigned char former = 0;
    for (char const byte : text) {
        auto const code = static_cast<unsigned char>(byte);
        bool const isC1 = former == FIRST_BYTE && code < FIRST_PRINTABLE;
        if (isC1)
            escaped.pop_back();
        if (isC1 || code == DELETE) {
            constexpr char DIGITS[] = "0123456789abcdef";
            escaped += {'\\', 'u', '0', '0', DIGITS[code >> 4], DIGITS[code & 0xF]};
        } else {
            escaped += byte;
        }
        former = code;
    }
    return escaped;
}

}

struct JsonWriter::Tree {
    Tree() : root(nullptr) { }
    Tree(Tree const&) = delete; // `open` points into `root`.
    Tree& operator=(Tree const&) = delete;

    Json root;
    /** The objects and arrays that have not ended. Only the innermost grows, so none moves. */
    std::vector<Json*> open;
    std::string key; ///< Of the next value in an object.

    Json& add(Json value)
    {
        Json& place = open.empty()     ? root
            : open.back()->is_object() ? (*open.back())[key]
                                       : open.back()->emplace_back(nullptr);
        place = std::move(value);
        return place;
    }
};

JsonWriter::JsonWriter(Form form) : m_form(form), m_tree(std::make_unique<Tree>())
{
}

JsonWriter::~JsonWriter() = default;

void JsonWriter::beginObject()
{
    m_tree->open.push_back(&m_tree->add(Json::object()));
}

void JsonWriter::endObject()
{
    m_tree->open.pop_back();
}

void JsonWriter::beginArray()
{
    m_tree->open.push_back(&m_tree->add(Json::array()));
}

void JsonWriter::endArray()
{
    m_tree->open.pop_back();
}

void JsonWriter::key(std::string const& name)
{
    m_tree->key = name;
}

void JsonWriter::null()
{
    m_tree->add(nullptr);
}

void JsonWriter::value(bool value)
{
    m_tree->add(value);
}

void JsonWriter::value(double value)
{
    m_tree->add(value);
}

void JsonWriter::value(std::string const& text)
{
    m_tree->add(text);
}

void JsonWriter::value(uint64_t number)
{
    m_tree->add(number);
}

void JsonWriter::value(int64_t number)
{
    m_tree->add(number);
}

std::string JsonWriter::text() const
{
    constexpr int INDENT = 2;
    constexpr int ONE_LINE_INDENT = -1;
    return withoutControls(m_tree->root.dump(
        m_form == INDENTED ? INDENT : ONE_LINE_INDENT, ' ', false, Json::error_handler_t::replace));
}

}
