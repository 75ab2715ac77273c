#include "app/write/notes.h"

#include "app/write/display.h"
#include "app/write/exact_values.h"
#include "app/write/names.h"

#include <algorithm>
#include <utility>

namespace app {

namespace {

constexpr char const* BYTES = "_bytes";
constexpr char const* HERTZ = "_hertz";
constexpr char const* RATIO = "_ratio";

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

/** "a, b", or the number of them where there are many. */
std::string itemsText(std::vector<std::string> const& items)
{
    constexpr size_t MOST_ITEMS = 3;
    return items.size() <= MOST_ITEMS ? joined(items) : std::to_string(items.size()) + " of them";
}

}

std::string libraryText(std::optional<LibraryValue> const& value, std::string const& fact)
{
    if (!value)
        return "none";
    auto const* number = std::get_if<uint64_t>(&*value);
    if (number && (fact.ends_with(BYTES) || fact.starts_with("bytes_")))
        return *number == 0 ? sizeText(0)
                            : sizeText(*number) + " (" + std::to_string(*number) + ")";
    if (number && fact.ends_with(HERTZ))
        return std::to_string(*number / MEGA);
    if (auto const* ratio = std::get_if<double>(&*value); ratio && fact.ends_with(RATIO))
        return percentText(*ratio * 100);
    auto const* time = std::get_if<int64_t>(&*value);
    if (time && (fact.ends_with("_start") || fact.ends_with("_end")))
        return timeText(*time);
    std::string const text = printable(valueText(*value));
    return text.empty() && !fact.empty() ? "none" : text;
}

std::string factText(std::string const& key)
{
    if (key == "mac")
        return "MAC address";
    size_t const unit = key.rfind('_');
    bool const hasUnit = key.ends_with(BYTES) || key.ends_with(HERTZ) || key.ends_with(RATIO);
    std::string text = hasUnit ? key.substr(0, unit) : key;
    std::replace(text.begin(), text.end(), '_', ' ');
    return key.ends_with(HERTZ) ? text + " MHz" : text;
}

std::string recordsText(Difference const& difference)
{
    std::string const count = libraryText(difference.library, difference.fact);
    return (count == "1" ? "a record of " : count + " records of ") + printable(difference.item);
}

std::string reasonText(std::string const& reason)
{
    return reason.empty() ? "." : ": " + printable(reason) + ".";
}

namespace {

/** A note of several facts that have one reason. */
std::string textOfFacts(
    std::vector<Difference const*> const& differences, std::string const& reason)
{
    constexpr char const* OF_ONE = " for it";
    std::vector<std::string> facts;
    facts.reserve(differences.size());
    for (Difference const* const difference : differences)
        facts.push_back(
            factText(difference->fact) + " " + libraryText(difference->library, difference->fact));
    return joined(facts)
        + reasonText(reason.ends_with(OF_ONE)
                ? reason.substr(0, reason.size() - std::string(OF_ONE).size()) + " for them"
                : reason);
}

}

Notes::Notes(Machine const& machine) : m_machine(machine)
{
    for (Difference const& difference : machine.differences) {
        auto const same = std::find_if(m_notes.begin(), m_notes.end(), [&](Note const& note) {
            // The facts of a recovery have no items.
            bool const isOfRecovery =
                note.subject == Subject::RECOVERY && !note.fact.empty() && !difference.fact.empty();
            return note.subject == difference.subject && note.reason == difference.reason
                && (note.fact == difference.fact || (isOfRecovery && !note.reason.empty()));
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

std::string Notes::unmarkedItems(Note const& note) const
{
    std::vector<std::string> items;
    for (Difference const* const difference : note.differences) {
        // The table has one row for a filesystem that is mounted at several places.
        bool const isFurtherPlace = note.subject == Subject::MOUNTS && m_machine.mounts
            && std::any_of(
                m_machine.mounts->begin(), m_machine.mounts->end(), [&](Mount const& mount) {
                    return mount.mountPoint == difference->item && !mount.sameAs.empty();
                });
        if (!isFurtherPlace)
            return "";
        items.push_back(printable(difference->item));
    }
    return " for " + itemsText(items);
}

std::string Notes::valuesText(Note const& note) const
{
    constexpr size_t MOST_VALUES = 4;
    using Items = std::vector<std::string>;
    std::vector<std::pair<std::string, Items>> groups; // Values with their items.
    for (Difference const* const difference : note.differences) {
        bool const isExtra = note.fact == RECORDS;
        std::string const value =
            isExtra ? recordsText(*difference) : libraryText(difference->library, note.fact);
        auto group = std::find_if(groups.begin(), groups.end(),
            [&value](auto const& other) { return other.first == value; });
        if (group == groups.end())
            group = groups.insert(groups.end(), {value, {}});
        group->second.push_back(printable(difference->item));
    }
    std::string text = note.fact == RECORDS ? "" : factText(note.fact) + " ";
    // The marks in the table show which items have it.
    if (groups.size() == 1)
        return text + groups.front().first + (note.fact == RECORDS ? "" : unmarkedItems(note));
    size_t others = note.differences.size();
    size_t const shown = groups.size() <= MOST_VALUES ? groups.size() : MOST_VALUES - 1;
    for (size_t i = 0; i < shown; ++i) {
        auto const& [value, items] = groups[i];
        others -= items.size();
        text += (i == 0 ? "" : "; ") + value;
        if (note.fact != RECORDS)
            text += " for " + itemsText(items);
    }
    return others == 0 ? text : text + "; other values for " + std::to_string(others) + " more";
}

std::string Notes::text(Note const& note) const
{
    if (note.subject == Subject::RECOVERY && note.differences.size() > 1)
        return textOfFacts(note.differences, note.reason);
    if (!note.fact.empty())
        return valuesText(note) + reasonText(note.reason);
    bool const isWholeQuery = note.differences.front()->item.empty();
    return (isWholeQuery ? "nothing, as the query failed" : "nothing" + unmarkedItems(note))
        + reasonText(note.reason);
}

std::vector<std::string> Notes::texts(Subject subject) const
{
    std::vector<std::string> texts;
    for (Note const& note : m_notes)
        if (note.subject == subject)
            texts.push_back(text(note));
    return texts;
}

std::vector<std::string> Notes::unknownFacts(Subject subject) const
{
    std::vector<std::string> sentences;
    for (Problem const& fact : m_machine.unavailable)
        if (fact.subject == subject)
            sentences.push_back("Unknown: " + fact.fact + ", as " + printable(fact.reason) + ".");
    return sentences;
}

void Notes::write(Subject subject, Layout const& layout, std::ostream& out) const
{
    size_t number = 0;
    for (std::string const& note : texts(subject)) {
        if (number == 0)
            for (std::string const& line :
                wrapped("The library reports to its host:", layout, 0, 0))
                out << line << '\n';
        std::string const mark = std::to_string(++number) + " ";
        for (std::string const& line : wrapped(mark + note, layout, 0, mark.size()))
            out << line << '\n';
    }
    for (std::string const& sentence : unknownFacts(subject))
        for (std::string const& line : wrapped(sentence, layout, 0, 2))
            out << line << '\n';
}

}
