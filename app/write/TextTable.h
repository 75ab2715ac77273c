#pragma once

#include <string>
#include <utility>
#include <vector>

namespace app {

/** The form of a table or of lines on the screen. */
struct Layout {
    size_t columns = 0; ///< The terminal's width; 0 for no limit, as in a pipe.
    bool headings = true;
    bool colors = false; ///< Escape sequences of ECMA-48.

    bool isTerminal() const { return columns > 0; }
};

/**
 * A table with columns as wide as their widest cell, two blanks between them and a heading line.
 *
 * Where it is wider than the terminal, the least important columns are left out; a line below the
 * table names them. If the rest is still too wide, the first column's cells are cut; they are cut
 * before where the first column says so.
 */
class TextTable {
public:
    enum Alignment { LEFT, RIGHT };

    struct Column {
        std::string heading;
        Alignment alignment = LEFT;
        unsigned importance = ALWAYS; ///< The column with the lowest number is left out first.
        size_t enough = 0; ///< Columns to which the first one is cut before others are left out.
    };

    /** The importance of a column that is never left out. */
    static constexpr unsigned ALWAYS = ~0U;

    explicit TextTable(std::vector<Column> columns);

    /** Appends a row. Missing cells are empty, further ones are dropped; shown as `printable` makes
     * them. */
    void addRow(std::vector<std::string> cells);

    bool isEmpty() const { return m_rows.empty(); }

    /** @return the lines, each with its newline and without blanks at its end. */
    std::string text(Layout const& layout) const;

    /** @return the lines below the heading, without newlines. */
    std::vector<std::string> rows(Layout const& layout) const;

private:
    using Row = std::vector<std::string>;

    /** The columns that are shown, with their widths. */
    struct Fit {
        std::vector<size_t> columns;
        std::vector<size_t> widths;
        std::vector<std::string> leftOut;
        bool cut = false;
    };

    Fit fit(Layout const& layout) const;
    std::string line(Row const& row, Fit const& fit) const;

    std::vector<Column> m_columns;
    std::vector<Row> m_rows;
};

/** Facts with labels, a line each, below a heading of the same form; values that pass the
 * terminal's width go on in the next line. */
class FactList {
public:
    explicit FactList(std::string heading, std::string const& value = "");

    void add(std::string label, std::string const& value);
    std::string text(Layout const& layout) const;

private:
    std::vector<std::pair<std::string, std::string>> m_facts; // The heading comes first.
};

/** @return the text in lines that are broken at blanks where the terminal ends; the first one is
 * indented by @p first columns, the others by @p others. */
std::vector<std::string> wrapped(
    std::string const& text, Layout const& layout, size_t first, size_t others);

}
