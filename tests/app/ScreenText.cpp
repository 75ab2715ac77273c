#include "tests/app/ScreenText.h"

#include "tests/support/text.h"

#include <algorithm>
#include <cwchar>
#include <sstream>
#include <stdexcept>

namespace app_test {

namespace {

using Columns = std::vector<std::string>;

/** @return the characters in a terminal's columns; empty for the second column of a wide one. */
Columns columnsOf(std::string const& line)
{
    Columns columns;
    std::mbstate_t state{};
    for (size_t position = 0; position < line.size();) {
        wchar_t code = 0;
        size_t const bytes =
            std::mbrtowc(&code, line.data() + position, line.size() - position, &state);
        if (bytes == 0 || bytes > line.size() - position)
            throw std::runtime_error("no UTF-8: " + line);
        std::string const character = line.substr(position, bytes);
        position += bytes;
        int const width = wcwidth(code);
        if (width > 0)
            columns.push_back(character);
        else if (!columns.empty())
            columns.back() += character; // A combining mark.
        for (int further = 1; further < width; ++further)
            columns.emplace_back();
    }
    return columns;
}

/** A column of a table: from its first to behind its last column of the terminal. */
struct Span {
    size_t first;
    size_t end;
};

std::string trimmed(std::string const& text)
{
    size_t const first = text.find_first_not_of(' ');
    return first == std::string::npos ? ""
                                      : text.substr(first, text.find_last_not_of(' ') + 1 - first);
}

std::string cellIn(Columns const& line, Span span)
{
    std::string text;
    for (size_t i = span.first; i < std::min(span.end, line.size()); ++i)
        text += line[i];
    return text.substr(0, text.find_last_not_of(' ') + 1);
}

std::vector<Span> spansOf(std::vector<Columns> const& lines)
{
    constexpr size_t GAP = 2;
    size_t width = 0;
    for (Columns const& line : lines)
        width = std::max(width, line.size());
    std::vector<Span> spans;
    size_t blanks = GAP;
    for (size_t i = 0; i < width; ++i) {
        bool const blank = std::all_of(lines.begin(), lines.end(),
            [i](Columns const& line) { return i >= line.size() || line[i] == " "; });
        if (!blank && blanks >= GAP)
            spans.push_back({i, i});
        blanks = blank ? blanks + 1 : 0;
        if (!blank)
            spans.back().end = i + 1;
    }
    return spans;
}

}

std::map<std::string, CommandText> commandsOn(std::string const& screen)
{
    std::string const prompt = "$ dovrel-sysinfo";
    std::string const error = "[error] ";
    std::string const status = "[status ";
    std::map<std::string, CommandText> commands;
    CommandText* command = nullptr;
    bool begins = true;
    for (std::string const& line : testkit::linesOf(screen)) {
        if (line.starts_with(prompt)) {
            command = &commands[trimmed(line.substr(prompt.size()))];
            begins = true;
        } else if (line.starts_with(error)) {
            command->errors.push_back(line.substr(error.size()));
        } else if (line.starts_with(status)) {
            command->status = std::stoi(line.substr(status.size()));
        } else if (line.empty()) {
            begins = true;
        } else {
            if (begins)
                command->blocks.emplace_back();
            begins = false;
            command->blocks.back().push_back(line);
        }
    }
    return commands;
}

std::vector<ScreenRow> rowsOf(CommandText::Lines const& lines)
{
    std::istringstream words(lines.at(0));
    std::vector<std::string> headings;
    for (std::string word; words >> word;)
        headings.push_back(word);

    std::vector<Columns> all;
    for (std::string const& line : lines)
        all.push_back(columnsOf(line));
    std::vector<Span> const spans = spansOf(all);
    if (spans.size() != headings.size())
        throw std::runtime_error("other columns than headings: " + lines.front());
    std::vector<ScreenRow> rows;
    for (Columns const& line : all) {
        ScreenRow& row = rows.emplace_back();
        for (size_t i = 0; i < spans.size(); ++i)
            row[headings[i]] = cellIn(line, spans[i]);
    }
    // The headings too stand in the columns.
    for (auto const& [heading, text] : rows.front())
        if (heading != trimmed(text))
            throw std::runtime_error("'" + heading + "' does not stand above its cells");
    rows.erase(rows.begin());
    return rows;
}

ScreenRow labelsIn(CommandText::Lines const& lines)
{
    ScreenRow values;
    for (std::string const& line : lines) {
        size_t const gap = line.find("  ");
        values[line.substr(0, gap)] = gap == std::string::npos ? "" : trimmed(line.substr(gap));
    }
    return values;
}

}
