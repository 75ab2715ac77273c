#include "common/basic/ini_entries.h"

#include "common/basic/ascii_text.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cwctype>
#include <limits>
#include <stdexcept>

namespace dovrel {

namespace {

/** Appends one character: UTF-8's scheme, carried on to 32 bits, which orders as the codes do. */
void pack(uint32_t code, std::string& out)
{
    if (code < 0x80) {
        out += static_cast<char>(code);
        return;
    }
    unsigned continuations = 1;
    while (continuations < 6 && code >> (continuations * 5 + 6) != 0)
        ++continuations;
    unsigned const lead = 0xFF00U >> (continuations + 1) & 0xFF;
    out += static_cast<char>(lead | (continuations < 6 ? code >> (continuations * 6) : 0));
    while (continuations-- > 0)
        out += static_cast<char>(0x80 | (code >> (continuations * 6) & 0x3F));
}

/** Takes the next character off the front. */
uint32_t unpack(std::string_view& bytes)
{
    auto const lead = static_cast<unsigned char>(bytes[0]);
    int const continuations = lead < 0x80 ? 0 : std::countl_one(lead) - 1;
    uint32_t code = continuations == 0 ? lead : lead & (0x3FU >> continuations);
    for (int i = 1; i <= continuations; ++i)
        code = code << 6 | (static_cast<unsigned char>(bytes[static_cast<size_t>(i)]) & 0x3F);
    bytes.remove_prefix(static_cast<size_t>(continuations) + 1);
    return code;
}

std::string packed(std::string_view narrow)
{
    string const text{std::string(narrow)};
    std::string out;
    for (wchar_t const* at = text.c_str(); *at; ++at)
        pack(static_cast<uint32_t>(*at), out);
    return out;
}

string unpacked(std::string_view bytes)
{
    std::array<wchar_t, 64> room;
    std::wstring largeRoom;
    if (bytes.size() > room.size())
        largeRoom.resize(bytes.size());
    wchar_t* const text = largeRoom.empty() ? room.data() : largeRoom.data();
    size_t length = 0;
    if (ascii_text::isAscii(bytes.data(), bytes.size())) {
        length = bytes.size();
        ascii_text::widen(bytes.data(), length, text);
    } else {
        while (!bytes.empty())
            text[length++] = static_cast<wchar_t>(unpack(bytes));
    }
    return string(text, static_cast<unsigned>(length));
}

uint32_t towlower(uint32_t code)
{
    return static_cast<uint32_t>(std::towlower(static_cast<wint_t>(code)));
}

}

// Most characters are ASCII, and the C library's function asks for the locale each time. Not all of
// them stay ASCII everywhere: Turkish lowers "I" to another letter.
IniEntries::IniEntries() : m_lower{}, m_asciiStaysAscii(true)
{
    for (uint32_t code = 0; code < m_lower.size(); ++code) {
        uint32_t const lower = towlower(code);
        m_asciiStaysAscii = m_asciiStaysAscii && lower < m_lower.size();
        m_lower[code] = static_cast<char>(lower);
    }
}

std::string IniEntries::folded(string const& text) const
{
    wchar_t const* const wide = text.c_str();
    std::string fold;
    if (m_asciiStaysAscii && ascii_text::isAscii(wide, text.length())) {
        fold.resize(text.length());
        for (size_t i = 0; i < fold.size(); ++i)
            fold[i] = m_lower[static_cast<size_t>(wide[i])];
    } else {
        for (wchar_t const* at = wide; *at; ++at)
            pack(towlower(static_cast<uint32_t>(*at)), fold);
    }
    return fold;
}

void IniEntries::add(std::string_view section, std::string_view key, std::string_view value)
{
    if (m_sections.empty() || section != m_lastSection)
        addSection(section);
    Entry entry;
    entry.section = static_cast<uint32_t>(m_sections.size() - 1);
    entry.key = store(key);
    entry.folded = storeFolded(entry.key);
    entry.value = store(value);
    m_entries.push_back(entry);
}

void IniEntries::addSection(std::string_view name)
{
    Section section{};
    section.written = store(name);
    section.folded = storeFolded(section.written);
    m_sections.push_back(section);
    m_lastSection = name;
}

IniEntries::Packed IniEntries::store(std::string_view text)
{
    text = text.substr(0, text.find('\0'));
    // Most texts are of characters that every encoding here has in common; none of them needs the
    // way through wide text.
    if (ascii_text::isAscii(text.data(), text.size()) && ascii_text::isLocalesOwn())
        return append(text);
    return append(packed(text));
}

IniEntries::Packed IniEntries::storeFolded(Packed written)
{
    std::string fold;
    std::string_view left = bytes(written);
    if (m_asciiStaysAscii && ascii_text::isAscii(left.data(), left.size())) {
        fold = left;
        for (char& c : fold)
            c = m_lower[static_cast<size_t>(c)];
    } else {
        while (!left.empty())
            pack(towlower(unpack(left)), fold);
    }
    return fold == bytes(written) ? written : append(fold);
}

IniEntries::Packed IniEntries::append(std::string_view bytes)
{
    if (bytes.size() > std::numeric_limits<uint32_t>::max() - m_bytes.size())
        throw std::length_error("more than 4 GiB of texts");
    Packed const where{static_cast<uint32_t>(m_bytes.size()), static_cast<uint32_t>(bytes.size())};
    m_bytes += bytes;
    return where;
}

void IniEntries::rankSections()
{
    std::vector<uint32_t> order(m_sections.size());
    for (uint32_t i = 0; i < order.size(); ++i)
        order[i] = i;
    std::sort(order.begin(), order.end(), [this](uint32_t a, uint32_t b) {
        return bytes(m_sections[a].folded) < bytes(m_sections[b].folded);
    });
    uint32_t rank = 0;
    for (size_t i = 0; i < order.size(); ++i) {
        Section& section = m_sections[order[i]];
        if (i > 0 && bytes(m_sections[order[i - 1]].folded) != bytes(section.folded))
            ++rank;
        section.rank = rank;
    }
}

void IniEntries::sort()
{
    rankSections();
    auto const rank = [this](Entry const& entry) { return m_sections[entry.section].rank; };
    std::stable_sort(m_entries.begin(), m_entries.end(), [&](Entry const& a, Entry const& b) {
        if (rank(a) != rank(b))
            return rank(a) < rank(b);
        return bytes(a.folded) < bytes(b.folded);
    });
    auto const same = [&](Entry const& a, Entry const& b) {
        return rank(a) == rank(b) && bytes(a.folded) == bytes(b.folded);
    };
    m_entries.erase(std::unique(m_entries.begin(), m_entries.end(), same), m_entries.end());
    m_entries.shrink_to_fit();
    m_bytes.shrink_to_fit();
    m_lastSection.clear();

    m_order.clear();
    for (size_t i = 0; i < m_entries.size(); ++i) {
        if (i == 0 || rank(m_entries[i]) != rank(m_entries[i - 1]))
            m_order.push_back({m_sections[m_entries[i].section].folded, {i, i}});
        m_order.back().entries.last = i + 1;
    }
}

IniEntries::Range IniEntries::findSection(string const& section) const
{
    std::string const name = folded(section);
    auto const at = std::lower_bound(m_order.begin(), m_order.end(), name,
        [this](OrderedSection const& one, std::string const& other) {
            return bytes(one.folded) < other;
        });
    if (at == m_order.end() || bytes(at->folded) != name)
        return {0, 0};
    return at->entries;
}

size_t IniEntries::find(string const& section, string const& key) const
{
    Range const range = findSection(section);
    std::string const name = folded(key);
    auto const first = m_entries.begin() + static_cast<ptrdiff_t>(range.first);
    auto const last = m_entries.begin() + static_cast<ptrdiff_t>(range.last);
    auto const at = std::lower_bound(first, last, name,
        [this](Entry const& one, std::string const& other) { return bytes(one.folded) < other; });
    if (at == last || bytes(at->folded) != name)
        return NONE;
    return static_cast<size_t>(at - m_entries.begin());
}

std::string_view IniEntries::bytes(Packed text) const noexcept
{
    return {m_bytes.data() + text.offset, text.length};
}

string IniEntries::section(size_t entry) const
{
    return unpacked(bytes(m_sections[m_entries[entry].section].written));
}

string IniEntries::key(size_t entry) const
{
    return unpacked(bytes(m_entries[entry].key));
}

string IniEntries::value(size_t entry) const
{
    return unpacked(bytes(m_entries[entry].value));
}

}
