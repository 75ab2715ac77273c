#include "tests/machines/Variables.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <stdexcept>

namespace machines {

namespace {

int64_t numberIn(std::string const& text)
{
    int64_t number = 0;
    char const* const end = text.data() + text.size();
    auto const [behind, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || behind != end)
        throw std::runtime_error("'" + text + "' is no whole number");
    return number;
}

bool isNameCharacter(char c)
{
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_';
}

/** sum = product { +|- product }, product = factor { *|/|% factor }, factor = number | name | (sum)
 */
class Expression {
public:
    Expression(std::string_view text, Variables const& variables)
        : m_rest(text), m_variables(variables)
    {
    }

    int64_t value()
    {
        int64_t const value = sum();
        if (next() != '\0')
            throw std::runtime_error("'" + std::string(m_rest) + "' ends no expression");
        return value;
    }

private:
    char next()
    {
        while (!m_rest.empty() && m_rest.front() == ' ')
            m_rest.remove_prefix(1);
        return m_rest.empty() ? '\0' : m_rest.front();
    }

    bool take(char c)
    {
        if (next() != c)
            return false;
        m_rest.remove_prefix(1);
        return true;
    }

    int64_t sum()
    {
        int64_t value = product();
        for (;;) {
            if (take('+'))
                value += product();
            else if (take('-'))
                value -= product();
            else
                return value;
        }
    }

    int64_t product()
    {
        int64_t value = factor();
        for (;;) {
            if (take('*'))
                value *= factor();
            else if (take('/'))
                value /= divisor();
            else if (take('%'))
                value %= divisor();
            else
                return value;
        }
    }

    int64_t divisor()
    {
        int64_t const value = factor();
        if (value == 0)
            throw std::runtime_error("division by zero");
        return value;
    }

    int64_t factor()
    {
        if (take('(')) {
            int64_t const value = sum();
            if (!take(')'))
                throw std::runtime_error("a parenthesis is not closed");
            return value;
        }
        next();
        auto const end = std::find_if_not(m_rest.begin(), m_rest.end(), isNameCharacter);
        std::string const word(m_rest.begin(), end);
        m_rest.remove_prefix(word.size());
        if (word.empty())
            throw std::runtime_error("a number or a name is missing in an expression");
        bool const isNumber = std::isdigit(static_cast<unsigned char>(word.front())) != 0;
        return numberIn(isNumber ? word : m_variables.valueOf(word));
    }

    std::string_view m_rest;
    Variables const& m_variables;
};

std::string letters(int64_t number)
{
    constexpr int LETTERS = 26;
    std::string text;
    for (int64_t rest = number; rest >= 0; rest = rest / LETTERS - 1)
        text.insert(text.begin(), static_cast<char>('a' + rest % LETTERS));
    return text;
}

/** The digits of an address as the tables of /proc/net have them: the bytes in order for IPv6, one
 * number of the machine's byte order, little-endian here, for IPv4. */
std::string addressDigits(std::string const& address)
{
    unsigned char bytes[sizeof(in6_addr)];
    size_t size = sizeof(in6_addr);
    if (inet_pton(AF_INET, address.c_str(), bytes) == 1) {
        size = sizeof(in_addr);
        std::reverse(bytes, bytes + size);
    } else if (inet_pton(AF_INET6, address.c_str(), bytes) != 1) {
        throw std::runtime_error("'" + address + "' is no address");
    }
    std::string digits;
    for (size_t i = 0; i < size; ++i) {
        char byte[3];
        std::snprintf(byte, sizeof byte, size == sizeof(in_addr) ? "%02X" : "%02x", bytes[i]);
        digits += byte;
    }
    return digits;
}

std::string formatted(std::string const& value, std::string format)
{
    if (format == "address")
        return addressDigits(value);
    if (format == "letters")
        return letters(numberIn(value));
    if (format == "upper") {
        std::string text = value;
        std::transform(text.begin(), text.end(), text.begin(),
            [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
        return text;
    }
    if (format.front() == '<' || format.front() == '>') {
        auto const width = static_cast<size_t>(numberIn(format.substr(1)));
        std::string const blanks(width - std::min(width, value.size()), ' ');
        return format.front() == '<' ? value + blanks : blanks + value;
    }
    bool const hexadecimal = format.back() == 'x';
    if (hexadecimal)
        format.pop_back();
    int const digits = format.empty() ? 1 : static_cast<int>(numberIn(format));
    char text[64];
    if (hexadecimal)
        std::snprintf(
            text, sizeof text, "%0*llx", digits, static_cast<unsigned long long>(numberIn(value)));
    else
        std::snprintf(text, sizeof text, "%0*lld", digits, static_cast<long long>(numberIn(value)));
    return text;
}

/** The value of what stands between two braces. */
std::string valueIn(std::string_view inside, Variables const& variables)
{
    auto const colon = inside.find(':');
    std::string const source(inside.substr(0, colon));
    std::string value;
    if (source.starts_with('@'))
        value = variables.valueOf(variables.valueOf(source.substr(1)));
    else if (std::string const* const found = variables.find(source))
        value = *found;
    else
        value = std::to_string(Expression(source, variables).value());
    if (colon == std::string_view::npos)
        return value;
    if (colon + 1 == inside.size())
        throw std::runtime_error("a format is missing");
    return formatted(value, std::string(inside.substr(colon + 1)));
}

}

void Variables::set(std::string const& name, std::string const& value)
{
    m_globals[name] = value;
}

void Variables::enter(std::map<std::string, std::string> scope)
{
    m_scopes.push_back(std::move(scope));
}

void Variables::leave()
{
    m_scopes.pop_back();
}

std::string const* Variables::find(std::string const& name) const
{
    for (auto scope = m_scopes.rbegin(); scope != m_scopes.rend(); ++scope)
        if (auto const found = scope->find(name); found != scope->end())
            return &found->second;
    auto const found = m_globals.find(name);
    return found == m_globals.end() ? nullptr : &found->second;
}

std::string const& Variables::valueOf(std::string const& name) const
{
    if (std::string const* const value = find(name))
        return *value;
    throw std::runtime_error("no variable '" + name + "'");
}

std::string Variables::substitute(std::string_view text) const
{
    std::string result;
    while (!text.empty()) {
        auto const brace = text.find('{');
        result += text.substr(0, brace);
        if (brace == std::string_view::npos)
            break;
        text.remove_prefix(brace);
        if (text.starts_with("{{")) {
            result += '{';
            text.remove_prefix(2);
            continue;
        }
        auto const end = text.find('}');
        if (end == std::string_view::npos)
            throw std::runtime_error("a brace is not closed");
        if (result.ends_with('$')) // A shell's parameter.
            result += text.substr(0, end + 1);
        else
            result += valueIn(text.substr(1, end - 1), *this);
        text.remove_prefix(end + 1);
    }
    return result;
}

}
