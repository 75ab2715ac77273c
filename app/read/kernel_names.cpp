#include "app/read/kernel_names.h"

namespace app {

namespace {

bool isOctal(char c)
{
    return c >= '0' && c <= '7';
}

/** @return whether four characters at @p position stand for one byte. */
bool isEscape(std::string const& text, size_t position)
{
    return text.size() - position >= 4 && text[position] == '\\' && text[position + 1] >= '0'
        && text[position + 1] <= '3' && isOctal(text[position + 2]) && isOctal(text[position + 3]);
}

}

std::string decodeOctal(std::string const& text)
{
    std::string decoded;
    for (size_t position = 0; position < text.size(); ++position) {
        if (!isEscape(text, position)) {
            decoded += text[position];
            continue;
        }
        unsigned byte = 0;
        for (size_t digit = 1; digit <= 3; ++digit)
            byte = byte * 8 + static_cast<unsigned>(text[position + digit] - '0');
        decoded += static_cast<char>(byte);
        position += 3;
    }
    return decoded;
}

}
