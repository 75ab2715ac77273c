#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace app {

/**
 * Writes one JSON value, RFC 8259, in UTF-8 and independent of the locale.
 *
 * A byte of a string that is no UTF-8 becomes U+FFFD. All control characters are escaped, also
 * those that JSON allows, as a terminal would obey them. A double has a decimal point or an
 * exponent; one that is infinite or no number is null.
 */
class JsonWriter {
public:
    enum Form { INDENTED, ONE_LINE };

    explicit JsonWriter(Form form);
    ~JsonWriter();

    void beginObject();
    void endObject();
    void beginArray();
    void endArray();

    /** Names the next value, in an object. */
    void key(std::string const& name);

    void null();
    void value(bool value);
    void value(double value);
    void value(std::string const& text);
    void value(char const* text) { value(std::string(text)); }
    void value(uint64_t number);
    void value(int64_t number);

    /** @return the complete value, without a newline at its end. */
    std::string text() const;

private:
    struct Tree;

    Form m_form;
    std::unique_ptr<Tree> m_tree;
};

}
