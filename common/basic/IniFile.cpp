#include "common/basic/IniFile.h"

#include "common/basic/SourceFile.h"
#include "common/basic/text_cast.h"
#include "common/basic/trimmed.h"

#include <algorithm>
#include <cerrno>
#include <cwctype>
#include <iterator>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

namespace dovrel {

namespace {

std::string_view withoutQuotes(std::string_view value)
{
    if (value.empty() || value.front() != value.back()
        || (value.front() != '"' && value.front() != '\''))
        return value;
    return value.substr(1, std::max<size_t>(value.size(), 2) - 2);
}

/** Why a file could not be read. */
struct Failure {
    int error; ///< An `errno` value, 0 for none.
    wchar_t const* message;
};

Failure readWhole(char const* path, bool mayBeMissing, std::string& text)
{
    SourceFileBuffer file(path, SourceKind::any);
    if (!file.isOpen()) // Any reason counts as a missing file.
        return mayBeMissing ? Failure{} : Failure{ENOENT, L" not found!"};
    static_assert(IniFile::LARGEST_FILE == SourceFileBuffer::LARGEST_SIZE);
    char piece[8192];
    std::streamsize got;
    do {
        got = file.sgetn(piece, sizeof piece);
        text.append(piece, static_cast<size_t>(got));
    } while (got == sizeof piece);
    return {
        file.readError(), file.readError() == EFBIG ? L" is too large!" : L" could not be read!"};
}

wchar_t lower(wchar_t character)
{
    return static_cast<wchar_t>(std::towlower(static_cast<wint_t>(character)));
}

bool isTrue(string const& value)
{
    static constexpr wchar_t TRUE[] = L"true";
    return std::equal(std::begin(TRUE), std::end(TRUE), value.c_str(),
        [](wchar_t expected, wchar_t character) { return lower(character) == expected; });
}

wchar_t lowerAscii(wchar_t character)
{
    return character >= L'A' && character <= L'Z' ? character - L'A' + L'a' : character;
}

/** @return false in a Turkish locale, where towlower(3) maps "I" to a letter that is not ASCII.
 * towlower(3) changes upper-case letters only, in every locale. */
bool lowersAsciiToAscii()
{
    for (wchar_t letter = L'A'; letter <= L'Z'; ++letter)
        if (lower(letter) != lowerAscii(letter))
            return false;
    return true;
}

/** A section's or key's name, folded with towlower(3). */
class FoldedName {
public:
    FoldedName(string const& name, bool asciiStaysAscii)
    {
        size_t const length = name.length();
        wchar_t* folded = m_inline;
        if (length > std::size(m_inline)) {
            m_heap.reset(new wchar_t[length]);
            folded = m_heap.get();
        }
        wchar_t const* const original = name.c_str();
        wchar_t bits = 0;
        for (size_t i = 0; i < length; ++i) {
            bits |= original[i];
            folded[i] = lowerAscii(original[i]);
        }
        if (bits < 0 || bits >= 0x80 || !asciiStaysAscii)
            std::transform(original, original + length, folded, lower);
        m_text = {folded, length};
    }
    FoldedName(FoldedName const&) = delete;
    FoldedName& operator=(FoldedName const&) = delete;
    ~FoldedName() = default;

    std::wstring_view text() const { return m_text; }

private:
    wchar_t m_inline[64]; // Most names are short and need no heap.
    std::unique_ptr<wchar_t[]> m_heap;
    std::wstring_view m_text;
};

struct NameOrder {
    using is_transparent = void;

    bool operator()(std::wstring_view a, std::wstring_view b) const
    {
        // Most names differ in their first character; skips the call of wmemcmp(3).
        if (!a.empty() && !b.empty() && a[0] != b[0])
            return a[0] < b[0];
        return a < b;
    }
};

struct Entry {
    Entry(string&& name, char const* text) : key(std::move(name)), value(text) { }

    string key;
    string value;
};

struct Section {
    std::set<string> spellings; ///< The spellings of the name that have an entry.
    std::map<std::wstring, Entry, NameOrder> entries;
};

}

/**
 * The ordered map from (section, key) to value: a map of sections, each with a map of its keys.
 *
 * The maps' keys are folded names. If the comparison folded them instead, a change of the locale
 * would change the order of the map.
 */
class IniFile::Entries {
public:
    /** Writes terminators into @p text, so that its parts need not be copied for conversion. */
    explicit Entries(std::string& text)
    {
        auto const terminated = [&text](std::string_view part) {
            text[static_cast<size_t>(part.data() + part.size() - text.data())] = '\0';
            return part.data();
        };
        string spelling;
        bool isListed = false; // Whether the spelling has an entry.
        Section* section = nullptr; // Created for its first entry.
        for (std::string_view rest = text; !rest.empty();) {
            std::string_view line = rest.substr(0, rest.find('\n'));
            rest.remove_prefix(std::min(line.size() + 1, rest.size()));
            line = trimmed(line.substr(0, line.find(';')));
            size_t const sign = line.find('=');
            if (line.starts_with('[')) {
                spelling = terminated(trimmed(line.substr(1, line.find(']') - 1)));
                isListed = false;
                section = nullptr;
            } else if (sign != std::string_view::npos) {
                if (!section)
                    section = &m_sections[std::wstring(folded(spelling).text())];
                char const* const value = terminated(withoutQuotes(trimmed(line.substr(sign + 1))));
                string key(terminated(trimmed(line.substr(0, sign))));
                std::wstring name(folded(key).text());
                if (!section->entries.try_emplace(std::move(name), std::move(key), value).second)
                    continue;
                ++m_size;
                if (!isListed)
                    section->spellings.insert(spelling);
                isListed = true;
            }
        }
    }

    size_t size() const { return m_size; }

    auto const& sections() const { return m_sections; }

    /** @return null if the section has no entry. */
    Section const* find(string const& section) const
    {
        auto const found = m_sections.find(folded(section).text());
        return found == m_sections.end() ? nullptr : &found->second;
    }

    /** @return the value; null if the key is missing. */
    string const* find(string const& section, string const& key) const
    {
        Section const* const in = find(section);
        if (!in)
            return nullptr;
        auto const found = in->entries.find(folded(key).text());
        return found == in->entries.end() ? nullptr : &found->second.value;
    }

private:
    FoldedName folded(string const& name) const { return {name, m_asciiStaysAscii}; }

    bool const m_asciiStaysAscii = lowersAsciiToAscii();
    std::map<std::wstring, Section, NameOrder> m_sections;
    size_t m_size = 0;
};

IniFile::IniFile(string const& path, bool mustExist, bool mayBeMissing, bool third)
    : m_path(path), m_mustExist(mustExist), m_mayBeMissing(mayBeMissing), m_third(third)
{
    std::string text;
    Failure const failure = readWhole(m_path, !m_mustExist && m_mayBeMissing, text);
    if (failure.error != 0) {
        errno = failure.error;
        m_savedError = failure.error;
        m_errorText = string(L"File ") + m_path + failure.message;
        text.clear(); // An incomplete file counts as unreadable.
    }
    m_entries = std::make_shared<Entries const>(text);
}

IniFile::IniFile(IniFile const& other)
    : m_path(other.m_path), m_entries(other.m_entries), m_mustExist(other.m_mustExist),
      m_mayBeMissing(other.m_mayBeMissing), m_third(other.m_third)
{
}

IniFile::~IniFile() = default;

size_t IniFile::size() const
{
    return m_entries->size();
}

bool IniFile::SectionExists(string const& section) const
{
    return m_entries->find(section) != nullptr;
}

bool IniFile::lookupString(string const& section, string const& key, string& out) const
{
    string const* const value = m_entries->find(section, key);
    if (value)
        out = *value;
    return value != nullptr;
}

string IniFile::ReadString(string const& section, string const& key, string const& fallback) const
{
    string const* const value = m_entries->find(section, key);
    return value ? *value : fallback;
}

long IniFile::ReadInt(string const& section, string const& key, long const& fallback) const
{
    string const* const value = m_entries->find(section, key);
    return value ? literal_cast<long>(*value, fallback) : fallback;
}

bool IniFile::ReadBool(string const& section, string const& key, bool const& fallback) const
{
    string const* const value = m_entries->find(section, key);
    return value ? isTrue(*value) || *value == L"1" : fallback;
}

std::set<string> IniFile::ReadSectionNames() const
{
    std::set<string> names;
    for (auto const& [name, section] : m_entries->sections())
        names.insert(section.spellings.begin(), section.spellings.end());
    return names;
}

std::vector<string> IniFile::ReadSectionValues(string const& section) const
{
    std::vector<string> values;
    if (Section const* const in = m_entries->find(section))
        for (auto const& [name, entry] : in->entries)
            values.push_back(entry.key + L"=" + entry.value);
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
