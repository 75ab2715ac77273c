#include "app/write/TextTable.h"

#include "app/write/display.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace app {

namespace {

constexpr size_t GAP = 2;

/** The first column is never cut below this. */
constexpr size_t SMALLEST_CELL = 8;

size_t widthOf(std::vector<size_t> const& widths)
{
    return std::accumulate(widths.begin(), widths.end(), size_t{0})
        + (widths.empty() ? 0 : GAP * (widths.size() - 1));
}

}

TextTable::TextTable(std::vector<Column> columns) : m_columns(std::move(columns))
{
}

void TextTable::addRow(std::vector<std::string> cells)
{
    cells.resize(m_columns.size());
    for (std::string& cell : cells)
        cell = printable(cell);
    m_rows.push_back(std::move(cells));
}

TextTable::Fit TextTable::fit(Layout const& layout) const
{
    Fit fit;
    for (size_t column = 0; column < m_columns.size(); ++column) {
        size_t width = layout.headings ? displayWidth(m_columns[column].heading) : 0;
        for (Row const& row : m_rows)
            width = std::max(width, displayWidth(row[column]));
        fit.columns.push_back(column);
        fit.widths.push_back(width);
    }
    if (!layout.isTerminal())
        return fit;
    size_t const enough = m_columns[0].enough;
    if (enough > 0 && widthOf(fit.widths) > layout.columns && fit.widths[0] > enough) {
        size_t const surplus = widthOf(fit.widths) - layout.columns;
        fit.widths[0] = std::max(enough, fit.widths[0] - std::min(fit.widths[0], surplus));
        fit.cut = true;
    }
    auto const importance = [this](size_t column) { return m_columns[column].importance; };
    while (widthOf(fit.widths) > layout.columns) {
        // Of several columns of the same importance the last one goes first.
        auto const least = std::min_element(fit.columns.rbegin(), fit.columns.rend(),
            [&](size_t one, size_t two) { return importance(one) < importance(two); });
        if (importance(*least) == ALWAYS)
            break;
        auto const place = fit.columns.rend() - least - 1;
        if (!m_columns[*least].heading.empty())
            fit.leftOut.insert(fit.leftOut.begin(), m_columns[*least].heading);
        fit.columns.erase(fit.columns.begin() + place);
        fit.widths.erase(fit.widths.begin() + place);
    }
    size_t const width = widthOf(fit.widths);
    if (width > layout.columns && !fit.widths.empty()) {
        size_t const others = width - fit.widths[0];
        fit.widths[0] = std::max(SMALLEST_CELL, layout.columns - std::min(layout.columns, others));
        fit.cut = true;
    }
    return fit;
}

std::string TextTable::text(Layout const& layout) const
{
    Fit const fit = this->fit(layout);
    std::string lines;
    if (layout.headings) {
        Row headings;
        for (Column const& column : m_columns)
            headings.push_back(column.heading);
        lines += colored(line(headings, fit), Color::BOLD, layout.colors) + "\n";
    }
    for (Row const& row : m_rows)
        lines += line(row, fit) + "\n";
    if (!layout.headings)
        return lines;
    std::string note;
    if (!fit.leftOut.empty())
        note = "Left out: " + joined(fit.leftOut) + ".";
    if (fit.cut)
        note += std::string(note.empty() ? "" : " ") + "Names are cut.";
    for (std::string const& part : wrapped(note, layout, 0, 0))
        lines += part + "\n";
    return lines;
}

std::vector<std::string> TextTable::rows(Layout const& layout) const
{
    Layout withoutHeadings = layout;
    withoutHeadings.headings = false;
    Fit const fit = this->fit(withoutHeadings);
    std::vector<std::string> lines;
    for (Row const& row : m_rows)
        lines.push_back(line(row, fit));
    return lines;
}

std::string TextTable::line(Row const& row, Fit const& fit) const
{
    std::string text;
    for (size_t i = 0; i < fit.columns.size(); ++i) {
        std::string const cell = shortened(row[fit.columns[i]], fit.widths[i]);
        std::string const padding(fit.widths[i] - displayWidth(cell), ' ');
        if (i > 0)
            text += std::string(GAP, ' ');
        text += m_columns[fit.columns[i]].alignment == RIGHT ? padding + cell : cell + padding;
    }
    text.erase(text.find_last_not_of(' ') + 1);
    return text;
}

FactList::FactList(std::string heading, std::string const& value)
{
    add(std::move(heading), value);
}

void FactList::add(std::string label, std::string const& value)
{
    m_facts.emplace_back(std::move(label), printable(value));
}

std::string FactList::text(Layout const& layout) const
{
    size_t width = 0;
    for (auto const& [label, value] : m_facts)
        width = std::max(width, displayWidth(label) + GAP);
    std::string lines;
    for (auto const& [label, value] : m_facts) {
        bool const heading = &label == &m_facts.front().first;
        if (heading && !layout.headings)
            continue;
        std::vector<std::string> values = wrapped(value, layout, width, width);
        if (values.empty())
            values.push_back(label);
        else
            values[0].replace(0, label.size(), label);
        for (std::string const& line : values)
            lines += colored(line, Color::BOLD, heading && layout.colors) + "\n";
    }
    return lines;
}

std::vector<std::string> wrapped(
    std::string const& text, Layout const& layout, size_t first, size_t others)
{
    std::vector<std::string> lines;
    std::string line(first, ' ');
    bool empty = true; // The line has no word yet.
    for (size_t begin = 0; begin < text.size();) {
        size_t const end = std::min(text.find(' ', begin), text.size());
        std::string const word = text.substr(begin, end - begin);
        begin = end + 1;
        bool const fits = displayWidth(line) + 1 + displayWidth(word) <= layout.columns;
        if (!empty && layout.isTerminal() && !fits) {
            lines.push_back(std::exchange(line, std::string(others, ' ')));
            empty = true;
        }
        line += (empty ? "" : " ") + word;
        empty = false;
    }
    if (!empty)
        lines.push_back(line);
    return lines;
}

}
