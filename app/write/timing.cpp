#include "app/write/timing.h"

#include "app/write/TextTable.h"
#include "app/write/display.h"
#include "app/write/names.h"

namespace app {

namespace {

std::string milliseconds(double seconds)
{
    constexpr double IN_A_SECOND = 1000;
    return oneDecimal(seconds * IN_A_SECOND);
}

}

std::string timingText(Machine const& machine, Layout const& layout)
{
    TextTable table({{"SUBJECT"}, {"READ-MS", RIGHT}, {"QUERY"}, {"QUERY-MS", RIGHT}});
    for (Subject const subject : machine.subjects) {
        auto const read = machine.readSeconds.find(subject);
        auto const answer = machine.library.find(subject);
        bool const queried = answer != machine.library.end();
        table.addRow({subjectText(subject),
            read == machine.readSeconds.end() ? UNKNOWN : milliseconds(read->second),
            queried ? answer->second.query : UNKNOWN,
            queried ? milliseconds(answer->second.seconds) : UNKNOWN});
    }
    table.addRow({"all", milliseconds(machine.seconds)});
    return table.text(layout);
}

}
