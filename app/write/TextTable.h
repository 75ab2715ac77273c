#pragma once

#include <string>
#include <vector>

namespace app {

/** A table with columns as wide as their widest cell, two blanks between them and a heading line.
 */
class TextTable {
public:
    enum Alignment { LEFT, RIGHT };

    struct Column {
        std::string heading;
        Alignment alignment;
    };

    explicit TextTable(std::vector<Column> const& columns);

    /** Appends a row. Missing cells are empty, further ones are dropped; shown as `printable` makes
     * them. */
    void addRow(std::vector<std::string> cells);

    /** @return the lines, each with its newline and without blanks at its end. */
    std::string text() const;

    /** @return the lines below the heading, without newlines. */
    std::vector<std::string> rows() const;

private:
    using Row = std::vector<std::string>;

    std::string line(Row const& row) const;

    std::vector<Alignment> m_alignments;
    std::vector<size_t> m_widths;
    std::vector<Row> m_rows; // The headings come first.
};

}
