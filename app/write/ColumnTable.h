#pragma once

#include "app/write/SubjectTable.h"

#include <algorithm>
#include <iterator>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace app {

/** A column that a table can have. @tparam Row the facts of one row. */
template <class Row> struct ColumnOf {
    char const* name;
    char const* description;
    ColumnAlignment alignment;
    unsigned importance; ///< See `TextTable`; 0 for a column that is shown only where it is named.
    std::string (*text)(Row const& row);
    size_t enough = 0; ///< See `TextTable::Column`.
};

/** Of a column that one table shows always, and others only where it is named. */
inline constexpr unsigned USUAL_IMPORTANCE = 100;

/** @return the names between commas in capital letters, without the blanks around them and without
 * the list's '+'. */
std::vector<std::string> columnNames(std::string const& list);

/** @return whether the list begins with '+'. */
bool isAddition(std::string const& list);

/**
 * The columns that the reader wants.
 *
 * @param choice as in `TableOptions`. @param usual the names of the columns of a table without a
 * choice; empty for all that have an importance.
 * @throws ColumnError
 */
template <class Row> std::vector<ColumnOf<Row>> chosenColumns(
    std::span<ColumnOf<Row> const> all, std::string const& choice, std::string const& usual)
{
    auto const find = [&all](std::string const& name) {
        auto const column = std::find_if(all.begin(), all.end(),
            [&name](ColumnOf<Row> const& candidate) { return name == candidate.name; });
        if (column == all.end() || name.empty())
            throw ColumnError("unknown column '" + name + "'; --list-columns lists them");
        return *column;
    };
    std::vector<ColumnOf<Row>> chosen;
    bool const added = isAddition(choice);
    if (choice.empty() || added) {
        for (std::string const& name : columnNames(usual)) {
            chosen.push_back(find(name));
            if (chosen.back().importance == 0)
                chosen.back().importance = USUAL_IMPORTANCE;
        }
        if (usual.empty())
            std::copy_if(all.begin(), all.end(), std::back_inserter(chosen),
                [](ColumnOf<Row> const& column) { return column.importance > 0; });
    }
    for (std::string const& name : columnNames(choice)) {
        auto const usualOne = std::find_if(chosen.begin(), chosen.end(),
            [&name](ColumnOf<Row> const& column) { return name == column.name; });
        ColumnOf<Row>& column =
            added && usualOne != chosen.end() ? *usualOne : chosen.emplace_back(find(name));
        // The reader has asked for it.
        column.importance = ALWAYS;
    }
    return chosen;
}

template <class Row>
TextTable tableOf(std::vector<Row> const& rows, std::vector<ColumnOf<Row>> const& columns)
{
    std::vector<TextTable::Column> headings;
    headings.reserve(columns.size());
    for (auto const& column : columns)
        headings.push_back({column.name, column.alignment, column.importance, column.enough});
    TextTable table(std::move(headings));
    for (Row const& row : rows) {
        std::vector<std::string> cells;
        cells.reserve(columns.size());
        for (auto const& column : columns)
            cells.push_back(column.text(row));
        table.addRow(std::move(cells));
    }
    return table;
}

/** A subject's table with columns for one type of row. */
template <class Row> class ColumnTable : public SubjectTable {
public:
    /** @param columns must outlive the object. */
    explicit ColumnTable(std::span<ColumnOf<Row> const> columns) : m_columns(columns) { }

    void check(std::string const& columns) const final
    {
        (void)chosenColumns(m_columns, columns, "");
    }

    TextTable columns() const final
    {
        TextTable table({{"COLUMN"}, {"MEANING"}});
        for (auto const& column : m_columns)
            if (*column.name) // Bars have none.
                table.addRow({column.name, column.description});
        return table;
    }

    TextTable table(TableRequest const& request) const final
    {
        return tableOf(rows(request),
            chosenColumns(m_columns, request.options.columns, usualColumns(request.options)));
    }

private:
    virtual std::vector<Row> rows(TableRequest const& request) const = 0;

    /** @return as in `chosenColumns`. */
    virtual char const* usualColumns(TableOptions const& /*options*/) const { return ""; }

    std::span<ColumnOf<Row> const> m_columns;
};

}
