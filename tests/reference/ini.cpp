#include "tests/reference/ini.h"

#include <algorithm>
#include <cstdlib>
#include <cwctype>
#include <locale>
#include <set>
#include <sstream>
#include <vector>

namespace reference {

namespace {

std::string trimmed(std::string text)
{
    auto const isBlank = [](char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; };
    while (!text.empty() && isBlank(text.back()))
        text.pop_back();
    while (!text.empty() && isBlank(text.front()))
        text.erase(text.begin());
    return text;
}

/** Decodes up to the first zero byte; replaces an undecodable string with question marks. */
std::wstring wide(std::string const& narrow)
{
    std::string const text = narrow.c_str();
    std::wstring result(text.size() + 1, L'\0');
    size_t const length = std::mbstowcs(result.data(), text.c_str(), result.size());
    if (length == static_cast<size_t>(-1))
        return std::wstring(text.size(), L'?');
    result.resize(length);
    return result;
}

std::wstring lower(std::wstring text)
{
    for (wchar_t& c : text)
        c = static_cast<wchar_t>(std::towlower(static_cast<wint_t>(c)));
    return text;
}

std::wstring upper(std::wstring text)
{
    for (wchar_t& c : text) {
        auto const other = static_cast<wchar_t>(std::towupper(static_cast<wint_t>(c)));
        if (std::towlower(static_cast<wint_t>(other)) == std::towlower(static_cast<wint_t>(c)))
            c = other;
    }
    return text;
}

std::string printable(std::wstring const& text)
{
    std::ostringstream out;
    for (wchar_t c : text)
        if (c >= L' ' && c < 0x7F)
            out << static_cast<char>(c);
        else
            out << "<U+" << std::hex << static_cast<unsigned long>(c) << '>';
    return out.str();
}

std::wstring wide(dovrel::string const& text)
{
    return {text.c_str(), text.length()};
}

/** @return whether the functions for each type return @p expected. A number is what a stream
 * reads. */
bool hasTypes(dovrel::IniFile const& file, dovrel::string const& section, dovrel::string const& key,
    std::wstring const& expected)
{
    constexpr long FALLBACK = -77;
    std::wistringstream in(expected);
    in.imbue(std::locale::classic());
    long number = 0;
    if (!(in >> number))
        number = FALLBACK;
    bool const truth = lower(expected) == L"true" || expected == L"1";
    return wide(file.ReadString(section, key, L"former")) == expected
        && file.ReadInt(section, key, FALLBACK) == number
        && file.ReadBool(section, key, !truth) == truth;
}

}

bool Ini::Before::operator()(Place const& a, Place const& b) const
{
    return std::pair(lower(a.first), lower(a.second)) < std::pair(lower(b.first), lower(b.second));
}

Ini::Ini(std::string const& text)
{
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);)
        readLine(line);
}

void Ini::readLine(std::string line)
{
    line = trimmed(line.substr(0, line.find(';')));
    if (line.empty())
        return;
    if (line[0] == '[') {
        line.erase(0, 1);
        m_section = trimmed(line.substr(0, line.find(']')));
        return;
    }
    size_t const sign = line.find('=');
    if (sign == std::string::npos)
        return;
    std::string value = trimmed(line.substr(sign + 1));
    if (value == "\"" || value == "'")
        value = "";
    else if (value.size() > 1 && value[0] == value.back() && (value[0] == '"' || value[0] == '\''))
        value = value.substr(1, value.size() - 2);
    m_entries.emplace(Place(wide(m_section), wide(trimmed(line.substr(0, sign)))), wide(value));
}

std::string Ini::differenceFrom(dovrel::IniFile const& file) const
{
    if (file.size() != m_entries.size())
        return "there are " + std::to_string(file.size()) + " entries, expected "
            + std::to_string(m_entries.size());
    std::set<std::wstring> names;
    for (auto const& [place, value] : m_entries) {
        names.insert(place.first);
        for (bool const otherCase : {false, true}) {
            dovrel::string found(L"former");
            std::wstring const section = otherCase ? upper(place.first) : place.first;
            std::wstring const key = otherCase ? upper(place.second) : place.second;
            if (!file.lookupString(section.c_str(), key.c_str(), found))
                return "not found: [" + printable(section) + "] " + printable(key);
            if (wide(found) != value)
                return '[' + printable(section) + "] " + printable(key) + " is "
                    + printable(wide(found)) + ", expected " + printable(value);
            if (!hasTypes(file, section.c_str(), key.c_str(), value))
                return '[' + printable(section) + "] " + printable(key)
                    + " is another string, number or truth value than " + printable(value);
        }
    }
    std::set<std::wstring> namesOfFile;
    for (dovrel::string const& name : file.ReadSectionNames())
        namesOfFile.insert(wide(name));
    if (namesOfFile != names)
        return "the section names differ";
    for (std::wstring const& section : names)
        if (std::string difference = differenceOfSection(file, section); !difference.empty())
            return difference;
    return {};
}

std::string Ini::differenceOfSection(dovrel::IniFile const& file, std::wstring const& section) const
{
    std::vector<std::wstring> expected;
    for (auto const& [place, value] : m_entries)
        if (lower(place.first) == lower(section))
            expected.push_back(place.second + L'=' + value);
    std::vector<std::wstring> values;
    for (dovrel::string const& value : file.ReadSectionValues(section.c_str()))
        values.push_back(wide(value));
    if (!file.SectionExists(section.c_str()))
        return "does not exist: [" + printable(section) + ']';
    if (values != expected)
        return "the entries or their order differ: [" + printable(section) + ']';
    return {};
}

}
