#include "app/recording/answer_line.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

namespace app {

namespace {

constexpr unsigned OCTAL_DIGITS = 3;

bool isOctal(char c)
{
    return c >= '0' && c <= '7';
}

/** Reads what follows a backslash. @return the bytes that it takes. */
size_t readEscape(std::string_view rest, std::string& word)
{
    if (!rest.empty() && (rest[0] == '"' || rest[0] == '\\')) {
        word += rest[0];
        return 1;
    }
    unsigned value = 0;
    for (size_t i = 0; i < OCTAL_DIGITS; ++i) {
        if (i >= rest.size() || !isOctal(rest[i]))
            throw std::runtime_error("a backslash stands before something else than \", \\ or "
                                     "three octal digits");
        value = value * 8 + static_cast<unsigned>(rest[i] - '0');
    }
    word += static_cast<char>(static_cast<unsigned char>(value));
    return OCTAL_DIGITS;
}

/** Reads a word behind its quotation mark. @return the bytes that it takes with the second one. */
size_t readQuoted(std::string_view rest, std::string& word)
{
    for (size_t i = 0; i < rest.size(); ++i) {
        if (rest[i] == '"')
            return i + 1;
        if (rest[i] == '\\')
            i += readEscape(rest.substr(i + 1), word);
        else
            word += rest[i];
    }
    throw std::runtime_error("a quotation mark is not closed");
}

}

std::string asWord(std::string_view text)
{
    bool isPlain = !text.empty();
    std::string word;
    for (char const c : text) {
        auto const byte = static_cast<unsigned char>(c);
        bool const isControl = byte < ' ' || byte == 0x7F;
        bool const isEscaped = c == '"' || c == '\\' || isControl;
        isPlain = isPlain && !isEscaped && c != ' ';
        if (isEscaped)
            word += '\\';
        if (!isControl)
            word += c;
        else
            for (int shift = 6; shift >= 0; shift -= 3)
                word += static_cast<char>('0' + ((byte >> shift) & 7U));
    }
    return isPlain ? word : '"' + word + '"';
}

std::vector<std::string> wordsOfLine(std::string_view line)
{
    std::vector<std::string> words;
    for (size_t i = line.find_first_not_of(' '); i < line.size();
         i = line.find_first_not_of(' ', i)) {
        std::string word;
        if (line[i] == '"') {
            i += 1 + readQuoted(line.substr(i + 1), word);
        } else {
            size_t const end = std::min(line.find(' ', i), line.size());
            word = line.substr(i, end - i);
            i = end;
        }
        words.push_back(std::move(word));
    }
    return words;
}

std::string errorName(int error)
{
    char const* const name = strerrorname_np(error);
    return name ? name : "EIO";
}

int errorNumber(std::string const& name)
{
    constexpr int LAST = 133; // EHWPOISON
    for (int error = 1; error <= LAST; ++error)
        if (char const* const known = strerrorname_np(error); known && name == known)
            return error;
    return 0;
}

}
