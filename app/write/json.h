#pragma once

#include "app/model/Machine.h"

#include <ostream>
#include <string>

namespace app {

/**
 * Writes the machine as one JSON object, the first document of dovrel-sysinfo.schema.json.
 *
 * It has a key for each subject that was asked for; README.md lists the keys. An unknown fact is
 * null; so is a subject of which nothing could be read. The document is the same in every locale;
 * `JsonWriter` says how it writes strings and numbers.
 */
void writeJson(Machine const& machine, std::ostream& out);

/** Writes the schema's second document: the library's results with each record and getter. */
void writeLibraryJson(Machine const& machine, std::ostream& out);

/** @return the document of `writeJson` on one line and without a newline. */
std::string jsonLine(Machine const& machine);

}
