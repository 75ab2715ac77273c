#include "tests/sysinfo/memory_trace.h"

#include "tests/reference/dmidecode_output.h"

namespace testkit {

namespace {

bool startsWith(std::string const& text, std::string const& start)
{
    return text.compare(0, start.size(), start) == 0;
}

}

TracedDump::TracedDump(CapturedTrace const& trace)
{
    static std::string const ignoring = "Ignoring size line ";
    bool seekFailed = false;
    for (TraceLine const& line : trace.lines()) {
        sections += startsWith(line.line, "New section: ");
        sizeLines += startsWith(line.line, "Parsing size line: ");
        if (line.line == "Failed to seek?!\n") {
            seekFailed = true;
        } else if (startsWith(line.line, ignoring)) {
            std::string const ignored = line.line.substr(ignoring.size());
            if (seekFailed)
                straddling.push_back(ignored.substr(0, ignored.size() - 1));
            else
                ++withoutSize;
            seekFailed = false;
        }
    }
}

uint64_t TracedDump::lost() const
{
    uint64_t lost = 0;
    for (std::string const& line : straddling)
        lost += reference::sizeIn(line).value_or(0);
    return lost;
}

}
