#include "app/summary.h"

#include "app/Session.h"
#include "app/display.h"

#include <algorithm>

namespace app {

ExitStatus runSummary(Session& session, Commands const& commands)
{
    ExitStatus status = EXIT_STATUS_OK;
    std::vector<SummaryLine> lines;
    for (auto const& command : commands)
        status = std::max(status, command->summarize(session, lines));

    size_t width = 0;
    for (SummaryLine const& line : lines)
        width = std::max(width, displayWidth(line.label));
    for (SummaryLine const& line : lines) {
        std::string const padding(width - displayWidth(line.label) + 2, ' ');
        session.print(line.label + padding + line.text + "\n");
    }
    return status;
}

}
