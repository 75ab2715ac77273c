#include "app/write/library.h"

#include "app/write/display.h"
#include "app/write/names.h"
#include "app/write/notes.h"

namespace app {

namespace {

void writeLine(std::string const& text, size_t indent, Layout const& layout, std::ostream& out)
{
    for (std::string const& line : wrapped(text, layout, indent, indent + 2))
        out << line << '\n';
}

void writeRecord(LibraryRecord const& record, Layout const& layout, std::ostream& out)
{
    if (!record.text.empty())
        writeLine("\"" + printable(record.text) + "\"", 2, layout, out);
    for (LibraryField const& field : record.fields)
        writeLine(field.getter + ": " + libraryText(field.value, ""), 4, layout, out);
}

void writeDifference(Difference const& difference, Layout const& layout, std::ostream& out)
{
    std::string text = printable(difference.item);
    if (!difference.fact.empty())
        text += (text.empty() ? "" : ": ") + factText(difference.fact) + " is "
            + libraryText(difference.library, difference.fact);
    else if (!text.empty())
        text += " is not reported";
    writeLine("* " + text + (text.empty() ? "" : ": ") + printable(difference.reason) + ".", 2,
        layout, out);
}

}

void writeLibrary(Machine const& machine, Layout const& layout, std::ostream& out)
{
    bool first = true;
    for (auto const& [subject, answer] : machine.library) {
        out << (first ? "" : "\n");
        first = false;
        size_t const count = answer.records.size();
        writeLine(colored(answer.query, Color::BOLD, layout.colors) + " " + outcomeText(answer)
                + ", " + (count == 1 ? "1 record" : std::to_string(count) + " records") + ", "
                + oneDecimal(answer.seconds * 1000) + " ms",
            0, layout, out);
        for (LibraryRecord const& record : answer.records)
            writeRecord(record, layout, out);
        bool heading = true;
        for (Difference const& difference : machine.differences) {
            if (difference.subject != subject)
                continue;
            if (heading)
                writeLine("Different from the machine:", 2, layout, out);
            heading = false;
            writeDifference(difference, layout, out);
        }
    }
}

}
