#include "app/write/TextTable.h"

#include "app/write/display.h"

#include <algorithm>
#include <utility>

namespace app {

TextTable::TextTable(std::vector<Column> const& columns) : m_widths(columns.size())
{
    Row headings;
    for (Column const& column : columns) {
        m_alignments.push_back(column.alignment);
        headings.push_back(column.heading);
    }
    addRow(std::move(headings));
}

void TextTable::addRow(std::vector<std::string> cells)
{
    cells.resize(m_widths.size());
    for (size_t column = 0; column < cells.size(); ++column) {
        cells[column] = printable(cells[column]);
        m_widths[column] = std::max(m_widths[column], displayWidth(cells[column]));
    }
    m_rows.push_back(std::move(cells));
}

std::string TextTable::text() const
{
    std::string lines;
    for (Row const& row : m_rows)
        lines += line(row) + "\n";
    return lines;
}

std::vector<std::string> TextTable::rows() const
{
    std::vector<std::string> lines;
    for (size_t i = 1; i < m_rows.size(); ++i)
        lines.push_back(line(m_rows[i]));
    return lines;
}

std::string TextTable::line(Row const& row) const
{
    std::string text;
    for (size_t column = 0; column < row.size(); ++column) {
        std::string const& cell = row[column];
        std::string const padding(m_widths[column] - displayWidth(cell), ' ');
        if (column > 0)
            text += "  ";
        text += m_alignments[column] == RIGHT ? padding + cell : cell + padding;
    }
    text.erase(text.find_last_not_of(' ') + 1);
    return text;
}

}
