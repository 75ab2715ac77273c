#include "app/write/html_facts.h"

#include "app/write/display.h"
#include "app/write/exact_values.h"
#include "app/write/names.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <utility>

namespace app {

namespace {

/** A percentage as JSON has it. */
std::string ratioText(double percent)
{
    std::array<char, 64> digits;
    auto const result =
        std::to_chars(digits.data(), digits.data() + digits.size(), *ratioOf(percent));
    return std::string(digits.data(), result.ptr);
}

Html::Attributes attributesOf(HtmlTable::Column const& column, Html::Attributes attributes)
{
    constexpr std::array CLASSES = {"", "list", "word", "word long", "number"};
    if (column.content != HtmlTable::NAME)
        attributes.push_back({"class", CLASSES.at(column.content)});
    return attributes;
}

}

std::string elementKey(std::string const& list, size_t index)
{
    return list + "." + std::to_string(index) + ".";
}

Fact words(std::string const& text)
{
    return {"", text, text};
}

Fact textFact(std::string const& key, std::optional<std::string> const& text)
{
    return {key, text, text.value_or(UNKNOWN)};
}

Fact sizeFact(std::string const& key, std::optional<uint64_t> bytes)
{
    Fact fact = numberFact(key, bytes);
    fact.text = sizeText(bytes);
    return fact;
}

Fact percentFact(std::string const& key, std::optional<double> percent)
{
    return {key, percent ? std::optional(ratioText(*percent)) : std::nullopt, percentText(percent)};
}

Fact timeFact(std::string const& key, std::optional<int64_t> seconds)
{
    return {key, timestamp(seconds), timeText(seconds)};
}

Fact wordFact(std::string const& key, std::optional<std::string> const& text)
{
    return {key, wordOf(text), text.value_or(UNKNOWN)};
}

Fact scaledFact(std::string const& key, uint64_t factor, std::optional<uint64_t> number)
{
    Fact fact = numberFact(key, number);
    if (number)
        fact.value = std::to_string(*number * factor);
    return fact;
}

Fact progressFact(Recovery const& recovery)
{
    return {"recovery.done_ratio",
        recovery.percent ? std::optional(ratioText(*recovery.percent)) : std::nullopt,
        wholePercentText(recovery.percent)};
}

void writeFact(Html& html, Fact const& fact)
{
    if (fact.key.empty())
        html.element("span", fact.text);
    else if (fact.value)
        html.element("data", fact.text, {{"data-key", fact.key}, {"value", *fact.value}});
    else
        html.element("span", fact.text,
            {{"data-key", fact.key}, {"class", "unknown"}, {"title", "unknown"}});
}

bool isNearlyFull(double percent)
{
    constexpr double NEARLY_FULL = 90;
    return percent >= NEARLY_FULL;
}

void writeBar(Html& html, std::optional<double> percent, bool warns)
{
    if (!percent)
        return;
    bool const full = warns && isNearlyFull(*percent);
    // The figure stands beside it, so a screen reader has no use for it.
    auto const bar =
        html.open("span", {{"class", full ? "bar full" : "bar"}, {"aria-hidden", "true"}});
    html.element(
        "i", "", {{"style", "width:" + oneDecimal(std::clamp(*percent, 0.0, 100.0)) + "%"}});
}

void writeCell(Html& html, Cell const& cell)
{
    // First, so that the figures of a column end at the same place.
    writeBar(html, cell.bar, cell.warns);
    bool first = true;
    for (Cell::Item const& item : cell.items) {
        if (cell.isLines) {
            auto const line = html.open("span", {{"class", "line"}});
            for (Fact const& fact : item)
                writeFact(html, fact);
            continue;
        }
        html.text(first ? "" : ", ");
        first = false;
        for (Fact const& fact : item)
            writeFact(html, fact);
    }
    for (std::string const& note : cell.notes) {
        html.text(&note == &cell.notes.front() ? "" : " ");
        html.element("a", note, {{"href", "#" + cell.notesOf + "-note-" + note}});
    }
}

void HtmlFactList::add(char const* label, Cell const& value)
{
    auto const pair = m_html.open("div");
    m_html.element("dt", label);
    auto const description = m_html.open("dd");
    writeCell(m_html, value);
}

HtmlTable::HtmlTable(
    Html& html, std::string const& caption, std::vector<Column> columns, char const* look)
    : m_html(html), m_columns(std::move(columns)), m_table(html.open("table", {{"class", look}}))
{
    m_html.element("caption", caption);
    auto const head = m_html.open("thead");
    auto const row = m_html.open("tr");
    for (Column const& column : m_columns)
        m_html.element("th", column.name, attributesOf(column, {{"scope", "col"}}));
}

void HtmlTable::addRow(std::vector<Cell> const& cells)
{
    auto const row = m_html.open("tr");
    for (size_t i = 0; i < m_columns.size(); ++i) {
        Html::Attributes const attributes = attributesOf(m_columns[i],
            {i == 0 ? Html::Attribute{"scope", "row"}
                    : Html::Attribute{"data-label", m_columns[i].name}}); // Of a narrow screen.
        auto const element = m_html.open(i == 0 ? "th" : "td", attributes);
        if (i < cells.size())
            writeCell(m_html, cells[i]);
    }
}

}
