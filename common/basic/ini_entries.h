#pragma once

#include "common/basic/wide_string.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace dovrel {

/**
 * The ordered map from (section, key) to value behind an `IniFile`.
 *
 * Ordered by section, then by key, each character compared after towlower(3). All texts stand one
 * behind the other in one block, in an encoding that keeps the order of characters and takes one
 * byte for each ASCII one; a folded form stands beside the written one only where they differ. So
 * an entry costs its texts and one small record, and looking one up touches few cache lines.
 */
class DOVREL_EXPORT IniEntries {
public:
    static constexpr size_t NONE = static_cast<size_t>(-1);

    /** The numbers of a section's entries: the first and one past the last. */
    struct Range {
        size_t first;
        size_t last;
    };

    IniEntries();

    /** Adds an entry, to be found after `sort`. The texts are in the locale's encoding and end at
     * their first zero byte. @throws std::length_error beyond 4 GiB of texts */
    void add(std::string_view section, std::string_view key, std::string_view value);

    /** Orders what was added; of several with equal section and key the first added stays. */
    void sort();

    size_t size() const noexcept { return m_entries.size(); }

    /** @return the entry's number in the order, or `NONE`. */
    size_t find(string const& section, string const& key) const;

    /** @return an empty range where the section has no entry. */
    Range findSection(string const& section) const;

    string section(size_t entry) const;
    string key(size_t entry) const;
    string value(size_t entry) const;

private:
    struct Packed {
        uint32_t offset;
        uint32_t length;
    };
    struct Section {
        Packed written;
        Packed folded;
        uint32_t rank; ///< The same for names that differ in case only.
    };
    struct Entry {
        uint32_t section; ///< Whose `written` is this entry's spelling of the name.
        Packed folded;
        Packed key;
        Packed value;
    };
    struct OrderedSection {
        Packed folded;
        Range entries;
    };
    /** Where a text that is looked for is folded: most are short, and need no heap. */
    struct FoldRoom {
        std::array<char, 64> near;
        std::string far;
    };

    Packed store(std::string_view text);
    Packed storeFolded(Packed written);
    Packed append(std::string_view bytes);
    void addSection(std::string_view name);
    uint32_t rankSections();
    void bringSectionsTogether(uint32_t ranks);
    std::string_view folded(string const& text, FoldRoom& room) const;
    std::string_view bytes(Packed text) const noexcept
    {
        return {m_bytes.data() + text.offset, text.length};
    }

    std::string m_bytes;
    std::vector<Section> m_sections;
    std::vector<Entry> m_entries;
    std::vector<OrderedSection> m_order;
    std::array<char, 128> m_lower; ///< Of each ASCII character, as at construction.
    bool m_asciiStaysAscii; ///< Else `m_lower` is not used.
    std::string m_lastSection; ///< As it was given, while entries are added.
};

}
