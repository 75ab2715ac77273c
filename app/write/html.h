#pragma once

#include "app/model/Machine.h"

#include <ostream>

namespace app {

/**
 * Writes a page for people who look at the machine elsewhere: one file that needs no other.
 *
 * It has a section for each subject that was asked for, problems first. It runs no script and
 * loads nothing, and says so to the browser (Content-Security-Policy). The markup is HTML that an
 * XML parser can read too, UTF-8 in every locale. Each fact stands in an element with its path in
 * JSON (`data-key`) and its exact value.
 */
void writeHtml(Machine const& machine, std::ostream& out);

}
