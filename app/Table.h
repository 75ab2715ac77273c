#pragma once

#include <string>
#include <vector>

namespace app {

/** A table of text: columns as wide as their widest cell, two blanks between them, a heading line.
 */
class Table {
public:
    /** Numbers go to the right, names to the left. */
    enum Alignment { LEFT, RIGHT };

    void addColumn(std::string heading, Alignment alignment);

    /** @param cells one for each column, missing ones are empty; shown as `printable` makes them.
     */
    void addRow(std::vector<std::string> cells);

    /** @return the lines, each with its newline and without blanks at its end. */
    std::string text() const;

    /** @return the lines below the heading, without newlines. */
    std::vector<std::string> rows() const;

private:
    using Row = std::vector<std::string>;

    struct Column {
        Alignment alignment;
        size_t width;
    };

    std::string line(Row const& row) const;

    std::vector<Column> m_columns;
    std::vector<Row> m_rows{1}; // The headings come first.
};

}
