#include "common/basic/IniFile.h"

#include "common/basic/SourceFile.h"
#include "common/basic/text_cast.h"

#include <algorithm>
#include <cerrno>
#include <cwctype>

namespace dovrel {

namespace {

void trim(std::string_view& text)
{
    constexpr char BLANKS[] = " \t\r\n";
    size_t const first = text.find_first_not_of(BLANKS);
    if (first == std::string_view::npos) {
        text = {};
        return;
    }
    text = text.substr(first, text.find_last_not_of(BLANKS) - first + 1);
}

/** @return false where the text is longer than that. */
bool readWhole(std::istream& text, size_t longest, std::string& out)
{
    size_t piece = 2048;
    while (text.good() && out.size() <= longest) {
        size_t const length = out.size();
        piece *= 2;
        out.resize(length + piece);
        text.read(out.data() + length, static_cast<std::streamsize>(piece));
        out.resize(length + static_cast<size_t>(text.gcount()));
    }
    return out.size() <= longest;
}

bool isTrue(string const& value)
{
    static constexpr wchar_t TRUE[] = L"true";
    wchar_t const* at = value.c_str();
    for (wchar_t expected : TRUE)
        if (std::towlower(static_cast<wint_t>(*at++)) != static_cast<wint_t>(expected))
            return false;
    return true;
}

}

IniFile::IniFile(string const& path, bool mustExist, bool mayBeMissing, bool third)
    : m_path(path), m_mustExist(mustExist), m_mayBeMissing(mayBeMissing), m_third(third)
{
    SourceFile file(m_path);
    if (file)
        read(file);
    else if (m_mustExist || !m_mayBeMissing)
        fail(ENOENT, L" not found!"); // Whatever kept it from being opened.
    if (file.readError() != 0)
        fail(file.readError(), L" could not be read!");
}

IniFile::IniFile(IniFile const& other)
    : m_path(other.m_path), m_entries(other.m_entries), m_mustExist(other.m_mustExist),
      m_mayBeMissing(other.m_mayBeMissing), m_third(other.m_third)
{
}

IniFile::~IniFile() = default;

void IniFile::fail(int error, wchar_t const* what)
{
    m_entries = IniEntries();
    if (m_savedError != 0)
        return;
    errno = error;
    m_savedError = error;
    m_errorText = string(L"File ") + m_path + what;
}

void IniFile::read(std::istream& file)
{
    std::string text;
    if (!readWhole(file, LARGEST_FILE, text)) {
        fail(EFBIG, L" is too large!");
        return;
    }
    std::string_view section;
    std::string_view left = text;
    while (!left.empty()) {
        std::string_view const line = left.substr(0, left.find('\n'));
        readIniLine(section, line);
        left.remove_prefix(std::min(line.size() + 1, left.size()));
    }
    m_entries.sort();
}

void IniFile::readIniLine(std::string_view& section, std::string_view line)
{
    line = line.substr(0, line.find(';'));
    trim(line);
    if (line.empty())
        return;
    if (line.front() == '[') {
        section = line.substr(1, line.find(']') - 1);
        trim(section);
        return;
    }
    size_t const sign = line.find('=');
    if (sign == std::string_view::npos)
        return;
    std::string_view key = line.substr(0, sign);
    std::string_view value = line.substr(sign + 1);
    trim(key);
    trim(value);
    storeData(section, key, value);
}

bool IniFile::storeData(std::string_view section, std::string_view key, std::string_view value)
{
    trim(value);
    if (!value.empty() && value.front() == value.back()
        && (value.front() == '"' || value.front() == '\'')) {
        value.remove_suffix(1);
        value.remove_prefix(std::min<size_t>(value.size(), 1));
    }
    m_entries.add(section, key, value);
    return true;
}

bool IniFile::SectionExists(string const& section) const
{
    IniEntries::Range const entries = m_entries.findSection(section);
    return entries.first != entries.last;
}

bool IniFile::lookupString(string const& section, string const& key, string& out) const
{
    size_t const entry = m_entries.find(section, key);
    if (entry == IniEntries::NONE)
        return false;
    out = m_entries.value(entry);
    return true;
}

string IniFile::ReadString(string const& section, string const& key, string const& fallback) const
{
    size_t const entry = m_entries.find(section, key);
    return entry == IniEntries::NONE ? fallback : m_entries.value(entry);
}

long IniFile::ReadInt(string const& section, string const& key, long const& fallback) const
{
    size_t const entry = m_entries.find(section, key);
    return entry == IniEntries::NONE ? fallback
                                     : literal_cast<long>(m_entries.value(entry), fallback);
}

bool IniFile::ReadBool(string const& section, string const& key, bool const& fallback) const
{
    size_t const entry = m_entries.find(section, key);
    if (entry == IniEntries::NONE)
        return fallback;
    string const value = m_entries.value(entry);
    return isTrue(value) || value == string(L"1");
}

std::set<string> IniFile::ReadSectionNames() const
{
    std::set<string> names;
    for (size_t entry = 0; entry < m_entries.size(); ++entry)
        names.insert(m_entries.section(entry));
    return names;
}

std::vector<string> IniFile::ReadSectionValues(string const& section) const
{
    std::vector<string> values;
    IniEntries::Range const entries = m_entries.findSection(section);
    for (size_t entry = entries.first; entry != entries.last; ++entry)
        values.push_back(m_entries.key(entry) + L"=" + m_entries.value(entry));
    return values;
}

void IniFile::Dump(std::ostream& os, string const& name) const
{
    os << "Dumping entries: " << name << '\n';
    std::set<string> const sections =
        name == string(L"*") ? ReadSectionNames() : std::set<string>{name};
    for (string const& section : sections) {
        if (!section.empty())
            os << '[' << section << "]\n";
        for (string const& line : ReadSectionValues(section))
            os << line << '\n';
    }
}

}
