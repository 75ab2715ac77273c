#pragma once

#include <algorithm>
#include <string>
#include <string_view>

/** The classes of ASCII characters, whatever the locale is. */
namespace app {

constexpr bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

constexpr bool isUpper(char c)
{
    return c >= 'A' && c <= 'Z';
}

constexpr bool isLower(char c)
{
    return c >= 'a' && c <= 'z';
}

constexpr bool isHexDigit(char c)
{
    return isDigit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

constexpr bool isNotAscii(char c)
{
    return (static_cast<unsigned char>(c) & 0x80U) != 0;
}

/** A byte of a UTF-8 sequence counts as a letter. */
constexpr bool isAlphanumeric(char c)
{
    return isDigit(c) || isUpper(c) || isLower(c) || isNotAscii(c);
}

/** @return whether udev writes another character in its place, udev(7). */
constexpr bool isUnsafeForUdev(char c)
{
    return !isAlphanumeric(c) && std::string_view("#+-.:=@_").find(c) == std::string_view::npos;
}

constexpr char toLower(char c)
{
    return isUpper(c) ? static_cast<char>(c - 'A' + 'a') : c;
}

constexpr char toUpper(char c)
{
    return isLower(c) ? static_cast<char>(c - 'a' + 'A') : c;
}

inline std::string lowered(std::string_view text)
{
    std::string result(text);
    for (char& c : result)
        c = toLower(c);
    return result;
}

/** The letters and digits of a text without what stands between them. */
inline std::string core(std::string_view text)
{
    std::string result;
    for (char const c : text)
        if (isAlphanumeric(c))
            result += c;
    return result;
}

inline bool isHex(std::string_view text)
{
    for (char const c : text)
        if (!isHexDigit(c))
            return false;
    return !text.empty();
}

constexpr unsigned hexValue(char c)
{
    return static_cast<unsigned>(isDigit(c) ? c - '0' : toLower(c) - 'a' + 10);
}

/** Two hexadecimal digits for each byte. */
inline std::string hexOf(std::string_view bytes)
{
    constexpr char DIGITS[] = "0123456789abcdef";
    std::string text;
    for (char const c : bytes) {
        text += DIGITS[static_cast<unsigned char>(c) >> 4U];
        text += DIGITS[static_cast<unsigned char>(c) & 0xFU];
    }
    return text;
}

/** The bytes of hexadecimal digits, two a byte. */
inline std::string bytesOf(std::string_view hex)
{
    std::string bytes;
    for (size_t i = 0; i + 1 < hex.size(); i += 2)
        bytes += static_cast<char>(hexValue(hex[i]) << 4U | hexValue(hex[i + 1]));
    return bytes;
}

/** Puts the letters and digits of a replacement between the separators of a form. */
inline std::string filled(std::string_view form, std::string_view replacement)
{
    std::string result(form);
    size_t next = 0;
    for (char& c : result)
        if (isAlphanumeric(c) && next < replacement.size())
            c = replacement[next++];
    return result;
}

/** @return whether the text ends in a character that is written as a code: `\x20`, `\040`, `%20`,
 * `\n` and `\u00e4`. A letter or digit behind it begins a word. */
inline bool endsInEscape(std::string_view text)
{
    auto const tail = [&](size_t length) {
        return text.size() < length ? std::string_view() : text.substr(text.size() - length);
    };
    auto const allAre = [](std::string_view digits, auto const& is) {
        return std::all_of(digits.begin(), digits.end(), is);
    };
    if (auto const end = tail(2); end.size() == 2 && end[0] == '\\')
        return std::string_view("nrtbf").find(end[1]) != std::string_view::npos;
    if (auto const end = tail(3); end.size() == 3 && end[0] == '%')
        return isHexDigit(end[1]) && isHexDigit(end[2]);
    if (auto const end = tail(4); end.size() == 4 && end[0] == '\\')
        return (end[1] == 'x' && allAre(end.substr(2), isHexDigit))
            || allAre(end.substr(1), isDigit);
    auto const end = tail(6);
    return end.size() == 6 && end.substr(0, 2) == "\\u" && allAre(end.substr(2), isHexDigit);
}

/** @return whether a word may begin at this place of a text. */
inline bool isWordBegin(std::string_view text, size_t place)
{
    return place == 0 || !isAlphanumeric(text[place - 1]) || endsInEscape(text.substr(0, place));
}

/** The 32 hexadecimal digits of a UUID with reversed bytes in its first three numbers, as some
 * firmware's tools show it. */
inline std::string swappedUuid(std::string_view digits)
{
    std::string bytes = bytesOf(digits);
    std::reverse(bytes.begin(), bytes.begin() + 4);
    std::reverse(bytes.begin() + 4, bytes.begin() + 6);
    std::reverse(bytes.begin() + 6, bytes.begin() + 8);
    return hexOf(bytes);
}

}
