#pragma once

#include <cstddef>
#include <string>

namespace machines {

/**
 * What stands on a terminal after @p output, row by row, without blanks at the ends of the rows.
 *
 * Lines that are wider than the terminal are broken as it breaks them. Carriage returns and
 * newlines move the cursor; any other control character is shown as `^` and a letter. wcwidth(3) of
 * the locale in force tells the widths.
 */
std::string screenAfter(std::string const& output, size_t columns);

}
