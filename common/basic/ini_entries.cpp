#include "common/basic/ini_entries.h"

#include "common/basic/ascii_text.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cwctype>
#include <limits>
#include <stdexcept>
#include <utility>

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

/** The text that was packed, written where it stays. */
class Unpacked : public string {
public:
    explicit Unpacked(std::string_view bytes)
    {
        bool const ascii = ascii_text::isAscii(bytes.data(), bytes.size());
        auto const length =
            static_cast<unsigned>(ascii ? bytes.size() : bytes.size() - continuations(bytes));
        wchar_t* text = makeRoom(length);
        if (ascii)
            ascii_text::widen(bytes.data(), length, text);
        else
            while (!bytes.empty())
                *text++ = static_cast<wchar_t>(unpack(bytes));
        finish(length);
    }

private:
    /** The bytes that only carry a character on. */
    static size_t continuations(std::string_view bytes)
    {
        return static_cast<size_t>(std::count_if(bytes.begin(), bytes.end(),
            [](char byte) { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80; }));
    }
};

/** Looks through ordered entries by halves. @param compare tells as strcmp(3) does how the entry of
 * a number compares with the wanted one. @return its number, or `NONE`. */
template <class Compare> size_t search(IniEntries::Range range, Compare compare)
{
    while (range.first != range.last) {
        size_t const middle = range.first + (range.last - range.first) / 2;
        int const order = compare(middle);
        if (order == 0)
            return middle;
        (order < 0 ? range.first : range.last) = order < 0 ? middle + 1 : middle;
    }
    return IniEntries::NONE;
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

std::string_view IniEntries::folded(string const& text, FoldRoom& room) const
{
    wchar_t const* const wide = text.c_str();
    size_t const length = text.length();
    if (m_asciiStaysAscii && length <= room.near.size() && ascii_text::isAscii(wide, length)) {
        for (size_t i = 0; i < length; ++i)
            room.near[i] = m_lower[static_cast<size_t>(wide[i])];
        return {room.near.data(), length};
    }
    for (wchar_t const* at = wide; *at; ++at)
        pack(towlower(static_cast<uint32_t>(*at)), room.far);
    return room.far;
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

// Ranks follow the order of the names; names that differ in case only have one.
uint32_t IniEntries::rankSections()
{
    std::vector<uint32_t> order(m_sections.size());
    for (uint32_t i = 0; i < order.size(); ++i)
        order[i] = i;
    std::sort(order.begin(), order.end(), [this](uint32_t a, uint32_t b) {
        return bytes(m_sections[a].folded) < bytes(m_sections[b].folded);
    });
    uint32_t ranks = 0;
    for (size_t i = 0; i < order.size(); ++i) {
        Section& section = m_sections[order[i]];
        if (i == 0 || bytes(m_sections[order[i - 1]].folded) != bytes(section.folded))
            ++ranks;
        section.rank = ranks - 1;
    }
    return ranks;
}

// Each rank's entries go where those of all lower ranks end, in the order in which they came.
void IniEntries::bringSectionsTogether(uint32_t ranks)
{
    m_order.assign(ranks, {});
    for (Entry const& entry : m_entries)
        ++m_order[m_sections[entry.section].rank].entries.last;
    size_t end = 0;
    for (OrderedSection& section : m_order) {
        section.entries.first = end;
        end += section.entries.last;
        section.entries.last = section.entries.first;
    }
    std::vector<Entry> together(m_entries.size());
    for (Entry const& entry : m_entries) {
        Section const& section = m_sections[entry.section];
        OrderedSection& ordered = m_order[section.rank];
        ordered.folded = section.folded;
        together[ordered.entries.last++] = entry;
    }
    m_entries = std::move(together);
}

// Sections first: the keys of one are few and stand together, where the sum of all does not fit
// into a processor's cache.
void IniEntries::sort()
{
    bringSectionsTogether(rankSections());
    auto const begin = m_entries.begin();
    auto kept = begin;
    for (OrderedSection& section : m_order) {
        auto const first = begin + static_cast<ptrdiff_t>(section.entries.first);
        auto const last = begin + static_cast<ptrdiff_t>(section.entries.last);
        std::stable_sort(first, last,
            [this](Entry const& a, Entry const& b) { return bytes(a.folded) < bytes(b.folded); });
        auto const end = std::unique(first, last,
            [this](Entry const& a, Entry const& b) { return bytes(a.folded) == bytes(b.folded); });
        section.entries.first = static_cast<size_t>(kept - begin);
        kept = kept == first ? end : std::move(first, end, kept);
        section.entries.last = static_cast<size_t>(kept - begin);
    }
    m_entries.erase(kept, m_entries.end());
    m_entries.shrink_to_fit();
    m_bytes.shrink_to_fit();
    m_lastSection.clear();
}

IniEntries::Range IniEntries::findSection(string const& section) const
{
    FoldRoom room;
    std::string_view const name = folded(section, room);
    size_t const at = search(
        {0, m_order.size()}, [&](size_t one) { return bytes(m_order[one].folded).compare(name); });
    return at == NONE ? Range{0, 0} : m_order[at].entries;
}

size_t IniEntries::find(string const& section, string const& key) const
{
    FoldRoom room;
    std::string_view const name = folded(key, room);
    return search(findSection(section),
        [&](size_t one) { return bytes(m_entries[one].folded).compare(name); });
}

string IniEntries::section(size_t entry) const
{
    return Unpacked(bytes(m_sections[m_entries[entry].section].written));
}

string IniEntries::key(size_t entry) const
{
    return Unpacked(bytes(m_entries[entry].key));
}

string IniEntries::value(size_t entry) const
{
    return Unpacked(bytes(m_entries[entry].value));
}

}
