#include "app/write/notes.h"

#include "app/write/display.h"

#include <algorithm>

namespace app {

namespace {

bool endsWith(std::string const& text, std::string const& end)
{
    return text.size() >= end.size()
        && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

constexpr char const* BYTES = "_bytes";
constexpr char const* HERTZ = "_hertz";

std::string valueText(LibraryValue const& value)
{
    return std::visit(
        [](auto const& content) -> std::string {
            using Content = std::decay_t<decltype(content)>;
            if constexpr (std::is_same_v<Content, std::string>)
                return content;
            else if constexpr (std::is_same_v<Content, std::vector<std::string>>)
                return content.empty() ? "none" : joined(content);
            else if constexpr (std::is_same_v<Content, double>)
                return oneDecimal(content);
            else
                return std::to_string(content);
        },
        value);
}

}

std::string libraryText(std::optional<LibraryValue> const& value, std::string const& fact)
{
    if (!value)
        return "none";
    constexpr uint64_t MEGA = 1'000'000;
    auto const* number = std::get_if<uint64_t>(&*value);
    if (number && endsWith(fact, BYTES) && *number > 0)
        return sizeText(*number) + " (" + std::to_string(*number) + ")";
    if (number && endsWith(fact, HERTZ))
        return std::to_string(*number / MEGA);
    return printable(valueText(*value));
}

std::string factText(std::string const& key)
{
    size_t const unit = key.rfind('_');
    std::string text = endsWith(key, BYTES) || endsWith(key, HERTZ) ? key.substr(0, unit) : key;
    std::replace(text.begin(), text.end(), '_', ' ');
    return endsWith(key, HERTZ) ? text + " MHz" : text;
}

Notes::Notes(Machine const& machine) : m_machine(machine)
{
    for (Difference const& difference : machine.differences) {
        auto const same = std::find_if(m_notes.begin(), m_notes.end(), [&](Note const& note) {
            return note.subject == difference.subject && note.fact == difference.fact
                && note.reason == difference.reason;
        });
        if (same != m_notes.end())
            same->differences.push_back(&difference);
        else
            m_notes.push_back(
                {difference.subject, difference.fact, difference.reason, {&difference}});
    }
}

std::string Notes::marks(Subject subject, std::string const& item) const
{
    std::string marks;
    size_t number = 0;
    for (Note const& note : m_notes) {
        if (note.subject != subject)
            continue;
        ++number;
        if (std::any_of(note.differences.begin(), note.differences.end(),
                [&item](Difference const* difference) { return difference->item == item; }))
            marks += (marks.empty() ? "" : " ") + std::to_string(number);
    }
    return marks;
}

std::string Notes::text(Note const& note)
{
    Difference const& first = *note.differences.front();
    std::string const reason = ": " + printable(note.reason) + ".";
    if (note.fact.empty())
        return (first.item.empty() ? "nothing, as the query failed" : "nothing") + reason;
    // Several values are in the output of the command "library".
    return (note.differences.size() == 1
                   ? factText(note.fact) + " " + libraryText(first.library, note.fact)
                   : "another " + factText(note.fact))
        + reason;
}

void Notes::write(Subject subject, Layout const& layout, std::ostream& out) const
{
    size_t number = 0;
    for (Note const& note : m_notes) {
        if (note.subject != subject)
            continue;
        if (number == 0)
            out << "The library reports to its host:\n";
        std::string const mark = std::to_string(++number);
        for (std::string const& line : wrapped(mark + " " + text(note), layout, 0, mark.size() + 1))
            out << line << '\n';
    }
    for (Problem const& fact : m_machine.unavailable)
        if (fact.subject == subject)
            for (std::string const& line :
                wrapped(
                    "Unknown: " + fact.fact + ", as " + printable(fact.reason) + ".", layout, 0, 2))
                out << line << '\n';
}

}
