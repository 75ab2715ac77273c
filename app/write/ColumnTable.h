#pragma once

#include "app/write/TextTable.h"
#include "app/write/display.h"
#include "app/write/table.h"

#include <algorithm>
#include <string>
#include <vector>

namespace app {

/** A column that a table can have. @tparam Row the facts of one row. */
template <class Row> struct ColumnOf {
    char const* name;
    char const* description;
    TextTable::Alignment alignment;
    unsigned importance; ///< See `TextTable`; 0 for a column that is shown only where it is named.
    std::string (*text)(Row const& row);
};

/** @return the words between commas. */
std::vector<std::string> columnNames(std::string const& list);

/** The columns that the reader wants. @throws ColumnError */
template <class Row, size_t COUNT> std::vector<ColumnOf<Row>> chosenColumns(
    ColumnOf<Row> const (&all)[COUNT], std::string const& choice)
{
    std::vector<ColumnOf<Row>> chosen;
    bool const added = choice.rfind('+', 0) == 0;
    if (choice.empty() || added)
        std::copy_if(std::begin(all), std::end(all), std::back_inserter(chosen),
            [](ColumnOf<Row> const& column) { return column.importance > 0; });
    for (std::string const& name : columnNames(added ? choice.substr(1) : choice)) {
        auto const column = std::find_if(std::begin(all), std::end(all),
            [&name](ColumnOf<Row> const& candidate) { return name == candidate.name; });
        if (column == std::end(all))
            throw ColumnError("unknown column '" + name + "'; --list-columns lists them");
        chosen.push_back(*column);
        // The reader has asked for it.
        chosen.back().importance = TextTable::ALWAYS;
    }
    return chosen;
}

/** @param enough see `TextTable::Column`. @throws ColumnError */
template <class Row, size_t COUNT> TextTable tableOf(std::vector<Row> const& rows,
    ColumnOf<Row> const (&all)[COUNT], std::string const& choice, size_t enough = 0)
{
    auto const columns = chosenColumns(all, choice);
    std::vector<TextTable::Column> headings;
    for (auto const& column : columns)
        headings.push_back({column.name, column.alignment, column.importance});
    if (!headings.empty())
        headings.front().enough = enough;
    TextTable table(std::move(headings));
    for (Row const& row : rows) {
        std::vector<std::string> cells;
        for (auto const& column : columns)
            cells.push_back(column.text(row));
        table.addRow(std::move(cells));
    }
    return table;
}

/** The columns as a table themselves. */
template <class Row, size_t COUNT> TextTable columnList(ColumnOf<Row> const (&all)[COUNT])
{
    TextTable table({{"COLUMN"}, {"MEANING"}});
    for (auto const& column : all)
        table.addRow({column.name, column.description});
    return table;
}

}
