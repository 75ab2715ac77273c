#include "app/write/library.h"

#include "app/write/display.h"
#include "app/write/names.h"
#include "app/write/notes.h"

#include <algorithm>
#include <vector>

namespace app {

namespace {

void writeLine(std::string const& text, size_t indent, Layout const& layout, std::ostream& out)
{
    for (std::string const& line : wrapped(text, layout, indent, indent + 2))
        out << line << '\n';
}

void writeRecord(LibraryRecord const& record, Layout const& layout, std::ostream& out)
{
    // A quoted line is not wrapped: its blanks are the library's.
    if (!record.text.empty())
        for (std::string const& part : broken("  \"" + printable(record.text) + "\"", layout))
            out << part << '\n';
    for (LibraryField const& field : record.fields)
        writeLine(field.getter + ": " + libraryText(field.value, ""), 4, layout, out);
}

/** The items with the same difference in one sentence. */
void writeDifference(
    Difference const& difference, std::string const& items, Layout const& layout, std::ostream& out)
{
    std::string text = printable(items);
    if (difference.fact == RECORDS && !difference.item.empty())
        text = recordsText(difference);
    else if (!difference.fact.empty())
        text += (text.empty() ? "" : ": ") + factText(difference.fact) + " "
            + libraryText(difference.library, difference.fact);
    else if (!text.empty())
        text += " is not reported";
    else
        text = "the query failed";
    writeLine("* " + text + reasonText(difference.reason), 2, layout, out);
}

/** The query's name and result. */
void writeHeading(LibraryAnswer const& answer, Layout const& layout, std::ostream& out)
{
    auto lines = wrapped(answer.query + " " + outcomeText(answer) + ", "
            + counted(answer.records.size(), "record", "records"),
        layout, 0, 2);
    // Colored at last, as escape sequences have no width.
    std::string& name = lines.at(0);
    size_t const size = std::min(answer.query.size(), name.size());
    name.replace(0, size, colored(name.substr(0, size), Color::BOLD, layout.colors));
    for (std::string const& line : lines)
        out << line << '\n';
}

void writeDifferences(
    Machine const& machine, Subject subject, Layout const& layout, std::ostream& out)
{
    auto const isSame = [](Difference const& one, Difference const& other) {
        bool const isOfItem = one.fact == RECORDS && one.item != other.item;
        return one.fact == other.fact && one.reason == other.reason && one.library == other.library
            && !isOfItem;
    };
    std::vector<Difference const*> distinct;
    for (Difference const& difference : machine.differences)
        if (difference.subject == subject
            && std::none_of(distinct.begin(), distinct.end(),
                [&](Difference const* other) { return isSame(difference, *other); }))
            distinct.push_back(&difference);
    if (!distinct.empty())
        writeLine("Different from the machine:", 2, layout, out);
    for (Difference const* const difference : distinct) {
        std::vector<std::string> items;
        for (Difference const& other : machine.differences)
            if (other.subject == subject && isSame(*difference, other) && !other.item.empty())
                items.push_back(other.item);
        writeDifference(*difference, joined(items), layout, out);
    }
}

}

void writeLibrary(Machine const& machine, Layout const& layout, std::ostream& out)
{
    bool first = true;
    for (auto const& [subject, answer] : machine.library) {
        out << (first ? "" : "\n");
        first = false;
        size_t const count = answer.records.size();
        writeHeading(answer, layout, out);
        if (subject == Subject::PROCESSORS)
            writeLine(
                "getCurrentUsage and toString are not called: each measures for 1 to 101 seconds.",
                2, layout, out);
        for (size_t i = 0; i < count; ++i) {
            // Processors have no separate line.
            if (answer.records[i].text.empty() && count > 1)
                writeLine("record " + std::to_string(i), 2, layout, out);
            writeRecord(answer.records[i], layout, out);
        }
        writeDifferences(machine, subject, layout, out);
    }
}

}
