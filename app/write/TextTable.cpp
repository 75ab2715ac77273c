#include "app/write/TextTable.h"

#include "app/write/display.h"

#include <algorithm>
#include <numeric>
#include <optional>
#include <utility>

namespace app {

namespace {

constexpr size_t GAP = 2;

/** No cell is cut below this. */
constexpr size_t SMALLEST_CELL = 8;

/** As `wrapped`, but a word that is longer than a line stays whole. */
std::vector<std::string> wrappedAtBlanks(
    std::string const& text, Layout const& layout, size_t first, size_t others)
{
    std::vector<std::string> lines;
    std::string line(first, ' ');
    bool empty = true; // The line has no word yet.
    for (size_t begin = 0; begin < text.size();) {
        size_t const end = std::min(text.find(' ', begin), text.size());
        std::string const word = text.substr(begin, end - begin);
        begin = end + 1;
        // In a pipe the line may have thousands of words, and is not measured for each of them.
        bool const fits =
            !layout.isTerminal() || displayWidth(line) + 1 + displayWidth(word) <= layout.columns;
        if (!empty && !fits) {
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

/** @return the value in lines behind its label; below it where one of the words has no room there.
 * @param first, others the columns before the value, in the label's line and in further ones. */
std::vector<std::string> labelled(std::string const& label, std::string const& value,
    Layout const& layout, size_t first, size_t others)
{
    std::vector<std::string> lines = wrappedAtBlanks(value, layout, first, others);
    bool const isTooWide = layout.isTerminal()
        && std::any_of(lines.begin(), lines.end(),
            [&layout](std::string const& line) { return displayWidth(line) > layout.columns; });
    if (isTooWide && !label.empty())
        lines = wrappedAtBlanks(value, layout, GAP, GAP);
    if (lines.empty() || (isTooWide && !label.empty())) {
        auto const above = wrappedAtBlanks(label, layout, 0, 0);
        lines.insert(lines.begin(), above.begin(), above.end());
    } else {
        lines.front().replace(0, label.size(), label);
    }
    return lines;
}

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

size_t TextTable::naturalWidth(size_t column, bool headings) const
{
    size_t width = headings ? displayWidth(m_columns[column].heading) : 0;
    for (Row const& row : m_rows)
        width = std::max(width, displayWidth(row[column]));
    return width;
}

TextTable::Fit TextTable::fit(Layout const& layout) const
{
    Fit fit;
    for (size_t column = 0; column < m_columns.size(); ++column) {
        fit.columns.push_back(column);
        fit.widths.push_back(naturalWidth(column, layout.headings));
    }
    if (!layout.isTerminal())
        return fit;
    leaveOut(fit, layout.columns);
    std::vector<size_t> const natural = fit.widths;
    shrink(fit, layout.columns, [this](size_t column, size_t width) {
        size_t const enough = m_columns[column].enough;
        return enough > 0 ? enough : width;
    });
    bool const alone = fit.columns.size() == 1;
    shrink(fit, layout.columns, [this, alone](size_t column, size_t width) {
        if (m_columns[column].alignment != LEFT)
            return width;
        return alone ? SMALLEST_CELL
                     : std::max(SMALLEST_CELL, displayWidth(m_columns[column].heading));
    });
    for (size_t i = 0; i < fit.columns.size(); ++i)
        if (fit.widths[i] < natural[i])
            fit.cut.push_back(m_columns[fit.columns[i]].heading);
    fit.fits = widthOf(fit.widths) <= layout.columns;
    return fit;
}

void TextTable::leaveOut(Fit& fit, size_t width) const
{
    auto const needed = [&] {
        std::vector<size_t> widths = fit.widths;
        for (size_t i = 0; i < widths.size(); ++i)
            if (size_t const enough = m_columns[fit.columns[i]].enough)
                widths[i] = std::min(widths[i], enough);
        return widthOf(widths);
    };
    auto const importance = [this](size_t column) { return m_columns[column].importance; };
    while (needed() > width) {
        // Of several columns of the same importance the last one goes first.
        auto const least = std::min_element(fit.columns.rbegin(), fit.columns.rend(),
            [&](size_t one, size_t two) { return importance(one) < importance(two); });
        if (importance(*least) == ALWAYS)
            return;
        auto const place = fit.columns.rend() - least - 1;
        if (!m_columns[*least].heading.empty())
            fit.leftOut.insert(fit.leftOut.begin(), m_columns[*least].heading);
        fit.columns.erase(fit.columns.begin() + place);
        fit.widths.erase(fit.widths.begin() + place);
    }
}

void TextTable::shrink(
    Fit& fit, size_t width, std::function<size_t(size_t column, size_t width)> const& smallest)
{
    while (widthOf(fit.widths) > width) {
        std::optional<size_t> widest;
        for (size_t i = 0; i < fit.columns.size(); ++i)
            if (fit.widths[i] > smallest(fit.columns[i], fit.widths[i])
                && (!widest || fit.widths[i] > fit.widths[*widest]))
                widest = i;
        if (!widest)
            return;
        --fit.widths[*widest];
    }
}

std::string TextTable::text(Layout const& layout) const
{
    Fit fit = this->fit(layout);
    std::string lines = fit.fits ? table(layout, fit) : blocks(layout, fit);
    if (!layout.headings)
        return lines;
    std::string note;
    if (!fit.leftOut.empty())
        note = "Left out: " + joined(fit.leftOut) + ".";
    if (!fit.cut.empty())
        note += std::string(note.empty() ? "" : " ") + "Cut: " + joined(fit.cut) + ".";
    for (std::string const& part : wrapped(note, layout, 0, 0))
        lines += part + "\n";
    return lines;
}

std::string TextTable::table(Layout const& layout, Fit const& fit) const
{
    std::string lines;
    if (layout.headings) {
        Row headings;
        for (Column const& column : m_columns)
            headings.push_back(column.heading);
        lines += colored(line(headings, fit), Color::BOLD, layout.colors) + "\n";
    }
    for (Row const& row : m_rows)
        lines += line(row, fit) + "\n";
    return lines;
}

std::string TextTable::blocks(Layout const& layout, Fit& fit) const
{
    std::string lines;
    fit.cut.clear();
    for (Row const& row : m_rows) {
        // A row without a first cell goes on with the facts of the one above.
        if (!lines.empty() && !row[fit.columns.front()].empty())
            lines += "\n";
        for (size_t const column : fit.columns) {
            std::string const& heading = m_columns[column].heading;
            if (heading.empty() || row[column].empty())
                continue;
            std::string const label = layout.headings ? heading + ":" : "";
            size_t const first = label.empty() ? 0 : displayWidth(label) + 1;
            for (std::string const& part : labelled(label, row[column], layout, first, GAP)) {
                std::string const shown = shortened(part, layout.columns);
                bool const isNew =
                    std::find(fit.cut.begin(), fit.cut.end(), heading) == fit.cut.end();
                if (shown != part && isNew)
                    fit.cut.push_back(heading);
                bool const named = !label.empty() && shown.starts_with(label);
                size_t const end = named ? label.size() : 0;
                lines += colored(shown.substr(0, end), Color::BOLD, layout.colors)
                    + shown.substr(end) + "\n";
            }
        }
    }
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
        for (std::string const& line : labelled(label, value, layout, width, width))
            for (std::string const& part : broken(line, layout))
                lines += colored(part, Color::BOLD, heading && layout.colors) + "\n";
    }
    return lines;
}

std::vector<std::string> wrapped(
    std::string const& text, Layout const& layout, size_t first, size_t others)
{
    std::vector<std::string> lines;
    for (std::string const& line : wrappedAtBlanks(text, layout, first, others))
        for (std::string& part : broken(line, layout))
            lines.push_back(std::move(part));
    return lines;
}

std::vector<std::string> broken(std::string const& line, Layout const& layout)
{
    std::vector<std::string> parts;
    size_t const blanks = std::min(line.find_first_not_of(' '), line.size());
    std::string const indentation(std::min(blanks, layout.columns / 2), ' ');
    std::string rest = line;
    while (layout.isTerminal() && displayWidth(rest) > layout.columns) {
        size_t const bytes = bytesWithin(rest, layout.columns);
        if (bytes <= indentation.size())
            break; // Not even one character fits.
        parts.push_back(rest.substr(0, bytes));
        rest.replace(0, bytes, indentation);
    }
    parts.push_back(rest);
    return parts;
}

}
