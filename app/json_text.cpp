#include "app/json_text.h"

namespace app {

namespace {

/** Escapes DEL and U+0080 to U+009F, whose U+009B begins a control sequence like ESC [ does. They
 * stand in strings only, so the document remains what it was. */
std::string withoutRawControls(std::string const& document)
{
    constexpr char DIGITS[] = "0123456789abcdef";
    std::string text;
    for (size_t i = 0; i < document.size(); ++i) {
        auto byte = static_cast<unsigned char>(document[i]);
        // UTF-8 has them as 0xC2 and the code.
        if (byte == 0xC2 && i + 1 < document.size()
            && static_cast<unsigned char>(document[i + 1]) < 0xA0)
            byte = static_cast<unsigned char>(document[++i]);
        else if (byte != 0x7F) {
            text += document[i];
            continue;
        }
        text += "\\u00";
        text += DIGITS[byte >> 4];
        text += DIGITS[byte & 0xF];
    }
    return text;
}

}

std::string jsonText(Json const& document)
{
    constexpr int INDENT = 2;
    return withoutRawControls(
        document.dump(INDENT, ' ', false, Json::error_handler_t::replace) + "\n");
}

}
