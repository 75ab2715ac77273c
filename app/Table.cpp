#include "app/Table.h"

#include "app/display.h"

#include <algorithm>
#include <utility>

namespace app {

void Table::addColumn(std::string heading, Alignment alignment)
{
    m_columns.push_back({alignment, displayWidth(heading)});
    m_rows.front().push_back(std::move(heading));
}

void Table::addRow(std::vector<std::string> cells)
{
    cells.resize(m_columns.size());
    for (size_t column = 0; column < cells.size(); ++column) {
        cells[column] = printable(cells[column]);
        size_t& width = m_columns[column].width;
        width = std::max(width, displayWidth(cells[column]));
    }
    m_rows.push_back(std::move(cells));
}

std::string Table::text() const
{
    std::string lines;
    for (Row const& row : m_rows)
        lines += line(row) + "\n";
    return lines;
}

std::vector<std::string> Table::rows() const
{
    std::vector<std::string> lines;
    for (size_t i = 1; i < m_rows.size(); ++i)
        lines.push_back(line(m_rows[i]));
    return lines;
}

std::string Table::line(Row const& row) const
{
    std::string text;
    for (size_t column = 0; column < row.size(); ++column) {
        std::string const& cell = row[column];
        std::string const padding(m_columns[column].width - displayWidth(cell), ' ');
        if (column > 0)
            text += "  ";
        text += m_columns[column].alignment == RIGHT ? padding + cell : cell + padding;
    }
    text.erase(text.find_last_not_of(' ') + 1);
    return text;
}

}
