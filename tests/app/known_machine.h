#pragma once

#include "app/model/Machine.h"
#include "app/write/table.h"
#include "tests/support/Json.h"

#include <string>
#include <vector>

namespace app_test {

/** Every subject that the program knows. */
app::Subjects allSubjects();

/**
 * A machine with names that would move a terminal's cursor, and with unknown facts.
 *
 * @param subjects those that were asked for; the machine has no others.
 */
app::Machine knownMachine(app::Subjects const& subjects = allSubjects());

/** A disk with that name, 1 TiB large. */
app::Disk diskOf(std::string const& name);

/** A mount of that disk, of which a part is used. */
app::Mount mountOf(std::string const& place, unsigned usedPercent);

/** An adapter with these IPv4 addresses. */
app::Adapter adapterOf(std::string const& name, std::vector<std::string> const& addresses);

/** A failed reading of @p subject. */
app::Problem failureOf(app::Subject subject);

/** @return the form of a terminal of that width. */
app::Layout terminal(size_t columns);

/** @return the lines of the tables, in a pipe unless the options say otherwise. */
std::vector<std::string> tablesOf(app::Machine const& machine, app::TableOptions const& options);
std::vector<std::string> tablesOf(app::Machine const& machine);

/** @return the lines of the summary. */
std::vector<std::string> summaryOf(app::Machine const& machine, app::Layout const& layout = {});

/** @return the document as the program writes it. */
std::string jsonTextOf(app::Machine const& machine);

/** @return the document as a script reads it. */
testkit::Json jsonOf(app::Machine const& machine);

/** @return the lines of a summary from a label to the next one, without the label. */
std::vector<std::string> linesBehind(
    std::string const& label, std::vector<std::string> const& summary);

}
