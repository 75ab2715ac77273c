#pragma once

#include "app/write/html_sections.h"

namespace app {

/** Writes the machine's main figures, with a bar for each share. */
void writeGlance(PageContext const& page);

/** Writes the last section: each value that the library reports differently, with its reason;
 * nothing where there is none. */
void writeDifferences(PageContext const& page);

}
