#pragma once

#include "app/model/Machine.h"
#include "app/write/table.h"

#include <nlohmann/json.hpp>

#include <string>
#include <vector>

namespace app_test {

/** Every subject that the program knows. */
app::Subjects allSubjects();

/**
 * A machine with names that would move a terminal's cursor, with addresses that could not be read
 * and with unknown sizes.
 *
 * @param subjects those that were asked for; the machine has no others.
 */
app::Machine knownMachine(app::Subjects const& subjects = allSubjects());

/** @return a problem of @p subject, for a machine of which the rest was read. */
app::Problem failureOf(app::Subject subject);

/** @return the lines of the tables. */
std::vector<std::string> tablesOf(app::Machine const& machine, app::TableOptions options = {});

/** @return the lines of the summary. */
std::vector<std::string> summaryOf(app::Machine const& machine);

/** @return the document as the program writes it. */
std::string jsonTextOf(app::Machine const& machine, bool diskTree = false);

/** @return the document as a script reads it. */
nlohmann::json jsonOf(app::Machine const& machine, bool diskTree = false);

/** @return the lines of a summary from a label to the next one, without the label. */
std::vector<std::string> linesBehind(
    std::string const& label, std::vector<std::string> const& summary);

}
