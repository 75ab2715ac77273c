#pragma once

#include "app/model/Machine.h"

#include <ostream>
#include <string>

namespace app {

/**
 * Writes one JSON object with a key for each subject that was asked for; README.md lists the keys.
 *
 * An unknown fact is null; so is a subject of which nothing could be read. The document is UTF-8 in
 * every locale: a byte of a name that is no UTF-8 becomes U+FFFD. Control characters are escaped,
 * also those that JSON allows, as a terminal would obey them. Numbers have a decimal point.
 */
void writeJson(Machine const& machine, std::ostream& out);

/** Writes the library's answers with each record and getter in place of the machine's facts. */
void writeLibraryJson(Machine const& machine, std::ostream& out);

/** @return the machine's recovery as such a document on one line, without a newline. */
std::string recoveryJsonLine(std::optional<Recovery> const& recovery);

}
