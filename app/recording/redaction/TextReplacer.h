#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace app {

/** A text and its replacement. */
struct TextPattern {
    /** What must not stand beside the text. */
    enum Border {
        NONE,
        WORD, ///< letters and digits
        NUMBER4, ///< parts of an IPv4 address
        NUMBER6 ///< parts of an IPv6 address
    };

    std::string from;
    std::string to;
    Border border = WORD;
    size_t counter = 0; ///< the index of the counter for its occurrences
    /** Whether letters of any case match. Each letter that stands for a letter gets its case,
     * others the case of the whole. */
    bool anyCase = true;
};

/** Replaces many texts at once, at each place the longest one. */
class TextReplacer {
public:
    /** The first one of two patterns with the same text counts. */
    void add(TextPattern const& pattern);

    /** @return the text with the replacements. Counts the occurrences in @p counts. Blanks behind a
     * replacement of another length become more or fewer, so that tables keep their columns. */
    std::string replaced(std::string_view text, std::vector<uint64_t>& counts) const;

private:
    struct Node {
        char byte = 0;
        uint32_t firstChild = 0;
        uint32_t nextSibling = 0;
        uint32_t pattern = 0; ///< one more than its index
    };

    uint32_t child(uint32_t node, char byte) const;
    uint32_t addChild(uint32_t node, char byte);
    TextPattern const* longestAt(std::string_view text, size_t place) const;

    std::vector<TextPattern> m_patterns;
    std::vector<Node> m_nodes = std::vector<Node>(1);
    std::array<uint32_t, 256> m_first{}; ///< the children of the root
};

}
