#pragma once

#include <string>

namespace app {

/** Refuses JSON that would need too much memory: a byte of it may need a hundred. Text that is no
 * JSON is counted correctly up to the place where the parser refuses it.
 * @param member its name in the archive
 * @throws ArchiveError where it has more than MOST_VALUES values and keys, or more than @p
 * mostDepth values in each other */
void checkJsonValues(std::string const& text, char const* member, int mostDepth);

}
