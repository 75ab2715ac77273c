#include "tests/sysinfo/memory_trace.h"

#include "tests/sysinfo/memory_second_reader.h"

namespace testkit {

namespace {

bool beginsWith(std::string const& text, std::string const& beginning)
{
    return text.compare(0, beginning.size(), beginning) == 0;
}

}

TracedDump::TracedDump(CapturedTrace const& trace)
{
    static std::string const ignoring = "Ignoring size line ";
    bool seekFailed = false;
    for (TraceLine const& line : trace.lines()) {
        sections += beginsWith(line.line, "New section: ");
        sizeLines += beginsWith(line.line, "Parsing size line: ");
        if (line.line == "Failed to seek?!\n") {
            seekFailed = true;
        } else if (beginsWith(line.line, ignoring)) {
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
        lost += sizeIn(line).value_or(0);
    return lost;
}

}
