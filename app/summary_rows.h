#pragma once

#include "app/Command.h"
#include "app/Table.h"

#include <string>
#include <vector>

namespace app {

/**
 * Appends a table without headings to the summary, its first row behind the label.
 *
 * Only the first rows are shown where there are many.
 *
 * @param complete false where the query failed, after it had found the rows or none.
 * @param command the name of the command that shows them all.
 * @return the command's status for the summary.
 */
ExitStatus addSummaryRows(std::vector<SummaryLine>& lines, std::string const& label,
    Table const& table, bool complete, std::string const& command);

}
