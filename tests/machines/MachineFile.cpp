#include "tests/machines/MachineFile.h"
#include "app/recording/answer_line.h"

#include "tests/machines/build_entry.h"

#include <algorithm>
#include <fstream>
#include <stdexcept>

namespace machines {

namespace {

constexpr std::string_view INDENTATION = "    ";

[[noreturn]] void failAt(std::filesystem::path const& file, size_t line, std::string const& reason)
{
    throw std::runtime_error(file.string() + ":" + std::to_string(line) + ": " + reason);
}

/** An error that has no place yet. Those of entries inside a block have theirs. */
class PlacedError : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

/** Calls @p action, and adds the place to its errors. */
template <typename Action>
void withPlace(std::filesystem::path const& file, size_t line, Action const& action)
{
    try {
        action();
    } catch (PlacedError const&) {
        throw;
    } catch (std::exception const& error) {
        throw PlacedError(
            file.filename().string() + ":" + std::to_string(line) + ": " + error.what());
    }
}

long numberOf(std::string const& text)
{
    size_t used = 0;
    long const number = std::stol(text, &used);
    if (used != text.size())
        throw std::runtime_error("'" + text + "' is no whole number");
    return number;
}

}

MachineFile::MachineFile(std::filesystem::path const& path)
{
    readFile(path);
}

void MachineFile::readFile(std::filesystem::path const& path)
{
    std::ifstream file(path);
    if (!file)
        failAt(path, 0, "cannot be read");
    Lines lines;
    for (std::string line; std::getline(file, line);)
        lines.push_back(line);
    expand(lines, path, 1);
}

void MachineFile::expand(Lines const& lines, std::filesystem::path const& file, size_t firstLine)
{
    for (size_t i = 0; i < lines.size();) {
        Entry entry{file, firstLine + i, lines[i], {}};
        ++i;
        if (entry.text.empty() || entry.text.front() == '#')
            continue;
        if (entry.text.front() == ' ')
            failAt(file, entry.line, "is indented below nothing");
        while (i < lines.size() && (lines[i].empty() || lines[i].starts_with(INDENTATION))) {
            entry.body.push_back(lines[i].substr(std::min(lines[i].size(), INDENTATION.size())));
            ++i;
        }
        while (!entry.body.empty() && entry.body.back().empty())
            entry.body.pop_back();
        withPlace(file, entry.line, [&] { expandEntry(entry); });
    }
}

void MachineFile::expandEntry(Entry const& entry)
{
    Lines const words = app::wordsOfLine(entry.text);
    std::string const& keyword = words.front();
    if (keyword == "template") {
        define(entry, words);
    } else if (keyword == "repeat" || keyword == "each") {
        expandRepeat(entry, words);
    } else if (keyword == "include") {
        readFile(entry.file.parent_path() / words.at(1));
    } else if (keyword == "set") {
        m_variables.set(m_variables.substitute(words.at(1)), m_variables.substitute(words.at(2)));
    } else if (auto const called = m_templates.find(keyword); called != m_templates.end()) {
        expandTemplate(called->second, words);
    } else {
        keep(entry);
    }
}

void MachineFile::define(Entry const& entry, Lines const& words)
{
    m_templates[words.at(1)] = {
        {words.begin() + 2, words.end()}, entry.body, entry.file, entry.line};
}

void MachineFile::expandRepeat(Entry const& entry, Lines const& words)
{
    std::string const& variable = words.at(1);
    Lines values;
    for (size_t i = 2; i < words.size(); ++i)
        values.push_back(m_variables.substitute(words[i]));
    if (words.front() == "repeat") {
        long const first = numberOf(values.at(0));
        long const last = numberOf(values.at(1));
        values.clear();
        for (long i = first; i <= last; ++i)
            values.push_back(std::to_string(i));
    }
    for (std::string const& value : values) {
        m_variables.enter({{variable, value}});
        expand(entry.body, entry.file, entry.line + 1);
        m_variables.leave();
    }
}

void MachineFile::expandTemplate(Template const& called, Lines const& words)
{
    if (words.size() != called.parameters.size() + 1)
        throw std::runtime_error("'" + words.front() + "' takes "
            + std::to_string(called.parameters.size()) + " arguments, not "
            + std::to_string(words.size() - 1));
    std::map<std::string, std::string> arguments;
    for (size_t i = 1; i < words.size(); ++i)
        arguments[called.parameters[i - 1]] = m_variables.substitute(words[i]);
    m_variables.enter(std::move(arguments));
    expand(called.body, called.file, called.line + 1);
    m_variables.leave();
}

void MachineFile::keep(Entry entry)
{
    entry.text = m_variables.substitute(entry.text);
    for (std::string& line : entry.body)
        line = m_variables.substitute(line);
    m_entries.push_back(std::move(entry));
}

void MachineFile::build() const
{
    for (Entry const& entry : m_entries)
        withPlace(entry.file, entry.line, [&] { buildEntry(entry.text, entry.body); });
}

}
