#pragma once

#include <functional>
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

enum ColumnAlignment {
    LEFT,
    RIGHT, ///< Numbers, which are never cut.
    WHOLE ///< At the left, and never cut: a part of an address is misleading.
};

/** The importance of a column that is never left out. */
constexpr unsigned ALWAYS = ~0U;

/**
 * A table with columns as wide as their widest cell, two blanks between them and a heading line.
 *
 * Where it is wider than the terminal, cells are cut that say so, and then the least important
 * columns are left out. If the rest is still too wide, all columns of words are cut, the widest
 * first. If even that is too wide, each row is a block of lines, one a column. A line below the
 * table names the columns that are left out or cut.
 */
class TextTable {
public:
    struct Column {
        std::string heading;
        ColumnAlignment alignment = LEFT;
        unsigned importance = ALWAYS; ///< The column with the lowest number is left out first.
        size_t enough = 0; ///< Columns to which it is cut before any is left out; 0 for no cut.
    };

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
        std::vector<std::string> cut;
        bool fits = true;
    };

    size_t naturalWidth(size_t column, bool headings) const;
    Fit fit(Layout const& layout) const;
    void leaveOut(Fit& fit, size_t width) const;

    /** Takes from the widest columns. @param smallest returns the width below which a column is not
     * cut. */
    static void shrink(
        Fit& fit, size_t width, std::function<size_t(size_t column, size_t width)> const& smallest);

    std::string table(Layout const& layout, Fit const& fit) const;

    /** The rows as "COLUMN: value" lines. @param fit receives the columns that are cut there. */
    std::string blocks(Layout const& layout, Fit& fit) const;

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

/** @return the text in lines that are broken at blanks where the terminal ends, and within a word
 * that is longer than a line; the first one is indented by @p first columns, the others by @p
 * others. */
std::vector<std::string> wrapped(
    std::string const& text, Layout const& layout, size_t first, size_t others);

/** @return the line in pieces that fit the terminal, each indented as the line is. No blank is
 * lost. */
std::vector<std::string> broken(std::string const& line, Layout const& layout);

}
