#include "app/summary.h"

#include "app/Session.h"
#include "app/display.h"

#include <algorithm>

namespace app {

namespace {

ExitStatus runAsJson(Session& session, Commands const& commands)
{
    ExitStatus status = EXIT_STATUS_OK;
    Json document = Json::object();
    for (auto const& command : commands)
        status = std::max(status, command->summarize(session, document));
    session.print(jsonText(document));
    return status;
}

}

ExitStatus runSummary(Session& session, Commands const& commands)
{
    if (session.settings().json)
        return runAsJson(session, commands);

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
