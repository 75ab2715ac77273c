#include "tests/app/ScreenCells.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <regex>

namespace app_test {

using testkit::Json;

std::string shown(std::string const& text)
{
    static std::regex const odd("[\\x00-\\x1F\\x7F]|\xC2[\x80-\x9F]|\xEF\xBF\xBD");
    return std::regex_replace(text, odd, "?");
}

namespace {

void expectSize(std::string const& text, Json const& bytes)
{
    static std::regex const form("([0-9]+) B|([0-9]+\\.[0-9]) ([KMGTPE])iB");
    std::smatch parts;
    if (bytes.is_null()) {
        EXPECT_EQ(text, "-");
        return;
    }
    ASSERT_TRUE(std::regex_match(text, parts, form)) << text;
    if (parts[1].matched) {
        EXPECT_EQ(Json(std::stoull(parts[1])), bytes);
        return;
    }
    auto const power = std::string("KMGTPE").find(parts[3]) + 1;
    double const unit = std::pow(1024.0, static_cast<double>(power));
    EXPECT_LE(std::abs(std::stod(parts[2]) * unit - bytes.get<double>()), 0.05 * unit * (1 + 1e-9))
        << text << " for " << bytes;
    EXPECT_GE(bytes.get<double>(), unit * (1 - 0.05 / 1024)) << text << " has a smaller unit";
}

void expectPercent(std::string const& text, Json const& ratio)
{
    static std::regex const form("([0-9]+\\.[0-9]) %");
    std::smatch parts;
    if (ratio.is_null()) {
        EXPECT_EQ(text, "-");
        return;
    }
    ASSERT_TRUE(std::regex_match(text, parts, form)) << text;
    EXPECT_LE(std::abs(std::stod(parts[1]) - ratio.get<double>() * 100), 0.05 * (1 + 1e-9))
        << text << " for " << ratio;
}

}

ScreenCells::ScreenCells(ScreenRow row) : m_row(std::move(row))
{
    for (auto& [name, cell] : m_row)
        cell.erase(0, cell.find_first_not_of(' '));
}

ScreenCells::~ScreenCells()
{
    EXPECT_THAT(m_row, testing::IsEmpty()) << "not compared";
}

std::string ScreenCells::take(std::string const& name)
{
    auto const cell = m_row.find(name);
    EXPECT_NE(cell, m_row.end()) << "no " << name;
    if (cell == m_row.end())
        return "";
    std::string text = cell->second;
    m_row.erase(cell);
    return text;
}

void ScreenCells::equals(std::string const& name, std::string const& text)
{
    EXPECT_EQ(take(name), text) << name;
}

void ScreenCells::text(std::string const& name, Json const& fact)
{
    equals(name, fact.is_null() ? "-" : shown(fact));
}

void ScreenCells::list(std::string const& name, Json const& fact, std::string const& none)
{
    std::string text;
    for (Json const& element : fact)
        text += (text.empty() ? "" : ", ") + shown(element);
    equals(name, fact.is_null() ? "-" : fact.empty() ? none : text);
}

void ScreenCells::number(std::string const& name, Json const& fact, uint64_t unit)
{
    if (fact.is_null())
        return equals(name, "-");
    equals(name, std::to_string(fact.get<uint64_t>() / unit));
    EXPECT_EQ(fact.get<uint64_t>() % unit, 0U) << name;
}

void ScreenCells::size(std::string const& name, Json const& bytes)
{
    SCOPED_TRACE(name);
    expectSize(take(name), bytes);
}

void ScreenCells::percent(std::string const& name, Json const& ratio)
{
    SCOPED_TRACE(name);
    expectPercent(take(name), ratio);
}

void ScreenCells::time(std::string const& name, Json const& time)
{
    static std::regex const form("(.*)T(.*)\\+00:00");
    equals(name, time.is_null() ? "-" : std::regex_replace(time.get<std::string>(), form, "$1 $2"));
}

ScreenNotes::ScreenNotes(Json const& document, std::string const& subject) : m_subject(subject)
{
    for (Json const& difference : document.at("differences"))
        if (difference.at("subject") == subject)
            add(difference);
    for (Json const& fact : document.at("unavailable"))
        if (fact.at("subject") == subject)
            m_unknown.push_back("Unknown: " + fact.at("fact").get<std::string>() + ", as "
                + shown(fact.at("reason")) + ".");
}

void ScreenNotes::add(Json const& difference)
{
    Json const& fact = difference.at("fact");
    Json const& reason = difference.at("reason");
    auto note = std::find_if(m_notes.begin(), m_notes.end(),
        [&](Note const& known) { return known.fact == fact && known.reason == reason; });
    if (note == m_notes.end())
        note = m_notes.insert(note, Note{fact, reason, {}, {}});
    if (difference.at("item").is_string())
        note->items.insert(difference.at("item").get<std::string>());
    note->values.insert(difference.at("library").dump());
}

std::string ScreenNotes::marks(std::string const& item) const
{
    std::string numbers;
    for (size_t i = 0; i < m_notes.size(); ++i)
        if (m_notes[i].items.count(item) > 0)
            numbers += (numbers.empty() ? "" : " ") + std::to_string(i + 1);
    return numbers;
}

void ScreenNotes::compare(CommandText const& command) const
{
    SCOPED_TRACE("notes of " + m_subject);
    CommandText::Lines lines;
    if (!command.blocks.empty())
        lines = command.blocks.back();
    bool const titled = !lines.empty() && lines.front() == "The library reports to its host:";
    EXPECT_EQ(titled, !m_notes.empty());
    if (titled)
        lines.erase(lines.begin());
    else if (!lines.empty() && !lines.front().starts_with("Unknown: "))
        lines.clear(); // Of a table.
    ASSERT_EQ(lines.size(), m_notes.size() + m_unknown.size());
    for (size_t i = 0; i < m_notes.size(); ++i)
        compare(lines[i], m_notes[i], i + 1);
    lines.erase(lines.begin(), lines.begin() + static_cast<ptrdiff_t>(m_notes.size()));
    EXPECT_EQ(lines, m_unknown);
}

void ScreenNotes::compare(std::string const& line, Note const& note, size_t number)
{
    std::string const mark = std::to_string(number) + " ";
    EXPECT_TRUE(line.starts_with(mark)) << line;
    EXPECT_TRUE(line.ends_with(note.reason.is_null() ? "." : ": " + shown(note.reason) + "."))
        << line << note.reason;
    EXPECT_EQ(line.starts_with(mark + "nothing"), note.fact.is_null()) << line;
    // The exact numbers of sizes.
    static std::regex const exact("\\(([0-9]+)\\)");
    for (std::sregex_iterator match(line.begin(), line.end(), exact), end; match != end; ++match)
        EXPECT_EQ(note.values.count((*match)[1]), 1U) << line;
}

}
