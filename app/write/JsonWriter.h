#pragma once

#include <cstdint>
#include <string>

namespace app {

/**
 * Writes one JSON value, RFC 8259, in UTF-8 and independent of the locale.
 *
 * A byte of a string that is no UTF-8 becomes U+FFFD. All control characters are escaped, also
 * those that JSON allows, as a terminal would obey them. Numbers have a decimal point; a double
 * that is infinite or no number is null.
 */
class JsonWriter {
public:
    enum Form { INDENTED, ONE_LINE };

    explicit JsonWriter(Form form) : m_form(form) { }

    void beginObject() { begin('{'); }
    void endObject() { end('}'); }
    void beginArray() { begin('['); }
    void endArray() { end(']'); }

    /** Begins a member of an object; its value must follow. */
    void key(std::string const& name);

    void null() { literal("null"); }
    void value(bool value) { literal(value ? "true" : "false"); }
    void value(double value);
    void value(std::string const& text);
    void value(char const* text) { value(std::string(text)); }
    void value(uint64_t number) { literal(std::to_string(number)); }
    void value(int64_t number) { literal(std::to_string(number)); }

    /** @return what has been written, without a newline at its end. */
    std::string const& text() const { return m_text; }

private:
    void begin(char bracket);
    void end(char bracket);
    void literal(std::string const& text);
    void separate();
    void addLine();
    void addString(std::string const& text);

    Form m_form;
    std::string m_text;
    unsigned m_depth = 0;
    bool m_isEmpty = true; ///< Of the innermost object or array.
    bool m_hasKey = false; ///< A key waits for its value.
};

}
