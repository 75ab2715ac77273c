#pragma once

#include <optional>
#include <string>
#include <string_view>

/** Text of any bytes in a form that JSON, a terminal and an editor can hold. */
namespace app {

/** @return whether the text is UTF-8 without control characters. */
bool isPlain(std::string_view text);

/** @return the text with "%XX" for each '%', for each byte of a control character, and for each
 * byte that is no UTF-8. */
std::string escaped(std::string_view text);

/** @return the bytes of a text that `escaped` may have written; nothing where two hexadecimal
 * digits do not follow a '%', or where the text is not plain. */
std::optional<std::string> unescaped(std::string_view text);

}
