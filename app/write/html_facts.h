#pragma once

#include "app/model/Recovery.h"
#include "app/write/html_text.h"

#include <cstdint>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

namespace app {

/** A fact as a page shows it, with its exact value. */
struct Fact {
    std::string key; ///< Its path in JSON, "disks.0.size_bytes"; empty for words without one.
    std::optional<std::string> value; ///< As JSON has it; nothing where it is unknown.
    std::string text;
};

/** @return the beginning of the keys of an element's facts, "disks.0.". */
std::string elementKey(std::string const& list, size_t index);

/** Words that are no separate fact. */
Fact words(std::string const& text);

Fact textFact(std::string const& key, std::optional<std::string> const& text);
Fact sizeFact(std::string const& key, std::optional<uint64_t> bytes);

/** A share, of which JSON has a number from 0 to 1. */
Fact percentFact(std::string const& key, std::optional<double> percent);
Fact timeFact(std::string const& key, std::optional<int64_t> seconds);

template <class Number> Fact numberFact(std::string const& key, std::optional<Number> number)
{
    static_assert(std::is_integral_v<Number>);
    return textFact(key, number ? std::optional(std::to_string(*number)) : std::nullopt);
}

/** A word of a fixed list, which JSON spells in its own way. */
Fact wordFact(std::string const& key, std::optional<std::string> const& text);

/** A number of units of @p factor, of which JSON has a number of units. */
Fact scaledFact(std::string const& key, uint64_t factor, std::optional<uint64_t> number);

/** The engine's percentage of a recovery. */
Fact progressFact(Recovery const& recovery);

/** Writes a fact: its text in an element with its key and its value. */
void writeFact(Html& html, Fact const& fact);

/** @return whether a bar that warns is marked by more than its length. */
bool isNearlyFull(double percent);

/** Writes a bar for a share; nothing where it is unknown. @param warns marks a nearly full one. */
void writeBar(Html& html, std::optional<double> percent, bool warns = false);

/** A cell of a table, or a value beside its label. */
struct Cell {
    using Item = std::vector<Fact>; ///< Facts without anything between them.

    Cell() = default;
    Cell(Fact fact) : items{{std::move(fact)}} { }
    Cell(std::vector<Item> list) : items(std::move(list)) { }

    std::vector<Item> items;
    bool isLines = false; ///< Each item on a separate line, not with commas between them.
    std::optional<double> bar;
    bool warns = false;
    std::vector<std::string> notes; ///< The numbers of notes, which are links.
    std::string notesOf; ///< The section that has them.
};

void writeCell(Html& html, Cell const& cell);

/** A list of labels and values; closed with the object. */
class HtmlFactList {
public:
    explicit HtmlFactList(Html& html) : m_html(html), m_list(html.open("dl", {{"class", "facts"}}))
    {
    }

    void add(char const* label, Cell const& value);

private:
    Html& m_html;
    Html::Element m_list;
};

/** A table whose first column names the rows; closed with the object. */
class HtmlTable {
public:
    enum Content {
        NAME, ///< Broken anywhere, as names may be long and have no blanks.
        LIST, ///< Of names; does not take the place of the other columns.
        WORD, ///< Broken at blanks only.
        LONG_WORD, ///< The same; takes the place of two words on a narrow screen.
        NUMBER ///< Never broken; at the right.
    };

    struct Column {
        char const* name;
        Content content = NAME;
    };

    /** @param look classes of the style: "wide" for one that a narrow screen cannot show. */
    HtmlTable(
        Html& html, std::string const& caption, std::vector<Column> columns, char const* look);

    /** Writes a row; missing cells are empty. */
    void addRow(std::vector<Cell> const& cells);

private:
    Html& m_html;
    std::vector<Column> m_columns;
    Html::Element m_table;
};

}
