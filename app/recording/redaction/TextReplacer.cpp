#include "app/recording/redaction/TextReplacer.h"

#include "app/recording/redaction/characters.h"

#include <algorithm>

namespace app {

namespace {

/** @return whether the text ends in a group of an address: in digits that are a whole word, and no
 * end of "eth0", or in ':'. */
bool endsInHexGroup(std::string_view text)
{
    size_t begin = text.size();
    while (begin > 0 && isHexDigit(text[begin - 1]))
        --begin;
    if (begin == text.size())
        return !text.empty() && text.back() == ':';
    return isWordBegin(text, begin);
}

bool isFreeBefore(std::string_view before, TextPattern const& pattern)
{
    auto const border = pattern.border;
    bool const isWord = border != TextPattern::WORD || isAlphanumeric(pattern.from.front());
    if (before.empty() || border == TextPattern::NONE || !isWord)
        return true;
    char const c = before.back();
    if (border == TextPattern::NUMBER4 && c == '.')
        return before.size() < 2 || !isDigit(before[before.size() - 2]);
    if (border == TextPattern::NUMBER6 && c == ':')
        return !endsInHexGroup(before.substr(0, before.size() - 1));
    return !isAlphanumeric(c) || endsInEscape(before);
}

bool isFreeBehind(std::string_view behind, TextPattern const& pattern)
{
    auto const border = pattern.border;
    bool const isWord = border != TextPattern::WORD || isAlphanumeric(pattern.from.back());
    if (behind.empty() || border == TextPattern::NONE || !isWord)
        return true;
    char const c = behind[0];
    char const next = behind.size() > 1 ? behind[1] : ' ';
    if (border == TextPattern::NUMBER4 && c == '.')
        return !isDigit(next);
    if (border == TextPattern::NUMBER6 && c == ':')
        return !isHexDigit(next) && next != ':';
    return !isAlphanumeric(c);
}

/** The replacement with the case of the letters that it stands for, and its own where it stands for
 * none. */
std::string withCase(TextPattern const& pattern, std::string_view occurrence)
{
    std::string result = pattern.to;
    auto const isLetter = [](char c) { return isUpper(c) || isLower(c); };
    if (!pattern.anyCase || result.size() != occurrence.size()
        || std::none_of(occurrence.begin(), occurrence.end(), isLetter))
        return result;
    // A digit may become a letter; its case is that of the other letters of the value.
    bool hasUpper = false;
    bool hasLower = false;
    for (size_t i = 0; i < result.size(); ++i) {
        bool const isReplaced = toLower(result[i]) != toLower(occurrence[i]);
        hasUpper = hasUpper || (isReplaced && isUpper(occurrence[i]));
        hasLower = hasLower || (isReplaced && isLower(occurrence[i]));
    }
    if (!hasUpper && !hasLower)
        hasUpper = std::any_of(occurrence.begin(), occurrence.end(), isUpper)
            && std::none_of(occurrence.begin(), occurrence.end(), isLower);
    for (size_t i = 0; i < result.size(); ++i) {
        char const old = occurrence[i];
        bool const toUpperCase = isUpper(old) || (!isLower(old) && hasUpper && !hasLower);
        result[i] = toUpperCase ? toUpper(result[i]) : toLower(result[i]);
    }
    return result;
}

/** @return whether an address or the sign for none begins here, as in the next column of route(8).
 */
bool isAddressColumn(std::string_view text)
{
    std::string_view const word = text.substr(0, text.find_first_of(" \n"));
    return word == "-" || word == "*"
        || (word.find('.') != std::string_view::npos
            && word.find_first_not_of("0123456789.") == std::string_view::npos);
}

/** The number of blanks behind a replaced text of another length. One or two separate words and
 * stay, but in a table of addresses; more make a column. */
size_t columnBlanks(std::string_view behind, size_t oldLength, size_t newLength)
{
    constexpr size_t FEWEST = 3;
    size_t const blanks = std::min(behind.find_first_not_of(' '), behind.size());
    bool const isColumn =
        blanks >= FEWEST || (blanks > 0 && isAddressColumn(behind.substr(blanks)));
    if (!isColumn)
        return blanks;
    return blanks + oldLength > newLength ? blanks + oldLength - newLength : 1;
}

}

uint32_t TextReplacer::child(uint32_t node, char byte) const
{
    if (node == 0)
        return m_first[static_cast<unsigned char>(byte)];
    uint32_t next = m_nodes[node].firstChild;
    while (next != 0 && m_nodes[next].byte != byte)
        next = m_nodes[next].nextSibling;
    return next;
}

uint32_t TextReplacer::addChild(uint32_t node, char byte)
{
    if (uint32_t const known = child(node, byte); known != 0)
        return known;
    auto const added = static_cast<uint32_t>(m_nodes.size());
    Node made;
    made.byte = byte;
    made.nextSibling = node == 0 ? 0 : m_nodes[node].firstChild;
    m_nodes.push_back(made);
    (node == 0 ? m_first[static_cast<unsigned char>(byte)] : m_nodes[node].firstChild) = added;
    return added;
}

void TextReplacer::add(TextPattern const& pattern)
{
    if (pattern.from.empty())
        return;
    uint32_t node = 0;
    for (char const c : pattern.from)
        node = addChild(node, toLower(c));
    if (m_nodes[node].pattern != 0)
        return;
    m_patterns.push_back(pattern);
    m_nodes[node].pattern = static_cast<uint32_t>(m_patterns.size());
}

TextPattern const* TextReplacer::longestAt(std::string_view text, size_t place) const
{
    TextPattern const* longest = nullptr;
    uint32_t node = 0;
    for (size_t end = place; end < text.size();) {
        node = child(node, toLower(text[end]));
        if (node == 0)
            break;
        ++end;
        if (m_nodes[node].pattern == 0)
            continue;
        TextPattern const& pattern = m_patterns[m_nodes[node].pattern - 1];
        if ((pattern.anyCase || pattern.from == text.substr(place, end - place))
            && isFreeBefore(text.substr(0, place), pattern)
            && isFreeBehind(text.substr(end), pattern))
            longest = &pattern;
    }
    return longest;
}

std::string TextReplacer::replaced(std::string_view text, std::vector<uint64_t>& counts) const
{
    std::string result;
    result.reserve(text.size());
    for (size_t place = 0; place < text.size();) {
        TextPattern const* const pattern = longestAt(text, place);
        if (!pattern) {
            result += text[place++];
            continue;
        }
        ++counts[pattern->counter];
        size_t const length = pattern->from.size();
        result += withCase(*pattern, text.substr(place, length));
        place += length;
        if (pattern->to.size() == length)
            continue;
        std::string_view const behind = text.substr(place);
        result.append(columnBlanks(behind, length, pattern->to.size()), ' ');
        place += std::min(behind.find_first_not_of(' '), behind.size());
    }
    return result;
}

}
