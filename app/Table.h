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

private:
    struct Column {
        Alignment alignment;
        size_t width;
    };

    std::vector<Column> m_columns;
    std::vector<std::vector<std::string>> m_rows{1}; // The headings come first.
};

}
