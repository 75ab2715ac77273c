#include "app/summary_rows.h"

namespace app {

ExitStatus addSummaryRows(std::vector<SummaryLine>& lines, std::string const& label,
    Table const& table, bool complete, std::string const& command)
{
    constexpr size_t MOST_ROWS = 6;
    std::vector<std::string> rows = table.rows();
    if (rows.size() > MOST_ROWS) {
        // Never "1 more": that line has room for the row itself.
        size_t const more = rows.size() - (MOST_ROWS - 1);
        rows.resize(MOST_ROWS - 1);
        rows.push_back("and " + std::to_string(more) + " more: dovrel-sysinfo " + command);
    }
    if (!complete)
        rows.push_back(rows.empty() ? "could not be read" : "the rest could not be read");
    else if (rows.empty())
        rows.push_back("none");
    for (size_t i = 0; i < rows.size(); ++i)
        lines.push_back({i == 0 ? label : "", rows[i]});
    return complete ? EXIT_STATUS_OK : EXIT_STATUS_QUERY_FAILED;
}

}
